// SPDX-License-Identifier: Apache-2.0
#include "line.h"

#include <chrono>
#include <time.h>

namespace qz_tr {

static constexpr char HEX_DIGITS[] = "0123456789abcdef";

void Line::put_decimal(uint64_t value, int least_digits) {
    char digits[20];
    int count = 0;
    while (value != 0 || count < least_digits) {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    while (count > 0) {
        put(digits[--count]);
    }
}

void Line::put_signed(int64_t value) {
    if (value < 0) {
        put('-');
        put_decimal(uint64_t{0} - static_cast<uint64_t>(value));
    } else {
        put_decimal(static_cast<uint64_t>(value));
    }
}

void Line::put_hex(uint64_t value, int least_digits) {
    char digits[16];
    int count = 0;
    while (value != 0 || count < least_digits) {
        digits[count++] = HEX_DIGITS[value & 0xF];
        value >>= 4;
    }
    while (count > 0) {
        put(digits[--count]);
    }
}

void Line::put_escaped(std::string_view text) {
    for (const char character : text) {
        switch (character) {
        case '\n':
            put("\\n");
            break;
        case '\t':
            put("\\t");
            break;
        case '\\':
            put("\\\\");
            break;
        default:
            if (character >= 0x20 && character <= 0x7E) {
                put(character);
            } else {
                put("\\x");
                put_hex(static_cast<unsigned char>(character), 2);
            }
        }
        if (cut_) {
            return;
        }
    }
}

void Line::put_bytes(const unsigned char *bytes, std::size_t count) {
    put("0x");
    for (std::size_t i = 0; i < count && !cut_; ++i) {
        put_hex(bytes[i], 2);
    }
}

// Computes the date by arithmetic. gmtime_r would lock, and a signal handler or forked child could find that
// lock held.
void Line::put_now() {
    using namespace std::chrono;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const sys_seconds when{seconds{now.tv_sec}};
    const auto day = floor<days>(when);
    const year_month_day date{day};
    const hh_mm_ss clock{when - day};
    put_signed(static_cast<int>(date.year()));
    put('-');
    put_decimal(static_cast<unsigned>(date.month()), 2);
    put('-');
    put_decimal(static_cast<unsigned>(date.day()), 2);
    put('T');
    put_decimal(static_cast<uint64_t>(clock.hours().count()), 2);
    put(':');
    put_decimal(static_cast<uint64_t>(clock.minutes().count()), 2);
    put(':');
    put_decimal(static_cast<uint64_t>(clock.seconds().count()), 2);
    put('.');
    put_decimal(static_cast<uint64_t>(now.tv_nsec / 1000), 6);
    put('Z');
}

std::string_view Line::finish() {
    if (cut_) {
        for (const char character : CUT_MARK) {
            buffer_[length_++] = character;
        }
    }
    buffer_[length_++] = '\n';
    return {buffer_, length_};
}

} // namespace qz_tr
