// SPDX-License-Identifier: Apache-2.0
// The simulated service in this process, with commands to its control socket before a client listens.
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform/include/qz_mox.h"
#include "providers/sim/cluster_player.h"
#include "tests/support/temp_dir.h"
#include "tests/system/clusters.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

class Cluster_Player_Test : public testing::Test {
  protected:
    std::string write(const std::string &name, const std::string &text) const {
        std::ofstream(directory_.file(name)) << text;
        return directory_.file(name);
    }

    // Sends a command to the control socket and returns the answer.
    std::string answer(const std::string &json) const {
        const Stream stream(directory_.file("c"));
        stream.send(json + "\n");
        return stream.read_line();
    }

    Temp_Dir directory_;
};

TEST_F(Cluster_Player_Test, ATimelineThatPlaysBeforeTheFirstMonitorKeepsTheConfiguredOneFromBeginning) {
    write("timeline.toml", "[[event]]\nafter = 0\ndo = \"node-down\"\nnode = 2\n");
    const std::string other = write("other.toml", "[[event]]\nafter = 3600\ndo = \"node-down\"\nnode = 2\n");
    const mox_sim::Cluster_Player player(
        {write("cluster.toml", small_cluster_file() + "\n[source]\ntimeline = \"timeline.toml\"\n"),
         directory_.file("c")});
    ASSERT_EQ(R"({"ok":true})", answer(R"({"do":"play","timeline":")" + other + "\"}"));

    int monitor = -1;
    ASSERT_EQ(0, qz_orb_open_monitor("node_liveness", &monitor));

    // The service's thread executes one command after the other, so the configured timeline's turn has passed.
    const std::string state = answer(R"({"do":"state"})");
    EXPECT_NE(std::string::npos, state.find(R"("timeline":{"events":1,"played":0})")) << state;
}

} // namespace
} // namespace hb_test
