// SPDX-License-Identifier: Apache-2.0
// A bare connection to a UNIX stream socket.
#pragma once

#include <string>

#include "tests/support/bytes.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

// Every function throws if it fails or lasts too long.
class Stream {
  public:
    explicit Stream(const std::string &path);

    void send(const std::string &text) const;
    void send(const Bytes &bytes) const;
    // Returns the line without its newline.
    std::string read_line() const;
    Bytes read_bytes(std::size_t count) const;
    // Returns the payload of the next record; its length precedes it.
    Bytes read_record() const;
    // Returns whether the other side closes the connection, after any data that it still sent.
    bool wait_closed() const;

    int descriptor() const { return socket_.get(); }

  private:
    void send(const char *bytes, std::size_t count) const;

    Unique_Fd socket_;
};

} // namespace hb_test
