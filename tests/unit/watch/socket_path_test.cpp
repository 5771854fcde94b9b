// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/watch/watch_parts.h"

namespace {

class Socket_Path : public testing::Test {
  protected:
    Socket_Path() {
        for (const char *name : {"HB_SERVER_SOCKET", "HA_DOMAIN_NAME", "HA_SYSPAR_NAME"}) {
            unsetenv(name);
        }
    }

    static std::string path(const char *given = nullptr) {
        std::array<char, HBW_PATH_LONGEST + 1> text{};
        return hbw_socket_path(given, text.data()) == 0 ? text.data() : "too long";
    }
};

TEST_F(Socket_Path, IsTheDefaultWithoutAnEnvironment) {
    EXPECT_EQ(path(), "/var/ha/soc/wisp/server_socket");
}

TEST_F(Socket_Path, HasTheDomainOrElseThePartition) {
    setenv("HB_SERVER_SOCKET", "/tmp/s", 1);
    EXPECT_EQ(path(), "/tmp/s");
    setenv("HA_SYSPAR_NAME", "p", 1);
    EXPECT_EQ(path(), "/tmp/s.p");
    setenv("HA_DOMAIN_NAME", "", 1);
    EXPECT_EQ(path(), "/tmp/s.p");
    setenv("HA_DOMAIN_NAME", "d", 1);
    EXPECT_EQ(path(), "/tmp/s.d");
}

TEST_F(Socket_Path, IsTheGivenOneWhateverTheEnvironment) {
    setenv("HB_SERVER_SOCKET", "/tmp/s", 1);
    setenv("HA_DOMAIN_NAME", "d", 1);
    EXPECT_EQ(path("/run/other"), "/run/other");
}

TEST_F(Socket_Path, HasAtMost107Bytes) {
    EXPECT_EQ(path(std::string(107, 'a').c_str()), std::string(107, 'a'));
    EXPECT_EQ(path(std::string(108, 'a').c_str()), "too long");
    setenv("HB_SERVER_SOCKET", std::string(106, 'a').c_str(), 1);
    setenv("HA_DOMAIN_NAME", "d", 1);
    EXPECT_EQ(path(), "too long");
}

} // namespace
