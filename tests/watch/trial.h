// SPDX-License-Identifier: Apache-2.0
// A watch and the daemon that it watches, both in the thread of the test.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "hb_watch.h"
#include "tests/support/deadline.h"
#include "tests/watch/inline_daemon.h"
#include "tests/watch/replay.h"

namespace hb_test {

Report report_of(const Hb_Watch_Report &record);
// What the watch knows to be up.
Who known_to(const Hb_Watch *watch);
// The configured adapters that it knows.
std::set<unsigned> configured_for(const Hb_Watch *watch);

struct Close_Watch {
    void operator()(Hb_Watch *watch) const { hb_watch_close(watch); }
};
using Watch_Handle = std::unique_ptr<Hb_Watch, Close_Watch>;

class Trial {
  public:
    // Time-outs in milliseconds; the pauses between attempts are short.
    Trial(std::string name, std::vector<Link_Plan> plans, int check_interval, int answer_timeout);

    // Once the first connection is served, or can carry nothing more, this happens to the cluster.
    void then(std::function<void(Inline_Daemon &)> change) { change_ = std::move(change); }

    // Lets the daemon act and reads every report that is ready.
    void turn();
    // All is said and done: contact, and the reports add up to the daemon's cluster.
    bool agrees() const;
    // What is wrong at the end of the trial; empty if it is as it should be.
    std::string verdict() const;

    const std::string &name() const { return name_; }
    Inline_Daemon &daemon() { return daemon_; }
    Hb_Watch *watch() const { return watch_.get(); }
    const Replay &replay() const { return replay_; }
    std::chrono::microseconds longest_call() const { return longest_call_; }

  private:
    std::string name_;
    Inline_Daemon daemon_;
    Watch_Handle watch_;
    std::function<void(Inline_Daemon &)> change_;
    Replay replay_;
    std::chrono::microseconds longest_call_{0};
};

// Lets all trials run side by side until the condition holds for each. Returns the names of those for which it does
// not hold at the deadline.
std::vector<std::string> run_together(std::vector<std::unique_ptr<Trial>> &trials,
                                      const std::function<bool(const Trial &)> &condition,
                                      const Deadline &deadline = Deadline());

} // namespace hb_test
