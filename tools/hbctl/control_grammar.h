// The part of the command line about routes, keys and control requests.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "tools/hbctl/control_arguments.h"

namespace hbctl {

// The arguments as typed.
struct Control_Words {
    Route_Query route;
    int port = 0;
    std::string nodes;
    std::string text;
    std::string node;
    std::string adapter; // optional for a verb that only shows
    Control_Request request;
    std::string on_off;
};

void add_control_verbs(CLI::App &app, Control_Words &words);

// Returns the arguments that the verb uses.
Control_Arguments control_arguments(const std::string &verb, const Control_Words &words);

} // namespace hbctl
