// SPDX-License-Identifier: Apache-2.0
// A library that is unloaded during a migration releases handlers, registry, tables and events. This program is
// not linked with the library.
#include <dlfcn.h>

#include <gtest/gtest.h>

#include "providers/sim/simulated_service.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

constexpr int SUCCESS = 2;

template <typename Function> Function *entry(void *library, const char *name) {
    void *address = dlsym(library, name);
    EXPECT_NE(nullptr, address) << name;
    return reinterpret_cast<Function *>(address);
}

// Nodes 1, 2 and 4, as in the daemon.
void fill(mox_sim::Simulated_Service &service) {
    for (const uint32_t number : {1U, 2U, 4U}) {
        mox_sim::Node node;
        node.number = number;
        service.set(node);
    }
}

void migrate_and_unload(bool commit) {
    mox_sim::Simulated_Service service;
    fill(service);
    void *library = dlopen(HB_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    ASSERT_EQ(SUCCESS, entry<int()>(library, "hb_init")());
    ASSERT_EQ(SUCCESS, entry<int()>(library, "hb_migrate_to_mox_prep")());
    // Each queues an event of about 400,000 bytes that no call reads.
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(SUCCESS, entry<int(short)>(library, "hb_mox_msg_received_from")(2));
    }
    if (commit) {
        ASSERT_EQ(SUCCESS, entry<int()>(library, "hb_migrate_to_mox_commit")());
    }
    ASSERT_EQ(0, dlclose(library)) << dlerror();
    ASSERT_EQ(nullptr, dlopen(HB_LIBRARY, RTLD_NOW | RTLD_NOLOAD));
}

void expect_nothing_stays(bool commit) {
    Fake_Daemon daemon;
    int connections = 0;
    const auto round = [&] {
        migrate_and_unload(commit);
        ASSERT_TRUE(daemon.wait_connections_ended(++connections));
        daemon.forget_received();
    };
    for (int i = 0; i < 10; ++i) {
        round();
    }
    const int descriptors = open_descriptors();
    const int mappings = segment_mappings();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
        round();
    }
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(mappings, segment_mappings());
    // The allocator's reserve does not grow with the rounds. The smallest possible leak of a round is the three
    // notes about events that the library itself made, over 50 bytes.
    EXPECT_LT(allocated_bytes(), bytes + 40000);
}

ISOLATED_TEST(ClusterEventsUnloading, OfAPreparedLibraryGivesEverythingBack) {
    expect_nothing_stays(false);
}

ISOLATED_TEST(ClusterEventsUnloading, OfAMigratedLibraryGivesEverythingBack) {
    expect_nothing_stays(true);
}

} // namespace
} // namespace hb_test
