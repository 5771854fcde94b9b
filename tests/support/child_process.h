// Another program, run with pipes at its three standard streams and ended with this object.
#ifndef HB_TEST_CHILD_PROCESS_H
#define HB_TEST_CHILD_PROCESS_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/deadline.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

struct ChildEnd {
    int exit_status = -1; // when no signal ended it
    int signal = 0;
};

class ChildProcess {
  public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    // arguments[0] is the program, looked up in PATH when it has no slash. The variables are added to this
    // process's own. Throws when the program cannot be run.
    explicit ChildProcess(const std::vector<std::string> &arguments, const Environment &environment = {});
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;
    // Kills it if it still runs.
    ~ChildProcess();

    pid_t pid() const { return pid_; }
    void send_signal(int signal) const;
    void write_input(const std::string &text);
    void close_input() { input_.reset(); }

    // The next whole line of its output, without the newline; nothing at the deadline or at the end.
    std::optional<std::string> read_line(const Deadline &deadline = Deadline());
    // Lines up to and with the first that holds the text; false when there was none.
    bool read_until(const std::string &text, const Deadline &deadline = Deadline());
    // Waits for its end and reads both streams out; nothing at the deadline.
    std::optional<ChildEnd> wait(const Deadline &deadline = Deadline());

    // All that came so far and was not taken by read_line.
    const std::string &output() const { return output_; }
    const std::string &error_output() const { return errors_; }
    bool running();

  private:
    bool pump(const Deadline &deadline);
    bool streams_open() const { return out_ || err_; }
    bool reap(bool block);

    pid_t pid_ = -1;
    std::optional<ChildEnd> end_;
    UniqueFd input_, out_, err_;
    std::string output_, errors_;
};

} // namespace hb_test

#endif
