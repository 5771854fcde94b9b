// SPDX-License-Identifier: Apache-2.0
// A wispd that changes on command, and this process as its client.
#pragma once

#include <memory>

#include "bench/running_wispd.h"
#include "hb_client.h"

class Changes_Of_Wispd {
  public:
    // Starts wispd, opens the library and subscribes to all adapters. Every function throws if it fails.
    Changes_Of_Wispd();
    Changes_Of_Wispd(const Changes_Of_Wispd &) = delete;
    Changes_Of_Wispd &operator=(const Changes_Of_Wispd &) = delete;
    ~Changes_Of_Wispd();

    pid_t wispd() const { return wispd_.daemon().pid(); }

    // Each change is a command on the control socket and ends with the client's event.
    void one();
    // Sends the commands as fast as wispd reads them.
    void pipelined(int changes);

  private:
    void receive_event();
    // Reads the answers that have arrived, and counts them.
    int read_answers();
    const std::string &next_command();

    Running_Wispd wispd_;
    std::unique_ptr<hb_test::Stream> control_;
    int descriptor_ = -1;
    bool is_down_ = false;
    const std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
};
