// SPDX-License-Identifier: Apache-2.0
// Finds numbers in C++ sources that should be names: error numbers, event values, reply statuses, reserved names.
#pragma once

#include <string>
#include <vector>

// The places in a source, each as its own piece of code. Comments do not count.
std::vector<std::string> bare_error_numbers(const std::string &source);
std::vector<std::string> bare_event_values(const std::string &source);
std::vector<std::string> bare_reply_statuses(const std::string &source);
std::vector<std::string> reserved_names_in_quotes(const std::string &source);
