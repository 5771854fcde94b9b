// SPDX-License-Identifier: Apache-2.0
#include "tests/support/isolated.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>

#include "tests/support/deadline.h"
#include "tests/support/leftovers.h"
#include "tests/support/unique_fd.h"

extern "C" {
__attribute__((weak)) int __lsan_do_recoverable_leak_check();
__attribute__((weak)) void __gcov_dump();
}

namespace hb_test {
namespace {

constexpr int LEAKED = 97;

void write_all(int fd, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return;
        }
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

// A failure is sent as file, line and message, each ended by a NUL.
std::string packed(const char *file, int line, const std::string &message) {
    std::string text = file == nullptr ? "unknown file" : file;
    text += '\0';
    text += std::to_string(line);
    text += '\0';
    text += message;
    text += '\0';
    return text;
}

std::vector<Isolated_Result::Failure> unpacked(const std::string &text) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t end = text.find('\0'); end != std::string::npos; end = text.find('\0', start)) {
        fields.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    std::vector<Isolated_Result::Failure> failures;
    for (std::size_t i = 0; i + 2 < fields.size(); i += 3) {
        failures.push_back({fields[i], std::stoi(fields[i + 1]), fields[i + 2]});
    }
    return failures;
}

// Replaces the printer in the child: the parent prints.
class FailureSender : public testing::EmptyTestEventListener {
  public:
    explicit FailureSender(int fd) : fd_(fd) {}
    void OnTestPartResult(const testing::TestPartResult &result) override {
        if (result.failed()) {
            write_all(fd_, packed(result.file_name(), result.line_number(), result.message()));
        }
    }

  private:
    int fd_;
};

int run_body(const std::function<void()> &body, int report) {
    testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer());
    listeners.Append(new FailureSender(report));
    try {
        body();
    } catch (const std::exception &error) {
        write_all(report, packed(__FILE__, __LINE__, std::string("exception: ") + error.what()));
    }
    if (__lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0) {
        return LEAKED;
    }
    return 0;
}

[[noreturn]] void be_the_child(const std::function<void()> &body, int report) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int status = run_body(body, report);
    if (__gcov_dump != nullptr) {
        __gcov_dump();
    }
    std::fflush(nullptr);
    _exit(status);
}

// Reads until the child closes its end. Returns false at the deadline.
bool read_report(int fd, std::string &text, const Deadline &deadline) {
    std::array<char, 4096> buffer{};
    while (wait_readable(fd, deadline)) {
        const ssize_t count = read(fd, buffer.data(), buffer.size());
        if (count == 0) {
            return true;
        }
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }
    return false;
}

void reap(pid_t child, Isolated_Result &result) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    } else {
        result.exit_status = WEXITSTATUS(status);
    }
}

} // namespace

Isolated_Result run_in_child(const std::function<void()> &body, std::chrono::milliseconds time) {
    share_leftovers_book();
    open_leftovers_book();
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    Unique_Fd reading(ends[0]);
    Unique_Fd writing(ends[1]);
    std::fflush(nullptr);

    const Deadline deadline(time);
    const pid_t child = fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (child == 0) {
        reading.reset();
        be_the_child(body, writing.get());
    }
    writing.reset();

    Isolated_Result result;
    std::string report;
    if (!read_report(reading.get(), report, deadline)) {
        result.timed_out = true;
        kill(child, SIGKILL);
    }
    reap(child, result);
    result.failures = unpacked(report);
    result.left_behind = leftovers(child);
    remove_leftovers(child);
    return result;
}

void run_isolated(const std::function<void()> &body) {
    const Isolated_Result result = run_in_child(body);
    for (const Isolated_Result::Failure &failure : result.failures) {
        ADD_FAILURE_AT(failure.file.c_str(), failure.line) << failure.message;
    }
    if (result.timed_out) {
        ADD_FAILURE() << "the test did not end in time and was killed";
    } else if (result.signal != 0) {
        ADD_FAILURE() << "the test was ended by signal " << result.signal << " (" << strsignal(result.signal)
                      << ")";
    } else if (result.exit_status == LEAKED) {
        ADD_FAILURE() << "the test leaked memory; see the leak report above";
    } else if (result.exit_status != 0) {
        ADD_FAILURE() << "the test's process ended with status " << result.exit_status;
    }
    for (const std::string &thing : result.left_behind) {
        ADD_FAILURE() << "left behind: " << thing;
    }
}

} // namespace hb_test
