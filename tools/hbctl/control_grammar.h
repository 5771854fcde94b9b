// The part of the command line about routes, keys and control requests.
#pragma once

#include "tools/hbctl/control_arguments.h"

#include <CLI/CLI.hpp>

#include <string>

namespace hbctl {

// The arguments as typed.
struct ControlWords {
    RouteQuery route;
    int port = 0;
    std::string nodes;
    std::string text;
    std::string adapter; // optional for a verb that only shows
    ControlRequest request;
    std::string on_off;
};

void add_control_verbs(CLI::App &app, ControlWords &words);

// Returns the arguments that the verb uses.
ControlArguments control_arguments(const std::string &verb, const ControlWords &words);

} // namespace hbctl
