// SPDX-License-Identifier: Apache-2.0
// The command line of hb_exporter.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace exporter {

enum { STATUS_SUCCESS = 0, STATUS_FAILURE = 1, STATUS_USAGE = 2 };

struct Listen_Address {
    std::string host = "127.0.0.1";
    int port = 9782; // 0: any free port
};

struct Arguments {
    Listen_Address listen;
    std::string text_file; // empty: serve HTTP
    std::optional<std::string> socket;
    std::chrono::seconds stale{2};
    std::chrono::seconds interval{10};
};

struct Parsed {
    std::optional<Arguments> arguments; // none: print the texts and exit
    int exit_status = STATUS_SUCCESS;
    std::string output;
    std::string complaint;
};

Parsed parse_arguments(int argc, const char *const *argv);

// Reads ADDRESS:PORT, with an IPv6 address in brackets. Returns nothing if the text is anything else.
std::optional<Listen_Address> parse_listen_address(const std::string &text);

} // namespace exporter
