// SPDX-License-Identifier: Apache-2.0
// Loading and unloading libhb_client.so at run time. This program is not linked with the library.
#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

struct Library_Closer {
    void operator()(void *library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Library_Closer>;

Library load(const char *path) {
    Library library(dlopen(path, RTLD_NOW | RTLD_LOCAL));
    EXPECT_TRUE(library) << dlerror();
    return library;
}

template <typename Function> Function *entry(const Library &library, const char *name) {
    void *address = dlsym(library.get(), name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Function *>(address);
}

int mappings_of(const std::string &text) {
    std::ifstream maps("/proc/self/maps");
    int count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(text) != std::string::npos ? 1 : 0;
    }
    return count;
}

// Opens the library as far as possible without a daemon.
void load_use_and_unload() {
    const Library library = load(HB_LIBRARY);
    ASSERT_TRUE(library);
    EXPECT_EQ(entry<int()>(library, "hb_init")(), 3);
    EXPECT_EQ(entry<int()>(library, "hb_get_errno")(), 15);
    EXPECT_EQ(entry<int()>(library, "hb_terminate")(), 2);
    EXPECT_EQ(entry<int()>(library, "hb_remove_client_select")(), 2);
    EXPECT_GT(mappings_of("libhb_client.so"), 0);
}

class LibraryLoading : public testing::Test {
  protected:
    void SetUp() override {
        setenv("HB_SERVER_SOCKET", "/nonexistent/server_socket", 1);
        unsetenv("HA_DOMAIN_NAME");
        unsetenv("HA_SYSPAR_NAME");
    }
};

TEST_F(LibraryLoading, AHundredLoadsLeaveNoMapping) {
    load_use_and_unload();
    ASSERT_EQ(mappings_of("libhb_client.so"), 0);
    const int before = mappings_of("");
    for (int i = 0; i < 100; ++i) {
        load_use_and_unload();
        ASSERT_EQ(mappings_of("libhb_client.so"), 0) << "after load " << i;
        ASSERT_EQ(mappings_of("libqz_"), 0) << "after load " << i;
    }
    // The allocator may map a region once. A mapping for each load would add a hundred.
    EXPECT_LE(mappings_of(""), before + 4);
}

// The trace library may stay loaded for another component. It then outlives this library, and must not access
// what this library registered after the unloading.
TEST_F(LibraryLoading, TheTraceLibraryMayOutliveIt) {
    const Library trace = load(HB_TRACE_LIBRARY);
    ASSERT_TRUE(trace);
    for (int i = 0; i < 20; ++i) {
        load_use_and_unload();
        ASSERT_EQ(mappings_of("libhb_client.so"), 0) << "after load " << i;
        ASSERT_GT(mappings_of("libqz_tr.so"), 0);
    }
}

} // namespace
