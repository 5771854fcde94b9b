// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/step.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace hb_test::replay_storm {
namespace {

constexpr const char *NAMES[] = {"read",
                                 "settle",
                                 "message",
                                 "prepare",
                                 "commit",
                                 "abort",
                                 "restart",
                                 "fail_query",
                                 "fail_reading",
                                 "follow",
                                 "node_down",
                                 "node_up",
                                 "node_add",
                                 "node_remove",
                                 "adapter_down",
                                 "adapter_up",
                                 "adapter_undefined",
                                 "adapter_add",
                                 "adapter_remove",
                                 "address",
                                 "swap_addresses",
                                 "batch",
                                 "reload",
                                 "repeat",
                                 "local_record",
                                 "peer_down",
                                 "peer_up",
                                 "flap",
                                 "engine_ends",
                                 "engine_returns"};
static_assert(std::size(NAMES) == static_cast<std::size_t>(Verb::engine_returns) + 1);

Step step_of(const std::string &word) {
    std::istringstream parts(word);
    std::string name;
    std::getline(parts, name, '.');
    const auto *const found = std::find(std::begin(NAMES), std::end(NAMES), name);
    if (found == std::end(NAMES)) {
        throw std::invalid_argument("'" + word + "' is no step");
    }
    Step step{static_cast<Verb>(found - std::begin(NAMES)), 0, 0, 0};
    for (unsigned *number : {&step.a, &step.b, &step.c}) {
        std::string digits;
        if (std::getline(parts, digits, '.')) {
            *number = static_cast<unsigned>(std::stoul(digits));
        }
    }
    return step;
}

} // namespace

std::string text_of(const Step &step) {
    return std::string(NAMES[static_cast<std::size_t>(step.verb)]) + "." + std::to_string(step.a) + "." +
           std::to_string(step.b) + "." + std::to_string(step.c);
}

std::string text_of(const Script &script) {
    std::string text;
    for (const Step &step : script) {
        text += (text.empty() ? "" : " ") + text_of(step);
    }
    return text;
}

Script steps_of(const std::string &text) {
    Script script;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        script.push_back(step_of(word));
    }
    return script;
}

Dice::Dice(unsigned seed, const std::vector<Weight> &weights) : random_(seed), weights_(weights) {
    for (const Weight &weight : weights_) {
        total_ += weight.weight;
    }
    if (total_ == 0) {
        throw std::invalid_argument("no step is left to choose");
    }
}

Step Dice::throw_one() {
    unsigned chosen = static_cast<unsigned>(random_() % total_);
    Step step;
    for (const Weight &weight : weights_) {
        if (chosen < weight.weight) {
            step.verb = weight.verb;
            break;
        }
        chosen -= weight.weight;
    }
    for (unsigned *number : {&step.a, &step.b, &step.c}) {
        *number = static_cast<unsigned>(random_() % 64);
    }
    return step;
}

} // namespace hb_test::replay_storm
