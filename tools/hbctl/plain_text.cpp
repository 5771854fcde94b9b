// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/plain_text.h"

#include <array>
#include <ctime>

namespace hbctl {
namespace {

struct Moment {
    std::time_t seconds;
    int milliseconds;
};

Moment moment_of(Wall_Time time) {
    using namespace std::chrono;
    const auto since_epoch = floor<milliseconds>(time.time_since_epoch());
    const auto whole = floor<seconds>(since_epoch);
    return {static_cast<std::time_t>(whole.count()), static_cast<int>((since_epoch - whole).count())};
}

std::string fraction_text(int milliseconds) {
    const std::string digits = std::to_string(milliseconds);
    return "." + std::string(3 - digits.size(), '0') + digits;
}

} // namespace

std::string number_ranges(const std::vector<std::uint32_t> &ascending) {
    std::string text;
    for (std::size_t first = 0; first < ascending.size();) {
        std::size_t last = first;
        while (last + 1 < ascending.size() && ascending[last + 1] == ascending[last] + 1) {
            ++last;
        }
        if (!text.empty()) {
            text += ", ";
        }
        text += std::to_string(ascending[first]);
        if (last > first) {
            text += (last == first + 1 ? ", " : "-") + std::to_string(ascending[last]);
        }
        first = last + 1;
    }
    return text;
}

std::string counted(std::size_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string clock_text(Wall_Time time) {
    const Moment moment = moment_of(time);
    std::tm local{};
    localtime_r(&moment.seconds, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data() + fraction_text(moment.milliseconds);
}

std::string utc_text(Wall_Time time) {
    const Moment moment = moment_of(time);
    std::tm utc{};
    gmtime_r(&moment.seconds, &utc);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    return text.data() + fraction_text(moment.milliseconds) + "Z";
}

} // namespace hbctl
