// SPDX-License-Identifier: Apache-2.0
#include "tests/system/moving_client.h"

#include <fstream>

#include "tests/system/migration_model.h"
#include "tests/system/service_client.h"
#include "tests/system/stream.h"

namespace hb_test {

std::string moving_cluster_file() {
    std::string file = R"([cluster]
local_node = 1
max_nodes = 8
adapters_per_node = 48
[daemon]
shutdown_delay_seconds = 0.2
[[network]]
number = 0
name = "a"
[[network]]
number = 1
name = "b"
)";
    for (const char *node : {"1", "2", "3", "4", "5", "6"}) {
        file += std::string("[[node]]\nnumber = ") + node;
        for (const char *network : {"0", "1"}) {
            file += std::string("\n[[node.adapter]]\nnetwork = ") + network + "\naddress = \"10." + network +
                    ".0." + node + "\"\ntype = \"eth" + network + "\"\n";
        }
    }
    return file;
}

Moving_Client::Moving_Client(const Setup &setup, const std::string &service_file)
    : daemon_(setup.daemon, moving_cluster_file()) {
    EXPECT_TRUE(daemon_.start());
    std::ofstream(directory_.file("cluster.toml")) << service_file;
    const Programs &programs = setup.clients.back();
    Child_Process::Environment environment = service_preloaded(programs);
    environment.insert(environment.end(), {{"HB_MOX_SIM_CONFIG", directory_.file("cluster.toml")},
                                           {"HB_MOX_SIM_CONTROL", service_socket()}});
    const std::vector<std::string> commands = {"open", "subscribe n 7 all-nodes", "subscribe a 7 all-adapters",
                                               "pause"};
    client_ = std::make_unique<Client>(programs, daemon_.socket(), commands, environment);
    EXPECT_EQ((std::vector<std::string>{"opened", "subscribed n", "subscribed a", "paused"}),
              client_->lines(commands.size()));
}

testing::AssertionResult Moving_Client::service_is_told(const std::string &json) const {
    const Stream stream(service_socket());
    stream.send(json + "\n");
    const std::string answer = stream.read_line();
    if (answer == R"({"ok":true})") {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << json << " was answered with: " << answer;
}

std::vector<std::string> Moving_Client::take(std::size_t count) {
    client_->order("take " + std::to_string(count));
    std::vector<std::string> events;
    for (const std::string &line : client_->lines(count)) {
        events.push_back(in_short(line));
    }
    return events;
}

std::vector<std::string> Moving_Client::drain() {
    client_->order("drain");
    std::vector<std::string> events;
    for (const std::string &line : client_->lines_until("quiet")) {
        if (const std::string event = in_short(line); !event.empty() && event != "quiet") {
            events.push_back(event);
        }
    }
    return events;
}

} // namespace hb_test
