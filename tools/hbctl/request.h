// Library calls that end the command when they fail: main receives the failure as an exception.
#pragma once

#include <stdexcept>
#include <string>

#include "hb_client.h"

namespace hbctl {

// what() is the one line that the user reads.
class Request_Failed : public std::runtime_error {
  public:
    Request_Failed(const std::string &line, int number) : std::runtime_error(line), number_(number) {}
    int number() const { return number_; }

  private:
    int number_;
};

// "cannot <doing>: <meaning> (error <number>)"
std::string failure_line(const std::string &doing, int number);

// The message for a library that could not be opened.
std::string open_failure_line(const std::string &path, int number);

// Throws Request_Failed unless the call succeeded.
void require(Hb_Rc result, const std::string &doing);

// The same for a request that the daemon checks. Its error numbers have their meaning for such requests.
void require_request(Hb_Rc result, const std::string &doing);

// Opens the library; throws Request_Failed.
void open_library();

} // namespace hbctl
