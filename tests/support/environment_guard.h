// SPDX-License-Identifier: Apache-2.0
// Sets environment variables for the duration of a scope.
#pragma once

#include <optional>
#include <string>

namespace hb_test {

// Sets the variable, or removes it if no value is given. The destructor restores the old value.
class Environment_Guard {
  public:
    Environment_Guard(const std::string &name, const std::optional<std::string> &value);
    Environment_Guard(const Environment_Guard &) = delete;
    Environment_Guard &operator=(const Environment_Guard &) = delete;
    ~Environment_Guard();

  private:
    std::string name_;
    std::optional<std::string> before_;
};

} // namespace hb_test
