// SPDX-License-Identifier: Apache-2.0
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

// The library could not be opened, but a later attempt may succeed.
class Daemon_Absent : public Request_Failed {
  public:
    using Request_Failed::Request_Failed;
};

// Error numbers after which the connection is unusable.
bool means_loss(int error);

// The daemon does not listen, is starting or stopping, or disconnected while the library was opened.
bool is_absence(const Request_Failed &failure);

// "cannot <doing>: <meaning> (error <number>)"
std::string failure_line(const std::string &doing, int number);

// The same, with the meaning that the number has for a request.
std::string request_failure_line(const std::string &doing, int number);

// The message for a library that could not be opened.
std::string open_failure_line(const std::string &path, int number);

// Throws Request_Failed unless the call succeeded.
void require(Hb_Rc result, const std::string &doing);

// The same for a request that the daemon checks. Its error numbers have their meaning for such requests.
void require_request(Hb_Rc result, const std::string &doing);

// Opens the library; throws Daemon_Absent, or Request_Failed if only the user can change the reason.
void open_library();

} // namespace hbctl
