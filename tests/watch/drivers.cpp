// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <ostream>

#include "tests/watch/watch_program.h"

namespace hb_test {

std::vector<Driver_Command> drivers_of(const Programs &programs) {
    std::vector<Driver_Command> all{{"c", {programs.path("watch_driver")}, programs, {}, true, true}};
    const std::string companion = programs.path("watch_driver_cpp");
    if (std::filesystem::exists(companion)) {
        all.push_back({"cpp", {companion}, programs, {}, true, true});
    }
    const std::string package = programs.directory + "/../python";
    if (std::filesystem::exists(package + "/hb_client/_hb_watch.abi3.so")) {
        all.push_back(
            {"python", {HB_PYTHON, HB_WATCH_DRIVER_PY}, programs, {{"PYTHONPATH", package}}, false, false});
    }
    return all;
}

void PrintTo(const Driver_Command &driver, std::ostream *out) {
    *out << driver.name;
}

} // namespace hb_test
