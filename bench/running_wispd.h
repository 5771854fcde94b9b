// SPDX-License-Identifier: Apache-2.0
// A wispd of this build that runs while the object exists.
#pragma once

#include <string>

#include "tests/support/bytes.h"
#include "tests/system/daemon.h"
#include "tests/system/stream.h"

class Running_Wispd {
  public:
    // Throws if it does not start.
    explicit Running_Wispd(const std::string &configuration);

    hb_test::Daemon &daemon() { return daemon_; }
    const hb_test::Daemon &daemon() const { return daemon_; }
    // Points the library to this wispd.
    void select() const;
    // Sends a command, which must succeed.
    void command(const std::string &json);
    // A bare client's bytes.
    static hb_test::Bytes request_for_configuration();
    hb_test::Bytes configuration_message() const;

  private:
    hb_test::Daemon daemon_;
};
