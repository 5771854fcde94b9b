// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include "qz_ffdc.h"

namespace {

char *put_decimal(char *out, unsigned value, int digits) {
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return out + digits;
}

char *put_hex(char *out, uint64_t value, int digits) {
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = "0123456789abcdef"[value & 0xF];
        value >>= 4;
    }
    return out + digits;
}

bool random_bits(uint64_t &bits) {
    for (;;) {
        const ssize_t got = getrandom(&bits, sizeof bits, 0);
        if (got == static_cast<ssize_t>(sizeof bits)) {
            return true;
        }
        if (got < 0 && errno != EINTR) {
            return false;
        }
    }
}

// Computes the calendar by arithmetic. gmtime_r would lock, and a forked child could find that lock held for
// ever.
char *put_time(char *out, std::chrono::sys_seconds now) {
    const auto day = std::chrono::floor<std::chrono::days>(now);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{now - day};
    out = put_decimal(out, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    out = put_decimal(out, static_cast<unsigned>(date.month()), 2);
    out = put_decimal(out, static_cast<unsigned>(date.day()), 2);
    *out++ = 'T';
    out = put_decimal(out, static_cast<unsigned>(clock.hours().count()), 2);
    out = put_decimal(out, static_cast<unsigned>(clock.minutes().count()), 2);
    out = put_decimal(out, static_cast<unsigned>(clock.seconds().count()), 2);
    *out++ = 'Z';
    return out;
}

} // namespace

int qz_ffdc_make_id(fc_eid_t id) {
    using namespace std::chrono;
    if (id == nullptr) {
        errno = EINVAL;
        return -1;
    }
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return -1;
    }
    constexpr sys_seconds first = sys_days{year{0} / January / 1};
    constexpr sys_seconds beyond = sys_days{year{10000} / January / 1};
    const sys_seconds when{seconds{now.tv_sec}};
    if (when < first || when >= beyond) {
        errno = EOVERFLOW;
        return -1;
    }
    const int errno_before = errno;
    uint64_t bits = 0;
    if (!random_bits(bits)) {
        return -1;
    }
    errno = errno_before;

    char *out = put_time(id, when);
    *out++ = '-';
    out = put_hex(out, static_cast<uint32_t>(getpid()), 8);
    *out++ = '-';
    out = put_hex(out, bits, 16);
    *out = '\0';
    return 0;
}

int qz_ffdc_check_id(const fc_eid_t id) {
    const auto well_formed = [](const char *text) {
        const size_t length = strnlen(text, QZ_FFDC_ID_SIZE);
        if (length == 0 || length == QZ_FFDC_ID_SIZE) {
            return false;
        }
        for (size_t i = 0; i < length; ++i) {
            if (text[i] < 0x20 || text[i] > 0x7E) {
                return false;
            }
        }
        return true;
    };
    if (id == nullptr || !well_formed(id)) {
        errno = EINVAL;
        return -1;
    }
    return 0;
}
