// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/watch_program.h"

#include <algorithm>

namespace hb_test {
namespace {

std::vector<std::string> command_line(const Driver_Command &driver, const std::vector<std::string> &options) {
    std::vector<std::string> all = driver.arguments;
    all.insert(all.end(), options.begin(), options.end());
    return all;
}

Child_Process::Environment joined(Child_Process::Environment one, const Child_Process::Environment &other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

// The first word.
std::string name_of(const std::string &command) {
    return command.substr(0, command.find(' '));
}

} // namespace

Watch_Program::Watch_Program(const Driver_Command &driver, const std::vector<std::string> &options,
                             const Child_Process::Environment &environment)
    : process_(command_line(driver, options), joined(driver.environment, environment)) {
    const std::string opened = answer_to("open");
    if (opened != "ok") {
        throw std::runtime_error(driver.name + " did not open its watch: " + opened + process_.error_output());
    }
}

// Reads one line. Reports and answers go to their queues; any other line is returned as an answer without a command.
std::optional<std::string> Watch_Program::line(const Deadline &deadline) {
    const std::optional<std::string> text = process_.read_line(deadline);
    if (!text) {
        return std::nullopt;
    }
    if (const std::optional<Report> report = read_report(*text)) {
        waiting_.push_back(*report);
    } else if (text->starts_with("answer\t")) {
        const std::size_t tab = text->find('\t', 7);
        answers_.emplace_back(text->substr(7, tab - 7), tab == std::string::npos ? "" : text->substr(tab + 1));
    } else {
        throw std::runtime_error("a driver printed: " + *text);
    }
    return text;
}

void Watch_Program::order(const std::string &command) {
    process_.write_input(command + "\n");
}

std::string Watch_Program::answer_to(const std::string &command, const Deadline &deadline) {
    const auto asked = [&](const auto &answer) { return answer.first == name_of(command); };
    for (;;) {
        const auto found = std::find_if(answers_.begin(), answers_.end(), asked);
        if (found != answers_.end()) {
            const std::string result = found->second;
            answers_.erase(found);
            return result;
        }
        if (!line(deadline)) {
            return "[no answer to " + command + "] " + process_.error_output();
        }
    }
}

std::string Watch_Program::ask(const std::string &command, const Deadline &deadline) {
    order(command);
    return answer_to(command, deadline);
}

Report Watch_Program::take_first() {
    const Report report = waiting_.front();
    waiting_.pop_front();
    replay_.take(report);
    return report;
}

std::optional<Report> Watch_Program::next(const Deadline &deadline) {
    while (waiting_.empty()) {
        if (!line(deadline)) {
            return std::nullopt;
        }
    }
    return take_first();
}

bool Watch_Program::read_until(const std::function<bool(const Replay &)> &condition, const Deadline &deadline) {
    while (!condition(replay_)) {
        if (!next(deadline)) {
            return false;
        }
    }
    return true;
}

void Watch_Program::drain() {
    while (line(Deadline(std::chrono::milliseconds(0)))) {
    }
    while (!waiting_.empty()) {
        take_first();
    }
}

testing::AssertionResult Watch_Program::end() {
    const std::string closed = ask("end");
    const std::optional<Child_End> end = process_.wait();
    if (closed == "ok" && end && end->signal == 0 && end->exit_status == 0 && process_.error_output().empty()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "the driver closed its watch with \"" << closed << "\", and ended with status "
           << (end ? end->exit_status : -1) << ", signal " << (end ? end->signal : -1)
           << "; its errors: " << process_.error_output();
}

} // namespace hb_test
