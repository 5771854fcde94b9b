// Values as text: lists of numbers, times.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

// "1-3, 7"
std::string number_ranges(const std::vector<std::uint32_t> &ascending);

// "1 node", "2 nodes"
std::string counted(std::size_t count, const std::string &noun);

using Wall_Time = std::chrono::system_clock::time_point;

// "14:03:22.123" in local time.
std::string clock_text(Wall_Time time);

// "2024-05-01" in local time.
std::string date_text(Wall_Time time);

// "5 s", "2 min 5 s", "3 h 7 min", "12 d 3 h"; a negative time is "0 s".
std::string duration_text(Wall_Time::duration time);

// "2024-05-01T12:03:22.123Z"
std::string utc_text(Wall_Time time);

} // namespace hbctl
