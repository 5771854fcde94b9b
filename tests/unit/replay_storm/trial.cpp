// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/trial.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>

#include <gtest/gtest.h>

#include "tests/support/isolated.h"

namespace hb_test::replay_storm {
namespace {

constexpr int SHORT_STORM = 2000;
constexpr int MOST_TRIALS = 600; // while a script is made shorter

// The child stores its result here, also when it crashes.
struct Finding {
    int step;
    char rule[128];
    char text[16384];
};

class Shared_Finding {
  public:
    Shared_Finding() {
        void *memory =
            mmap(nullptr, sizeof(Finding), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        finding_ = new (memory) Finding{};
    }
    Shared_Finding(const Shared_Finding &) = delete;
    Shared_Finding &operator=(const Shared_Finding &) = delete;
    ~Shared_Finding() { munmap(finding_, sizeof(Finding)); }

    Finding *operator->() const { return finding_; }
    void set(const std::string &rule, const std::string &text) const {
        std::strncpy(finding_->rule, rule.c_str(), sizeof finding_->rule - 1);
        std::strncpy(finding_->text, text.c_str(), sizeof finding_->text - 1);
    }

  private:
    Finding *finding_;
};

void live(const Plan &plan, const Script &script, const Shared_Finding &finding) {
    Storm storm(plan);
    try {
        storm.open();
        for (const Step &step : script) {
            storm.step(step);
            ++finding->step;
        }
    } catch (const Violation &violation) {
        finding.set(violation.rule(), std::string(violation.what()) + "\n" + storm.story());
    }
}

const char *setting(const char *name) {
    const char *const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

bool is_chosen(const Plan &plan) {
    const char *const name = setting("HB_REPLAY_STORM_PLAN");
    return name == nullptr ? !plan.counts_unknown_nodes : plan.name == name;
}

std::vector<Weight> chosen_weights(const Plan &plan) {
    std::vector<Weight> weights = plan.weights;
    if (const char *const without = setting("HB_REPLAY_STORM_WITHOUT")) {
        for (const Step &step : steps_of(without)) {
            std::erase_if(weights, [&](const Weight &weight) { return weight.verb == step.verb; });
        }
    }
    return weights;
}

Script without(const Script &script, std::size_t from, std::size_t count) {
    Script rest(script.begin(), script.begin() + static_cast<std::ptrdiff_t>(from));
    rest.insert(rest.end(), script.begin() + static_cast<std::ptrdiff_t>(std::min(from + count, script.size())),
                script.end());
    return rest;
}

} // namespace

Outcome run(const Plan &plan, const Script &script) {
    const Shared_Finding finding;
    const Isolated_Result result = run_in_child([&] { live(plan, script, finding); });
    Outcome outcome{finding->rule, finding->text, finding->step};
    if (outcome.is_clean()) {
        if (result.timed_out) {
            outcome.rule = "hangs";
        } else if (result.signal != 0) {
            outcome.rule = "signal " + std::to_string(result.signal);
        } else if (!result.failures.empty()) {
            outcome.rule = "failure";
            outcome.text = result.failures.front().message;
        } else if (result.exit_status != 0) {
            outcome.rule = "exit status " + std::to_string(result.exit_status);
        } else if (!result.left_behind.empty()) {
            outcome.rule = "left behind";
            outcome.text = result.left_behind.front();
        }
    }
    return outcome;
}

Script throw_script(const Plan &plan, unsigned seed, int steps) {
    Dice dice(seed, chosen_weights(plan));
    Script script;
    while (static_cast<int>(script.size()) + 1 < steps) {
        script.push_back(dice.throw_one());
    }
    script.push_back({Verb::settle, 0, 0, 0});
    return script;
}

Script shorten(const Plan &plan, const Script &script, const Outcome &outcome) {
    Script shortest(script.begin(),
                    script.begin() + std::min<std::ptrdiff_t>(outcome.step + 1, std::ssize(script)));
    int trials = 0;
    for (std::size_t count = shortest.size() / 2; count > 0 && trials < MOST_TRIALS;) {
        bool any = false;
        for (std::size_t from = 0; from < shortest.size() && trials < MOST_TRIALS; ++trials) {
            const Script tried = without(shortest, from, count);
            if (run(plan, tried).rule == outcome.rule) {
                shortest = tried;
                any = true;
            } else {
                from += count;
            }
        }
        count = any && count == 1 ? 1 : count / 2;
    }
    return shortest;
}

bool expect_clean(const Plan &plan, const Script &script, const std::string &origin) {
    const Outcome outcome = run(plan, script);
    if (outcome.is_clean()) {
        return true;
    }
    const Script shortest = shorten(plan, script, outcome);
    const Outcome again = run(plan, shortest);
    ADD_FAILURE() << plan.name << ", " << origin << ", step " << outcome.step << ": " << outcome.text
                  << "\nThe shortest script that breaks the rule \"" << outcome.rule << "\":\n"
                  << "HB_REPLAY_STORM_PLAN=" << plan.name << " HB_REPLAY_STORM_SCRIPT='" << text_of(shortest)
                  << "'\n"
                  << again.text;
    return false;
}

bool expect_clean(const Plan &plan, unsigned seed, int steps) {
    return expect_clean(plan, throw_script(plan, seed, steps), "seed " + std::to_string(seed));
}

// ---- The tests ----

void run_short_storm(const Plan &plan, unsigned seed) {
    // Some lives are shorter than the storm.
    for (int steps = SHORT_STORM; steps > 0; steps -= plan.steps_of_a_life) {
        if (!expect_clean(plan, seed++, std::min(steps, plan.steps_of_a_life))) {
            return;
        }
    }
}

void run_long_storm(const std::vector<Plan> &plans) {
    const char *const steps = setting("HB_REPLAY_STORM_STEPS");
    const char *const first_seed = setting("HB_REPLAY_STORM_SEED");
    unsigned seed = first_seed != nullptr ? static_cast<unsigned>(std::stoul(first_seed)) : 20000;
    const long long wanted = steps != nullptr ? std::stoll(steps) : SHORT_STORM;
    long long done = 0;
    while (done < wanted) {
        const long long before = done;
        for (const Plan &plan : plans) {
            // As many steps of each plan.
            long long share = is_chosen(plan) ? 10000 : 0;
            for (; share > 0 && done < wanted; share -= plan.steps_of_a_life, done += plan.steps_of_a_life) {
                if (!expect_clean(plan, seed++, plan.steps_of_a_life)) {
                    return;
                }
            }
        }
        if (done == before) {
            throw std::invalid_argument("there is no such plan");
        }
    }
    std::printf("%lld steps, seeds up to %u\n", done, seed - 1);
}

void run_script(const std::vector<Plan> &plans) {
    const char *const asked = setting("HB_REPLAY_STORM_SCRIPT");
    const char *const script =
        asked != nullptr ? asked
                         : "prepare.0 commit.0 settle.0 node_down.1 read.0 settle.0 node_up.1 read.0 settle.0";
    for (const Plan &plan : plans) {
        if (is_chosen(plan)) {
            const Outcome outcome = run(plan, steps_of(script));
            EXPECT_TRUE(outcome.is_clean())
                << plan.name << ", step " << outcome.step << ": " << outcome.rule << "\n"
                << outcome.text;
        }
    }
}

} // namespace hb_test::replay_storm
