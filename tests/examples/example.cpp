// SPDX-License-Identifier: Apache-2.0
#include "tests/examples/example.h"

namespace hb_test {
namespace {

std::vector<std::string> command_of(const Daemon &daemon, const std::string &name,
                                    const std::vector<std::string> &arguments) {
    std::vector<std::string> command{daemon.programs().path("example_" + name)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

Child_Process::Environment environment(const Daemon &daemon, Child_Process::Environment variables) {
    variables.insert(variables.end(),
                     {{"HB_SERVER_SOCKET", daemon.socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
    return variables;
}

} // namespace

Example::Example(const Daemon &daemon, const std::string &name, const std::vector<std::string> &arguments)
    : Example(daemon, command_of(daemon, name, arguments), {}) {}

Example::Example(const Daemon &daemon, const std::vector<std::string> &command,
                 const Child_Process::Environment &variables)
    : process_(command, environment(daemon, variables)) {}

std::vector<std::string> Example::lines(std::size_t count) {
    std::vector<std::string> all;
    while (all.size() < count) {
        const std::optional<std::string> line = process_.read_line();
        all.push_back(line.value_or("[no line; errors: " + process_.error_output() + "]"));
        if (!line) {
            break;
        }
    }
    return all;
}

std::string Example::line_with(const std::string &text) {
    std::string seen;
    while (const std::optional<std::string> line = process_.read_line()) {
        if (line->find(text) != std::string::npos) {
            return *line;
        }
        seen += *line + "\n";
    }
    return "[no line with '" + text + "' in: " + seen + "; errors: " + process_.error_output() + "]";
}

bool Example::ends_with(int status) {
    const std::optional<Child_End> end = process_.wait();
    return end && end->signal == 0 && end->exit_status == status;
}

} // namespace hb_test
