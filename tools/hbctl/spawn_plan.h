// SPDX-License-Identifier: Apache-2.0
// How hbctl starts another program.
#pragma once

#include <csignal>
#include <spawn.h>

namespace hbctl {

// Gives the program the signals as a shell would: hbctl ignores SIGPIPE, and its thread blocks others. The caller adds
// what happens to the descriptors.
class Spawn_Plan {
  public:
    // `flags` are further ones of posix_spawnattr_setflags.
    explicit Spawn_Plan(short flags = 0) {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes,
                                 static_cast<short>(flags | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigaddset(&signals, SIGPIPE);
        posix_spawnattr_setsigdefault(&attributes, &signals);
    }
    ~Spawn_Plan() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    Spawn_Plan(const Spawn_Plan &) = delete;
    Spawn_Plan &operator=(const Spawn_Plan &) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

} // namespace hbctl
