// Why wispd cannot start: something in the system, not in its configuration.
#ifndef WISPD_START_FAILURE_H
#define WISPD_START_FAILURE_H

#include <stdexcept>

namespace wispd {

class Start_Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace wispd

#endif
