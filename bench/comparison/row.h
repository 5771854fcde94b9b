// SPDX-License-Identifier: Apache-2.0
// A row of a benchmark: work of this system, beside a plain way to do the same on the same machine.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace comparison {

// Rate: how many times as fast as the peer; its target is a lower limit.
// Cost: how many times the peer's cost; its target is an upper limit.
enum class Ratio { rate, cost };

// Wall time is for work that several processes do; everything else is measured in processor time, which other
// load on the machine hardly changes.
enum class Cost { processor_time, wall_time, bytes };

// One call is one repetition. It returns its cost in seconds or bytes, or throws if the work was not done.
struct Sides {
    std::function<double()> subject;
    std::function<double()> peer;
};

struct Row {
    std::string work;
    std::string beside;
    std::string why; // the peer is the limit
    Ratio ratio = Ratio::rate;
    Cost cost = Cost::processor_time;
    std::optional<double> target; // nothing: for information
    bool is_quick = false;        // needs neither many processes nor much time
    bool forgives_noise = false;  // an uncertain ratio is judged by the better end of its interval
    std::function<Sides()> prepare;
};

} // namespace comparison
