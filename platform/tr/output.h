// SPDX-License-Identifier: Apache-2.0
// Writes the lines of the trace to a file or stderr.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qz_tr {

// Writes the bytes without raising SIGPIPE or SIGXFSZ; returns 0 or the error number. It uses one write, and
// more only if the system accepts a part. *taken becomes the number of bytes written.
int write_piece(int fd, std::string_view bytes, std::size_t *taken);

// Writes a line on stderr for the user of the program.
void report(std::string_view what);

class Output {
  public:
    // Opens "stderr", or creates or appends to the file at that path. Returns null with errno set on failure.
    static Output *open(const char *where);

    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    // Writes one line, including its newline, with a single write. Lines that cannot be written are counted. A
    // notice before the next written line reports their number.
    void write_line(std::string_view line);

  private:
    Output(int descriptor, bool close_at_end) : fd_(descriptor), owned_(close_at_end) {}
    bool write_loss_notice(uint32_t count);
    void lose(uint32_t count, int error);

    const int fd_;
    const bool owned_;
    std::atomic<uint32_t> lost_{0};
    std::atomic<int> last_error_{0};
    std::atomic<bool> torn_{false}; // the last write stopped inside a line
};

} // namespace qz_tr
