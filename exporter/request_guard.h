// SPDX-License-Identifier: Apache-2.0
// Decides which requests the HTTP service rejects before it answers.
#pragma once

#include <string>

namespace exporter {

// Returns whether the address that the service listens on is reachable from this machine alone.
bool is_loopback_address(const std::string &host);

// Returns whether the Host header of a request names this machine by a loopback name. A foreign web page can make a
// browser connect here under the page's own name; its scripts could then read the answers.
bool names_loopback(const std::string &host_header);

} // namespace exporter
