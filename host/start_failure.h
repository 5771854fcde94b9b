// SPDX-License-Identifier: Apache-2.0
// The error for a start that fails because of the system, not because of the configuration.
#pragma once

#include <stdexcept>

namespace wispd {

class Start_Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace wispd
