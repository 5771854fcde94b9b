// Library calls that end the command when they fail: main receives the failure as an exception.
#pragma once

#include "hb_client.h"

#include <stdexcept>
#include <string>

namespace hbctl {

// what() is the one line that the user reads.
class RequestFailed : public std::runtime_error {
  public:
    RequestFailed(const std::string &line, int number) : std::runtime_error(line), number_(number) {}
    int number() const { return number_; }

  private:
    int number_;
};

// "cannot <doing>: <meaning> (error <number>)"
std::string failure_line(const std::string &doing, int number);

// The message for a library that could not be opened.
std::string open_failure_line(const std::string &path, int number);

// Throws RequestFailed unless the call succeeded.
void require(Hb_Rc result, const std::string &doing);

// The same for a request that the daemon checks. Its error numbers have their meaning for such requests.
void require_request(Hb_Rc result, const std::string &doing);

// Opens the library; throws RequestFailed.
void open_library();

} // namespace hbctl
