// SPDX-License-Identifier: Apache-2.0
// A program that loads libhb_client.so, uses it against a daemon and unloads it, again and again, uses no more
// than one that does so once. This program is not linked with the library.
#include <dlfcn.h>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"

namespace hb_test {
namespace {

struct Library_Closer {
    void operator()(void *library) const { EXPECT_EQ(0, dlclose(library)) << dlerror(); }
};
using Library = std::unique_ptr<void, Library_Closer>;

Library load() {
    Library library(dlopen(HB_LIBRARY, RTLD_NOW | RTLD_LOCAL));
    EXPECT_TRUE(library) << dlerror();
    return library;
}

int call(const Library &library, const char *name) {
    void *address = dlsym(library.get(), name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<int (*)()>(address)();
}

bool is_loaded() {
    void *library = dlopen(HB_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

// Before it is unloaded, the library holds everything to release: a connection, three segments and the tables.
void use_and_unload(Fake_Daemon &daemon, int connection, bool terminate) {
    const int descriptors = open_descriptors();
    const int mappings = segment_mappings();
    {
        const Library library = load();
        ASSERT_TRUE(library);
        ASSERT_EQ(2, call(library, "hb_init")) << "error " << call(library, "hb_get_errno");
        EXPECT_EQ(mappings + 3, segment_mappings());
        EXPECT_TRUE(daemon.wait_connections(connection));
        EXPECT_GT(open_descriptors(), descriptors);
        if (terminate) {
            EXPECT_EQ(2, call(library, "hb_terminate"));
            EXPECT_EQ(mappings + 3, segment_mappings()) << "they stay until the library goes";
        }
    }
    ASSERT_FALSE(is_loaded());
    EXPECT_TRUE(daemon.wait_connections_ended(connection));
    EXPECT_EQ(mappings, segment_mappings());
    daemon.forget_received();
}

void expect_nothing_stays(bool terminate, int rounds) {
    Fake_Daemon daemon;
    int connections = 0;
    for (int i = 0; i < 10; ++i) {
        use_and_unload(daemon, ++connections, terminate);
    }
    const int descriptors = open_descriptors();
    const int mappings = segment_mappings();
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        use_and_unload(daemon, ++connections, terminate);
    }
    EXPECT_EQ(descriptors, open_descriptors());
    EXPECT_EQ(mappings, segment_mappings());
    // The tables of one session need about ten thousand bytes. The smallest object that could leak is a wait
    // set.
    EXPECT_LT(allocated_bytes(), bytes + 4000);
}

ISOLATED_TEST(LibraryUnloading, AfterTerminatingGivesEverythingBack) {
    expect_nothing_stays(true, 50);
}

ISOLATED_TEST(LibraryUnloading, OfAnOpenLibraryGivesEverythingBack) {
    expect_nothing_stays(false, 1000);
}

ISOLATED_TEST(LibraryUnloading, OfALibraryNeverUsedDoesNothing) {
    const int descriptors = open_descriptors();
    { ASSERT_TRUE(load()); }
    EXPECT_FALSE(is_loaded());
    EXPECT_EQ(descriptors, open_descriptors());
}

} // namespace
} // namespace hb_test
