// SPDX-License-Identifier: Apache-2.0
#include "common/no_answer.h"

#include <algorithm>

namespace common {

std::chrono::milliseconds patience_of(double seconds) {
    // Not rounded up: 32-bit processors multiply 0.1 by 1000 to a little more than 100.
    return std::max(std::chrono::milliseconds(1),
                    std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(seconds)));
}

std::string seconds_text(std::chrono::milliseconds time) {
    std::string text = std::to_string(time.count() / 1000);
    if (const auto rest = time.count() % 1000; rest != 0) {
        const std::string digits = std::to_string(rest);
        text += "." + std::string(3 - digits.size(), '0') + digits;
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text + " s";
}

std::string no_answer_line(const std::string &path, std::chrono::milliseconds waited) {
    return "wispd does not answer at " + path + " (waited " + seconds_text(waited) +
           "); check it with 'systemctl status wispd', or wait longer with --timeout SECONDS";
}

} // namespace common
