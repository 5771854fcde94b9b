// Why wispd cannot start: something in the system, not in its configuration.
#pragma once

#include <stdexcept>

namespace wispd {

class Start_Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace wispd
