// SPDX-License-Identifier: Apache-2.0
// A small cluster for the tests of the C++ headers: a wispd, and the environment that leads the library to it.
#pragma once

#include <optional>
#include <variant>

#include <gtest/gtest.h>

#include "hb_client.hpp"
#include "tests/support/deadline.h"
#include "tests/support/environment_guard.h"
#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {

// Nodes 1 to 4 with adapters 2 to 8, of which node 4 is down. The local node is 1.
class SmallCluster : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }

    // Returns the members of a range, for comparisons.
    template <class Range> static std::vector<long> numbers_of(const Range &range) {
        return std::vector<long>(range.begin(), range.end());
    }
    static std::vector<long> numbers_of(const hb::event_adapters &members) {
        std::vector<long> numbers;
        for (const hb::adapter_member member : members) {
            numbers.push_back(static_cast<long>(member.adapter));
        }
        return numbers;
    }

    // Waits for the next event, which must be of this type.
    template <class Event> static std::optional<Event> next_event(hb::event_source &source) {
        const hb::result<std::optional<hb::event>> found = source.wait(GENEROUS);
        if (!found || !found->has_value()) {
            ADD_FAILURE() << (found ? "no event arrived" : found.error().text());
            return std::nullopt;
        }
        const Event *event = std::get_if<Event>(&**found);
        EXPECT_NE(event, nullptr) << "the event is alternative " << (*found)->index();
        return event != nullptr ? std::optional<Event>(*event) : std::nullopt;
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
    Environment_Guard socket{"HB_SERVER_SOCKET", daemon.socket()};
    Environment_Guard domain{"HA_DOMAIN_NAME", std::nullopt};
    Environment_Guard partition{"HA_SYSPAR_NAME", std::nullopt};
};

} // namespace hb_test
