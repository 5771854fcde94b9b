// SPDX-License-Identifier: Apache-2.0
#include "tests/system/service_client.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "tests/system/stream.h"

namespace hb_test {
namespace {

using Files = std::vector<std::pair<std::string, std::string>>;

void write_file(const std::string &path, const std::string &text) {
    std::ofstream written(path, std::ios::trunc);
    written << text;
    written.close();
    if (!written) {
        throw std::runtime_error("cannot write " + path);
    }
}

std::vector<std::string> command_line(const Programs &programs, const Temp_Dir &directory,
                                      const std::string &configuration, const Files &files) {
    write_file(directory.file("cluster.toml"), configuration);
    for (const auto &[name, text] : files) {
        write_file(directory.file(name), text);
    }
    return {programs.path("cluster_events_example")};
}

Child_Process::Environment environment(const Programs &programs, const Temp_Dir &directory) {
    Child_Process::Environment variables = service_preloaded(programs);
    variables.insert(variables.end(), {{"HB_SERVER_SOCKET", directory.file("no_daemon")},
                                       {"HA_DOMAIN_NAME", ""},
                                       {"HA_SYSPAR_NAME", ""},
                                       {"HB_MOX_SIM_CONFIG", directory.file("cluster.toml")},
                                       {"HB_MOX_SIM_CONTROL", directory.file("c")}});
    return variables;
}

} // namespace

Child_Process::Environment service_preloaded(const Programs &programs, const std::string &service) {
    const char *options = std::getenv("ASAN_OPTIONS");
    // The address sanitizer must be the first library. One that a preloaded library brings is sufficient.
    return {{"LD_PRELOAD", programs.directory + "/../lib/libqz_mox_" + service + ".so"},
            {"ASAN_OPTIONS", std::string(options != nullptr ? options : "") + ":verify_asan_link_order=0"}};
}

Service_Client::Service_Client(const Programs &programs, const std::string &configuration, const Files &files)
    : process_(command_line(programs, directory_, configuration, files), environment(programs, directory_)) {}

std::vector<std::string> Service_Client::lines(std::size_t count) {
    std::vector<std::string> all;
    while (all.size() < count) {
        const std::optional<std::string> line = process_.read_line();
        if (!line) {
            all.push_back("[no line came from the client; its errors: " + process_.error_output() + "]");
            break;
        }
        all.push_back(*line);
    }
    return all;
}

std::string Service_Client::tell(const std::string &json) const {
    const Stream stream(control());
    stream.send(json + "\n");
    return stream.read_line();
}

testing::AssertionResult Service_Client::tells(const std::string &json) const {
    const std::string answer = tell(json);
    if (answer == R"({"ok":true})") {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << json << " was answered with: " << answer;
}

void Service_Client::write_configuration(const std::string &text) const {
    write_file(directory_.file("cluster.toml"), text);
}

} // namespace hb_test
