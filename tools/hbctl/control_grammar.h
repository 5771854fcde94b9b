// The part of the command line that is about routes, keys and control requests.
#pragma once

#include "tools/hbctl/control_arguments.h"

#include <CLI/CLI.hpp>

#include <string>

namespace hbctl {

// As they stand on the command line.
struct ControlWords {
    RouteQuery route;
    int port = 0;
    std::string nodes;
    std::string text;
    std::string adapter; // may be left out where one is only shown
    ControlRequest request;
    std::string on_off;
};

void add_control_verbs(CLI::App &app, ControlWords &words);

// What the verb takes of them.
ControlArguments control_arguments(const std::string &verb, const ControlWords &words);

} // namespace hbctl
