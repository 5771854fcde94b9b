// SPDX-License-Identifier: Apache-2.0
// Random faults between a watch and a real wispd, and a report of what was compared.
#include <iostream>

#include <CLI/CLI.hpp>

#include "tests/watch/watch_storm.h"

int main(int argc, char **argv) {
    using namespace hb_test;
    unsigned faults = 1000;
    unsigned seed = 1;
    std::string driver = "c";
    bool quiet = false;
    CLI::App app(
        "Lets random faults happen between a watch and wispd, and compares the watch's reports with the "
        "cluster. Exits with 1 when something does not match.");
    app.add_option("--faults", faults, "How many faults")->capture_default_str();
    app.add_option("--seed", seed, "What the faults follow from")->capture_default_str();
    app.add_option("--driver", driver, "The watch's language")->capture_default_str();
    app.add_flag("--quiet", quiet, "Print the report only");
    CLI11_PARSE(app, argc, argv);
    try {
        const Programs programs = programs_of_this_build();
        std::vector<Driver_Command> drivers = drivers_of(programs);
        std::erase_if(drivers, [&](const Driver_Command &each) { return each.name != driver; });
        if (drivers.empty()) {
            std::cerr << "watch_storm: no driver has the name " << driver << '\n';
            return 2;
        }
        Watch_Storm storm(programs, drivers, seed, quiet ? nullptr : &std::cout);
        const Watch_Storm_Outcome outcome = storm.run(faults);
        std::cout << watch_storm_report(outcome, seed);
        return outcome.good() ? 0 : 1;
    } catch (const std::exception &trouble) {
        std::cerr << "watch_storm: " << trouble.what() << '\n';
        return 1;
    }
}
