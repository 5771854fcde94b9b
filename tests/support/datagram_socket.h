// SPDX-License-Identifier: Apache-2.0
// A UNIX datagram socket that a test listens on, in place of a service manager or a journal.
#pragma once

#include <optional>
#include <string>

#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

class Datagram_Socket {
  public:
    // A name that begins with @ is in the abstract namespace; any other is a path.
    explicit Datagram_Socket(const std::string &name);
    Datagram_Socket(const Datagram_Socket &) = delete;
    Datagram_Socket &operator=(const Datagram_Socket &) = delete;
    // Removes the file.
    ~Datagram_Socket();

    const std::string &name() const { return name_; }
    int descriptor() const { return socket_.get(); }

    // Returns the next message; nothing at the deadline.
    std::optional<std::string> receive(const Deadline &deadline = Deadline()) const;
    // Returns the next message that contains the text, and drops those before it; nothing at the deadline.
    std::optional<std::string> receive_with(const std::string &text,
                                            const Deadline &deadline = Deadline()) const;
    // Drops all messages that have arrived.
    void drain() const;

  private:
    std::string name_;
    Unique_Fd socket_;
};

} // namespace hb_test
