// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "exporter/request_guard.h"

namespace exporter {
namespace {

TEST(RequestGuard, KnowsTheAddressesOfThisMachineAlone) {
    for (const char *own : {"127.0.0.1", "127.8.9.1", "::1", "localhost", "LOCALHOST"}) {
        EXPECT_TRUE(is_loopback_address(own)) << own;
    }
    for (const char *other : {"0.0.0.0", "::", "10.0.0.1", "128.0.0.1", "localhost.example", ""}) {
        EXPECT_FALSE(is_loopback_address(other)) << other;
    }
}

TEST(RequestGuard, AcceptsLoopbackNamesInTheHostHeader) {
    for (const char *own :
         {"localhost", "localhost:9782", "LocalHost:1", "127.0.0.1:9782", "127.1.2.3", "[::1]", "[::1]:9782"}) {
        EXPECT_TRUE(names_loopback(own)) << own;
    }
    for (const char *foreign : {"", "evil.example", "evil.example:9782", "127.0.0.1.evil.example",
                                "localhost.evil.example", "[::2]:1", "[::1", "[::1]x", "::1",
                                "localhost:", "localhost:x", "localhost:1:2", "10.0.0.1", "127.0.0.1:1@evil"}) {
        EXPECT_FALSE(names_loopback(foreign)) << foreign;
    }
}

} // namespace
} // namespace exporter
