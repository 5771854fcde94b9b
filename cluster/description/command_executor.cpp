// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/command_executor.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "cluster/description/command_json.h"
#include "cluster/description/failure_id.h"

namespace wispd {

namespace {

// Reading a file takes time, and its result comes later.
bool is_at_once(Verb verb) {
    return verb != Verb::play && verb != Verb::reconfigure;
}

Control_Answer rejection(const std::string &why) {
    return {error_line(why), false, why};
}

} // namespace

Command_Executor::Command_Executor(Cluster &cluster, Node_Control &control, Handlers handlers)
    : cluster_(cluster), control_(control), handlers_(std::move(handlers)) {}

void Command_Executor::check_supported(Verb verb) const {
    if (const std::string why = handlers_.why_unsupported(verb); !why.empty()) {
        throw Refused(why);
    }
}

void Command_Executor::answer(std::string_view line, bool in_full, const Control_Server::Reply &reply) {
    try {
        const Command command = parse_command_line(line);
        check_supported(command.verb);
        if (command.verb == Verb::state) {
            reply({handlers_.state_line(), false, {}, true});
        } else if (command.verb == Verb::stop) {
            reply({ok_line(), true});
        } else if (is_at_once(command.verb)) {
            execute_at_once(command);
            reply({ok_line()});
        } else {
            execute(command, [reply, in_full](const std::optional<Failure> &failure) {
                reply(failure ? Control_Answer{error_line(in_full ? failure->reason : failure->outline), false,
                                               failure->outline}
                              : Control_Answer{ok_line()});
            });
        }
    } catch (const std::runtime_error &error) {
        handlers_.rejected(error.what());
        reply(rejection(error.what()));
    }
}

void Command_Executor::execute(const Command &command, const Finished &finished) {
    check_supported(command.verb);
    if (command.verb == Verb::play) {
        handlers_.play(command.timeline, finished);
    } else if (command.verb == Verb::reconfigure) {
        handlers_.reload(command.config, finished);
    } else {
        execute_at_once(command);
        finished(std::nullopt);
    }
}

void Command_Executor::execute_at_once(const Command &command) {
    if (command.verb == Verb::ffdc) {
        report_failure(command);
    } else if (command.verb == Verb::rotate_key) {
        handlers_.rotate_keys();
    } else if (command.verb == Verb::log_level) {
        handlers_.set_log_level(command.level);
    } else if (const std::optional<Node_Request> request = node_request_of(command, cluster_)) {
        const Outcome outcome = handlers_.act(*request);
        if (outcome.status != REQUEST_DONE) {
            throw Refused(outcome.note);
        }
        handlers_.changed(outcome.changes);
    } else if (!end_suspicion(command)) {
        handlers_.changed(apply(command, cluster_));
    }
}

// A report that a suspected member is up ends the suspicion, even when it changes nothing else.
bool Command_Executor::end_suspicion(const Command &command) {
    const bool ended = (command.verb == Verb::node_up && control_.clear_node(command.node)) ||
                       (command.verb == Verb::adapter_up && control_.clear_adapter(command.adapter));
    if (ended) {
        handlers_.suspicion_ended(command);
        try {
            handlers_.changed(apply(command, cluster_));
        } catch (const Refused &) {
            // The member is up already, with all its adapters.
        }
    }
    return ended;
}

void Command_Executor::report_failure(Command command) {
    if (command.id.empty()) {
        command.id = make_failure_id();
    }
    if (command.id.empty()) {
        throw Refused("cannot create a first-failure identifier; give one");
    }
    handlers_.changed(apply(command, cluster_));
}

} // namespace wispd
