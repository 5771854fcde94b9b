// Where lines go.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qz_tr {

// Writes with a single write, and raises no SIGPIPE or SIGXFSZ: 0, or the error number. Only where the system
// takes less than all is the rest written behind it. *taken is the number of bytes that were written.
int write_piece(int fd, std::string_view bytes, std::size_t *taken);

// A line on stderr to whoever runs the program.
void report(std::string_view what);

class Output {
  public:
    // "stderr", or the path of a file that is made or appended to. Null with errno set when that fails.
    static Output *open(const char *where);

    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // One line, newline included, with a single write. A line that cannot be written is counted, and a line
    // before the next that can tells how many there were.
    void write_line(std::string_view line);

  private:
    Output(int descriptor, bool close_at_end) : fd(descriptor), owned(close_at_end) {}
    bool write_loss_notice(uint32_t count);
    void lose(uint32_t count, int error);

    const int fd;
    const bool owned;
    std::atomic<uint32_t> lost{0};
    std::atomic<int> last_error{0};
    std::atomic<bool> torn{false}; // the last write stopped inside a line
};

} // namespace qz_tr
