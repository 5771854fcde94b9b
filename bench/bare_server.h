// SPDX-License-Identifier: Apache-2.0
// Another process that answers the first request of each connection with bytes that lie ready: the least that a
// daemon can do.
#pragma once

#include <string>
#include <sys/types.h>

#include "bench/event_feed.h"
#include "tests/support/bytes.h"

class Bare_Server {
  public:
    Bare_Server(const hb_test::Bytes &request, const hb_test::Bytes &answer);
    Bare_Server(const Bare_Server &) = delete;
    Bare_Server &operator=(const Bare_Server &) = delete;
    ~Bare_Server();

    pid_t pid() const { return pid_; }
    std::string path() const { return listener_.path(); }

  private:
    const Listener listener_;
    pid_t pid_;
};

// Each throws if the peer does not read or send all of it.
void write_all(int fd, const void *bytes, std::size_t count);
void read_all(int fd, void *bytes, std::size_t count);
