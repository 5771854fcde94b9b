// SPDX-License-Identifier: Apache-2.0
// Waits until the cluster or the daemon is in a wanted state, through restarts of the daemon.
#pragma once

#include <string>

#include "tools/hbctl/event_stream.h"
#include "tools/hbctl/wait_condition.h"

namespace hbctl {

class State_Watch {
  public:
    State_Watch(const Wait_Condition &condition, const Deadline &deadline);

    // Returns true as soon as the condition is met, and false at the deadline. Throws Request_Failed for a failure that
    // another attempt does not repair, such as a node that is not configured.
    bool run();

    // The condition with the number that a name stands for, once the daemon was asked.
    const Wait_Condition &condition() const { return condition_; }

    // Why the daemon could not be asked last; empty if it could.
    const std::string &obstacle() const { return obstacle_; }

  private:
    // What one connection to the daemon led to.
    enum class Result { met, time_over, disconnected };

    Result try_once();
    Result follow();
    bool is_absence_wanted() const;

    Wait_Condition condition_;
    const Deadline deadline_;
    Event_Stream stream_;
    Picture picture_;
    std::string obstacle_;
};

} // namespace hbctl
