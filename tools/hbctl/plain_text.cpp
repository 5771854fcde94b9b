#include "tools/hbctl/plain_text.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "common/not_configured.h"

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
    return common::number_ranges(ascending);
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

std::string date_text(Wall_Time time) {
    const Moment moment = moment_of(time);
    std::tm local{};
    localtime_r(&moment.seconds, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", &local);
    return text.data();
}

std::string duration_text(Wall_Time::duration time) {
    constexpr long long minute = 60;
    constexpr long long hour = 60 * minute;
    constexpr long long day = 24 * hour;
    const auto seconds =
        std::max(0LL, static_cast<long long>(std::chrono::floor<std::chrono::seconds>(time).count()));
    const auto two = [seconds](long long unit, const char *name, long long part, const char *part_name) {
        return std::to_string(seconds / unit) + " " + name + " " + std::to_string(seconds % unit / part) + " " +
               part_name;
    };
    if (seconds < minute) {
        return std::to_string(seconds) + " s";
    }
    if (seconds < hour) {
        return two(minute, "min", 1, "s");
    }
    return seconds < day ? two(hour, "h", minute, "min") : two(day, "d", hour, "h");
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
