// SPDX-License-Identifier: Apache-2.0
// Attacks with the rights that a role has, or should not have.
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/sem.h>

#include "tests/security/attack.h"

namespace hb_test {
namespace {

// A reader that enters the route segment and never leaves prevents the daemon from publishing routes.
int count_in(const Words &words) {
    if (words.size() != 1) {
        throw std::invalid_argument("expected the path of the socket");
    }
    const key_t key = ftok(words[0].c_str(), 'i');
    const int id = key == -1 ? -1 : semget(key, 2, 0);
    if (id == -1) {
        return refused("the semaphores cannot be found");
    }
    sembuf enter = {0, 1, 0};
    if (semop(id, &enter, 1) != 0) {
        return refused("cannot alter the semaphores");
    }
    say("counted in as a reader for ever");
    return 0;
}

const Add_Attack COUNT_IN({"count-in", "SOCKET", count_in});

} // namespace
} // namespace hb_test
