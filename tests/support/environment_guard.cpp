// SPDX-License-Identifier: Apache-2.0
#include "tests/support/environment_guard.h"

#include <cstdlib>

namespace hb_test {
namespace {

void put(const std::string &name, const std::optional<std::string> &value) {
    if (value) {
        setenv(name.c_str(), value->c_str(), 1);
    } else {
        unsetenv(name.c_str());
    }
}

} // namespace

Environment_Guard::Environment_Guard(const std::string &name, const std::optional<std::string> &value)
    : name_(name) {
    if (const char *now = std::getenv(name.c_str())) {
        before_ = now;
    }
    put(name, value);
}

Environment_Guard::~Environment_Guard() {
    put(name_, before_);
}

} // namespace hb_test
