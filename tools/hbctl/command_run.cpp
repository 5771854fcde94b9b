// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/command_run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/hbctl/event_environment.h"
#include "tools/hbctl/spawn_plan.h"

extern char **environ;

namespace hbctl {
namespace {

bool is_event_variable(const std::string &variable) {
    const std::string name = variable.substr(0, variable.find('='));
    const auto &names = event_variable_names();
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<std::string> whole_environment(const std::vector<std::string> &added) {
    std::vector<std::string> all = added;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        if (!is_event_variable(*variable)) {
            all.emplace_back(*variable);
        }
    }
    return all;
}

std::vector<char *> pointers_to(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

int spawn_shell(const std::string &command, int input, const std::vector<std::string> &environment,
                pid_t &pid) {
    std::vector<std::string> words{"sh", "-c", command};
    std::vector<std::string> variables = whole_environment(environment);
    Spawn_Plan plan;
    posix_spawn_file_actions_adddup2(&plan.actions, input, STDIN_FILENO);
    return posix_spawn(&pid, "/bin/sh", &plan.actions, &plan.attributes, pointers_to(words).data(),
                       pointers_to(variables).data());
}

// A command that does not read its input is no failure.
void write_all(int descriptor, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(descriptor, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return;
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
}

std::string end_text(int status) {
    if (WIFSIGNALED(status)) {
        return "the command was ended by signal " + std::to_string(WTERMSIG(status));
    }
    return WEXITSTATUS(status) == 0
               ? ""
               : "the command ended with the exit status " + std::to_string(WEXITSTATUS(status));
}

} // namespace

std::string run_shell(const std::string &command, const std::string &input,
                      const std::vector<std::string> &environment) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::string("cannot run the command: ") + std::strerror(errno);
    }
    pid_t pid = -1;
    const int failure = spawn_shell(command, ends[0], environment, pid);
    ::close(ends[0]);
    if (failure == 0) {
        write_all(ends[1], input);
    }
    ::close(ends[1]);
    if (failure != 0) {
        return std::string("cannot run the command: ") + std::strerror(failure);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return end_text(status);
}

} // namespace hbctl
