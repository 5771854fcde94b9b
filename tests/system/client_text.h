// SPDX-License-Identifier: Apache-2.0
// The output of the client program: one line for each result.
#pragma once

#include <string>
#include <vector>

#include "hb_client.h"

namespace hb_test {

using Words = std::vector<std::string>;

void say(const std::string &line);
// Includes the library's error number.
void say_failure(const std::string &doing);
void report(Hb_Rc result, const std::string &doing, const std::string &done);

std::string number(long long value);
std::string address_text(const Hb_IP_address6 &address);

} // namespace hb_test
