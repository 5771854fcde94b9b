// SPDX-License-Identifier: Apache-2.0
// One line of the trace, built in a fixed buffer because recording must not allocate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qz_tr {

// The size of a line with its newline. Linux writes this much to a pipe at once, so lines of several writers
// never mix.
inline constexpr std::size_t MAX_LINE_SIZE = 4096;

class Line {
  public:
    void put(char character) {
        if (length_ < LIMIT) {
            buffer_[length_++] = character;
        } else {
            cut_ = true;
        }
    }
    void put(std::string_view text) {
        for (const char character : text) {
            put(character);
        }
    }
    void put_decimal(uint64_t value, int least_digits = 1);
    void put_signed(int64_t value);
    void put_hex(uint64_t value, int least_digits = 1);
    // Writes control characters, backslash and non-ASCII bytes as \n, \xNN and so on.
    void put_escaped(std::string_view text);
    // Writes 0x and two digits for each byte.
    void put_bytes(const unsigned char *bytes, std::size_t count);
    // Writes the time in UTC, as 2025-11-20T23:48:12.123456Z.
    void put_now();

    // Ends the line with a newline, after "..." if the line was cut.
    std::string_view finish();

  private:
    static constexpr std::string_view CUT_MARK = "...";
    static constexpr std::size_t LIMIT = MAX_LINE_SIZE - CUT_MARK.size() - 1;

    std::size_t length_ = 0;
    bool cut_ = false;
    char buffer_[MAX_LINE_SIZE] = {};
};

} // namespace qz_tr
