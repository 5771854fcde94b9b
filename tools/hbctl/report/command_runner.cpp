// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/report/command_runner.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "common/no_answer.h"
#include "tools/hbctl/report/system_facts.h"
#include "tools/hbctl/spawn_plan.h"

extern char **environ;

namespace hbctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t MOST_ERROR_BYTES = 4096;
// Nothing reports the end of a program that closed its output before.
constexpr std::chrono::milliseconds BETWEEN_CHECKS{10};

// A pipe that the parent reads.
class Pipe {
  public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot create a pipe");
        }
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }
    ~Pipe() {
        close_read_end();
        close_write_end();
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    int read_end() const { return ends_[0]; }
    int write_end() const { return ends_[1]; }
    bool is_open() const { return ends_[0] >= 0; }
    void close_read_end() { close_end(ends_[0]); }
    void close_write_end() { close_end(ends_[1]); }

  private:
    static void close_end(int &end) {
        if (end >= 0) {
            ::close(end);
        }
        end = -1;
    }

    std::array<int, 2> ends_{-1, -1};
};

// One program while it runs. The destructor kills it.
class Running {
  public:
    Running(const Command &command, Outcome &outcome) : command_(command), outcome_(outcome) { start(); }
    ~Running() { kill_group(); }
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    bool has_ended() const { return pid_ <= 0; }
    void add_to(std::vector<pollfd> &waited) const {
        for (const Pipe *pipe : {&output_, &errors_}) {
            if (pipe->is_open() && !has_ended()) {
                waited.push_back({pipe->read_end(), POLLIN, 0});
            }
        }
    }
    // Reads what has arrived, and notices the end.
    void advance() {
        read_from(output_, outcome_.output, true);
        read_from(errors_, error_text_, false);
        if (!has_ended() && !output_.is_open() && !errors_.is_open()) {
            reap(WNOHANG);
        }
    }
    void end_late(std::chrono::milliseconds patience) {
        kill_group();
        outcome_.failure = "no end within " + common::seconds_text(patience);
        outcome_.output = up_to_last_whole_line(std::move(outcome_.output));
    }

  private:
    void start() {
        if (command_.words.empty()) {
            outcome_.failure = "not installed";
            return;
        }
        std::vector<std::string> words = command_.words;
        std::vector<char *> pointers;
        for (std::string &word : words) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        // In a process group of its own, so that its children can be ended with it.
        Spawn_Plan plan(POSIX_SPAWN_SETPGROUP);
        posix_spawn_file_actions_addopen(&plan.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(
            &plan.actions, command_.output >= 0 ? command_.output : output_.write_end(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&plan.actions, errors_.write_end(), STDERR_FILENO);
        const int failed = posix_spawn(&pid_, words.front().c_str(), &plan.actions, &plan.attributes,
                                       pointers.data(), environ);
        output_.close_write_end();
        errors_.close_write_end();
        if (failed != 0) {
            pid_ = -1;
            outcome_.failure = std::string("cannot be run: ") + std::strerror(failed);
        }
    }

    void read_from(Pipe &pipe, std::string &into, bool is_output) {
        std::array<char, 65536> piece{};
        while (pipe.is_open() && !has_ended()) {
            const ssize_t count = read(pipe.read_end(), piece.data(), piece.size());
            if (count > 0) {
                into.append(piece.data(), static_cast<std::size_t>(count));
                limit(into, is_output);
            } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
                pipe.close_read_end();
            } else if (errno == EAGAIN) {
                return;
            }
        }
    }

    void limit(std::string &text, bool is_output) {
        const std::size_t most = is_output ? command_.most_bytes : MOST_ERROR_BYTES;
        if (text.size() <= most) {
            return;
        }
        outcome_.is_cut = outcome_.is_cut || is_output;
        if (is_output && command_.keeps_end) {
            text.erase(0, text.size() - most);
            return;
        }
        text.resize(most);
        if (is_output) {
            kill_group();
            outcome_.failure.clear();
        }
    }

    void reap(int options) {
        int status = 0;
        const pid_t found = waitpid(pid_, &status, options);
        if (found == 0 || (found < 0 && errno == EINTR)) {
            return;
        }
        pid_ = -1;
        if (found < 0) {
            outcome_.failure = "its end is unknown";
        } else if (!(WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
            outcome_.failure = error_text_.substr(0, error_text_.find('\n'));
            if (outcome_.failure.empty()) {
                outcome_.failure = WIFEXITED(status) ? "exit status " + std::to_string(WEXITSTATUS(status))
                                                     : "ended by signal " + std::to_string(WTERMSIG(status));
            }
        }
    }

    void kill_group() {
        if (pid_ > 1) {
            kill(-pid_, SIGKILL);
        }
        while (pid_ > 1) {
            reap(0);
        }
    }

    const Command &command_;
    Outcome &outcome_;
    Pipe output_;
    Pipe errors_;
    std::string error_text_;
    pid_t pid_ = -1;
};

using All_Running = std::vector<std::unique_ptr<Running>>;

bool all_have_ended(const All_Running &all) {
    return std::all_of(all.begin(), all.end(), [](const auto &running) { return running->has_ended(); });
}

// Waits until there is something to read, or until a program may have ended.
void wait_for_news(const All_Running &all, Clock::time_point deadline, int stop) {
    std::vector<pollfd> waited{{stop, POLLIN, 0}};
    bool is_closed = false;
    for (const auto &running : all) {
        const std::size_t before = waited.size();
        running->add_to(waited);
        is_closed = is_closed || (!running->has_ended() && waited.size() == before);
    }
    auto time = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    time = std::max(is_closed ? std::min(time, BETWEEN_CHECKS) : time, std::chrono::milliseconds(0));
    poll(waited.data(), waited.size(), static_cast<int>(std::min<long long>(time.count(), INT_MAX)));
    if (waited.front().revents != 0) {
        throw Interrupted{};
    }
}

std::string directory_of_this_program() {
    std::array<char, PATH_MAX> path{};
    const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
    const std::string whole(path.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return whole.substr(0, whole.rfind('/') == std::string::npos ? 0 : whole.rfind('/'));
}

} // namespace

std::vector<Outcome> run_commands(const std::vector<Command> &commands, std::chrono::milliseconds patience,
                                  int stop) {
    const Clock::time_point deadline = Clock::now() + patience;
    std::vector<Outcome> outcomes(commands.size());
    All_Running all;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        all.push_back(std::make_unique<Running>(commands[i], outcomes[i]));
    }
    while (!all_have_ended(all) && Clock::now() < deadline) {
        wait_for_news(all, deadline, stop);
        for (const auto &running : all) {
            running->advance();
        }
    }
    for (const auto &running : all) {
        if (!running->has_ended()) {
            running->end_late(patience);
        }
    }
    for (std::size_t i = 0; i < commands.size(); ++i) {
        if (outcomes[i].is_cut) {
            outcomes[i].output = commands[i].keeps_end ? from_first_whole_line(std::move(outcomes[i].output))
                                                       : up_to_last_whole_line(std::move(outcomes[i].output));
        }
    }
    return outcomes;
}

std::string find_program(const std::string &name) {
    const char *path = std::getenv("PATH");
    std::istringstream directories(directory_of_this_program() + ":" + (path != nullptr ? path : "") +
                                   ":/usr/sbin:/usr/bin:/sbin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string file = directory + "/" + name;
        if (directory.starts_with('/') && access(file.c_str(), X_OK) == 0) {
            return file;
        }
    }
    return "";
}

} // namespace hbctl
