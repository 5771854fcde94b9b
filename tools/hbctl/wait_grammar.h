// SPDX-License-Identifier: Apache-2.0
// The part of the command line about `wait` and `check`.
#pragma once

#include <cstdint>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/hbctl/health.h"
#include "tools/hbctl/wait_condition.h"

namespace hbctl {

// The arguments as typed; -1 and empty: not given.
struct Wait_Words {
    std::string subject;
    std::string which;
    bool up = false;
    bool down = false;
    std::int64_t nodes_warning = -1;
    std::int64_t nodes_critical = -1;
    std::int64_t adapters_warning = -1;
    std::int64_t adapters_critical = -1;
};

void add_wait(CLI::App &app, Wait_Words &words);
void add_check(CLI::App &app, Wait_Words &words);

// Empty if the command line says what to wait for. CLI11 would only say that "what" is required.
std::string complaint_about_subject(const CLI::App &wait);

// Throws CLI::ValidationError if the number or name does not suit the subject.
Wait_Condition wait_condition(const Wait_Words &words);
Thresholds thresholds(const Wait_Words &words);

} // namespace hbctl
