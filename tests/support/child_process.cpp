// SPDX-License-Identifier: Apache-2.0
#include "tests/support/child_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace hb_test {
namespace {

struct Pipe {
    Unique_Fd reading, writing;
};

Pipe make_pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {Unique_Fd(ends[0]), Unique_Fd(ends[1])};
}

// Reads the available bytes. Returns false at the end of the stream.
bool read_available(int fd, std::string &into) {
    std::array<char, 65536> buffer{};
    const ssize_t count = read(fd, buffer.data(), buffer.size());
    if (count > 0) {
        into.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && (errno == EINTR || errno == EAGAIN));
}

// The variables of this process, each "NAME=value", with the given ones added or changed.
std::vector<std::string> environment_with(const Child_Process::Environment &changes) {
    std::map<std::string, std::string> all;
    for (char **variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::size_t equals = text.find('=');
        if (equals != std::string::npos) {
            all.emplace(text.substr(0, equals), text.substr(equals + 1));
        }
    }
    for (const auto &[name, value] : changes) {
        all[name] = value;
    }
    std::vector<std::string> variables;
    for (const auto &[name, value] : all) {
        variables.push_back(name + "=" + value);
    }
    return variables;
}

// The texts as exec wants them, with a null pointer at the end.
std::vector<char *> pointers_to(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Child_Process::Child_Process(const std::vector<std::string> &arguments, const Environment &environment) {
    Pipe input = make_pipe();
    Pipe out = make_pipe();
    Pipe err = make_pipe();
    Pipe trouble = make_pipe(); // closed by a successful exec

    std::vector<std::string> copy = arguments;
    std::vector<std::string> variables = environment_with(environment);
    const std::vector<char *> argv = pointers_to(copy);
    std::vector<char *> envp = pointers_to(variables);

    // The child allocates nothing before exec: a thread that fork leaves behind may have held the allocator's lock.
    pid_ = fork();
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(input.reading.get(), STDIN_FILENO);
        dup2(out.writing.get(), STDOUT_FILENO);
        dup2(err.writing.get(), STDERR_FILENO);
        environ = envp.data();
        execvp(argv[0], argv.data());
        const int reason = errno;
        const ssize_t told = write(trouble.writing.get(), &reason, sizeof reason);
        _exit(told == sizeof reason ? 127 : 126);
    }
    trouble.writing.reset();
    int reason = 0;
    if (read(trouble.reading.get(), &reason, sizeof reason) == sizeof reason) {
        reap(true);
        throw std::system_error(reason, std::generic_category(), "cannot run " + arguments[0]);
    }
    input_ = std::move(input.writing);
    out_ = std::move(out.reading);
    err_ = std::move(err.reading);
}

Child_Process::~Child_Process() {
    if (!end_) {
        kill(pid_, SIGKILL);
        reap(true);
    }
}

void Child_Process::send_signal(int signal) const {
    if (!end_) {
        kill(pid_, signal);
    }
}

void Child_Process::write_input(const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(input_.get(), text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "write to a child process");
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

// Reads whatever arrives next on either stream. Returns false at the deadline.
bool Child_Process::pump(const Deadline &deadline) {
    std::array<pollfd, 2> wanted{{{out_.get(), POLLIN, 0}, {err_.get(), POLLIN, 0}}};
    const int ready = poll(wanted.data(), wanted.size(), deadline.milliseconds_left());
    if (ready == 0) {
        return false;
    }
    if (wanted[0].revents != 0 && !read_available(out_.get(), output_)) {
        out_.reset();
    }
    if (wanted[1].revents != 0 && !read_available(err_.get(), errors_)) {
        err_.reset();
    }
    return true;
}

std::optional<std::string> Child_Process::read_line(const Deadline &deadline) {
    std::size_t end = 0;
    while ((end = output_.find('\n')) == std::string::npos) {
        if (!out_ || !pump(deadline)) {
            return std::nullopt;
        }
    }
    std::string line = output_.substr(0, end);
    output_.erase(0, end + 1);
    return line;
}

bool Child_Process::read_until(const std::string &text, const Deadline &deadline) {
    while (const std::optional<std::string> line = read_line(deadline)) {
        if (line->find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool Child_Process::reap(bool block) {
    int status = 0;
    pid_t got = 0;
    do {
        got = waitpid(pid_, &status, block ? 0 : WNOHANG);
    } while (got < 0 && errno == EINTR);
    if (got == pid_) {
        Child_End end;
        if (WIFSIGNALED(status)) {
            end.signal = WTERMSIG(status);
        } else {
            end.exit_status = WEXITSTATUS(status);
        }
        end_ = end;
    }
    return end_.has_value();
}

bool Child_Process::running() {
    return !end_ && !reap(false);
}

// A grandchild may hold the streams open after the child has ended, so the child's end is checked too.
std::optional<Child_End> Child_Process::wait(const Deadline &deadline) {
    while (running()) {
        if (deadline.over()) {
            return std::nullopt;
        }
        if (streams_open()) {
            pump(Deadline(std::chrono::milliseconds(std::min(20, deadline.milliseconds_left()))));
        } else {
            poll(nullptr, 0, 1);
        }
    }
    while (streams_open() && pump(Deadline(std::chrono::milliseconds(0)))) {
    }
    return end_;
}

} // namespace hb_test
