// SPDX-License-Identifier: Apache-2.0
// Executes the commands of the control socket and of timelines, in wispd and in the simulated cluster service.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "cluster/cluster.h"
#include "cluster/description/command.h"
#include "cluster/description/command_result.h"
#include "cluster/description/control_server.h"
#include "cluster/node_control.h"

namespace wispd {

class Command_Executor {
  public:
    // The parts that differ between the programs.
    struct Handlers {
        std::function<std::string(Verb)> why_unsupported;     // empty result: the program supports the verb
        std::function<Outcome(const Node_Request &)> act;     // executes a request that acts on the local node
        std::function<void(const Command &)> suspicion_ended; // after a command ended a suspicion
        std::function<void(const Changes &)> changed;         // reports the changes to clients
        // reload and play call `finished`, now or later, or throw std::runtime_error. An empty path means the
        // file that the program was configured with.
        std::function<void(const std::string &path, const Finished &finished)> reload;
        std::function<void(const std::string &path, const Finished &finished)> play;
        std::function<void()> rotate_keys;
        std::function<void(const std::string &level)> set_log_level;
        std::function<std::string()> state_line;
        std::function<void(const std::string &why)> rejected; // after a line of the control socket was rejected
    };

    Command_Executor(Cluster &cluster, Node_Control &control, Handlers handlers);
    Command_Executor(const Command_Executor &) = delete;
    Command_Executor &operator=(const Command_Executor &) = delete;

    // Executes a line of the control socket and replies with its result. If reading a file fails, the full
    // reason can quote that file. Set `in_full` only for users that are permitted to read it.
    void answer(std::string_view line, bool in_full, const Control_Server::Reply &reply);

    // Executes any verb except stop and state. Calls `finished`, now or later, or throws std::runtime_error.
    void execute(const Command &command, const Finished &finished);

  private:
    void check_supported(Verb verb) const;
    void execute_at_once(const Command &command);
    bool end_suspicion(const Command &command);
    void report_failure(Command command);

    Cluster &cluster_;
    Node_Control &control_;
    Handlers handlers_;
};

} // namespace wispd
