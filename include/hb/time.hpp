// SPDX-License-Identifier: Apache-2.0
// hb/time.hpp - times and time-outs of the C++ headers
#ifndef HB_TIME_HPP
#define HB_TIME_HPP

#include <chrono>
#include <limits>

namespace hb {

// A point in time of the system's clock, in nanoseconds.
using time_point = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

namespace detail {

// Returns a time-out in milliseconds, rounded up, for poll. A negative one is 0, and a long one the longest possible.
template <class Rep, class Period> int milliseconds_of(std::chrono::duration<Rep, Period> time) noexcept {
    if (!(time > time.zero())) {
        return 0;
    }
    // In floating point, since hours::max() has no value in milliseconds.
    constexpr int longest = std::numeric_limits<int>::max();
    if (std::chrono::duration<double, std::milli>(time).count() >= longest) {
        return longest;
    }
    return std::chrono::ceil<std::chrono::duration<int, std::milli>>(time).count();
}

} // namespace detail
} // namespace hb

#endif
