// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "common/socket_path.h"
#include "tools/hbctl/daemon_path.h"

namespace {

// Sets the three variables for a test and restores their old values.
class HbctlDaemonPath : public testing::Test {
  protected:
    void SetUp() override {
        for (const char *name : names) {
            const char *value = std::getenv(name);
            saved[name] = value == nullptr ? std::nullopt : std::optional<std::string>(value);
            unsetenv(name);
        }
    }

    void TearDown() override {
        for (const char *name : names) {
            if (saved[name]) {
                setenv(name, saved[name]->c_str(), 1);
            } else {
                unsetenv(name);
            }
        }
    }

    static constexpr const char *names[] = {"HB_SERVER_SOCKET", "HA_DOMAIN_NAME", "HA_SYSPAR_NAME"};
    std::map<std::string, std::optional<std::string>> saved;
};

} // namespace

TEST_F(HbctlDaemonPath, WithoutVariablesItIsTheDefault) {
    EXPECT_EQ(common::socket_path_from_environment(), "/var/ha/soc/wisp/server_socket");
}

TEST_F(HbctlDaemonPath, TheDomainIsAppended) {
    setenv("HB_SERVER_SOCKET", "/tmp/s", 1);
    setenv("HA_DOMAIN_NAME", "d", 1);
    setenv("HA_SYSPAR_NAME", "p", 1);
    EXPECT_EQ(common::socket_path_from_environment(), "/tmp/s.d");
}

TEST_F(HbctlDaemonPath, AnEmptyDomainLetsThePartitionCount) {
    setenv("HB_SERVER_SOCKET", "/tmp/s", 1);
    setenv("HA_DOMAIN_NAME", "", 1);
    setenv("HA_SYSPAR_NAME", "p", 1);
    EXPECT_EQ(common::socket_path_from_environment(), "/tmp/s.p");
    setenv("HA_SYSPAR_NAME", "", 1);
    EXPECT_EQ(common::socket_path_from_environment(), "/tmp/s");
}

TEST_F(HbctlDaemonPath, AGivenPathIsUsedExactly) {
    setenv("HA_DOMAIN_NAME", "d", 1);
    hbctl::use_daemon_path("/tmp/other");
    EXPECT_EQ(common::socket_path_from_environment(), "/tmp/other");
    EXPECT_STREQ(std::getenv("HB_SERVER_SOCKET"), "/tmp/other");
}
