// SPDX-License-Identifier: Apache-2.0
// A wispd that runs as root for the three roles, in a directory that every account can enter.
#pragma once

#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/security/roles.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {

// The keys of [daemon] that give each role its group.
inline std::string groups_of_roles() {
    return "group = \"" + std::to_string(CLIENT_GROUP) + "\"\nact_group = \"" + std::to_string(ACT_GROUP) +
           "\"\ncontrol_group = \"" + std::to_string(CONTROL_GROUP) + "\"\n";
}

class Guarded_Daemon {
  public:
    // The keys of [daemon], each on its own line, and the rest of the file.
    explicit Guarded_Daemon(const std::string &settings = groups_of_roles())
        : daemon_(programs_of_this_build(), small_cluster_file() + "\n[daemon]\n" + settings),
          programs_(programs_of_this_build()) {}

    testing::AssertionResult start() {
        EXPECT_EQ(chmod(daemon_.directory().c_str(), 0755), 0);
        return daemon_.start();
    }
    Daemon &daemon() { return daemon_; }
    const Public_Programs &programs() const { return programs_; }

    Ended hbctl(Role role, std::vector<std::string> words) const {
        words.insert(words.begin(), {"hbctl", "--socket", daemon_.socket()});
        return programs_.run(role, words);
    }
    Ended wispctl(Role role, std::vector<std::string> words) const {
        words.insert(words.begin(), {"wispctl", "--control", daemon_.control()});
        return programs_.run(role, words);
    }
    nlohmann::json state() { return nlohmann::json::parse(daemon_.tell(R"({"do":"state"})")).at("state"); }
    std::string state_of_node(int number) {
        const nlohmann::json nodes = state().at("nodes");
        for (const auto &node : nodes) {
            if (node.at("number") == number) {
                return node.at("state");
            }
        }
        return "absent";
    }

  private:
    Daemon daemon_;
    Public_Programs programs_;
};

} // namespace hb_test
