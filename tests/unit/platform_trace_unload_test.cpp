// SPDX-License-Identifier: Apache-2.0
// The trace library is loaded and unloaded with the libraries that use it, and leaves nothing behind. This
// program is not linked with it.
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "platform_child.h"
#include "qz_tr.h"

namespace {

std::size_t open_descriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

bool is_mapped() {
    return contents("/proc/self/maps").find("libqz_tr.so") != std::string::npos;
}

long resident_kilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            long size = 0;
            status >> size;
            return size;
        }
    }
    return -1;
}

// Loads the library, registers, records once, unloads. Returns the first detail byte of Info, or the reason of
// a failure.
std::string load_record_unload() {
    static const tr_category_description_t categories[] = {{1, "Info", 1, 0}};
    void *library = dlopen(TRACE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return dlerror();
    }
    const auto register_component =
        reinterpret_cast<decltype(&tr_ms_register_component_1)>(dlsym(library, "tr_ms_register_component_1"));
    const auto record_id = reinterpret_cast<decltype(&tr_ms_record_id_1)>(dlsym(library, "tr_ms_record_id_1"));
    unsigned char level = 0;
    tr_file_token_t *tokens = nullptr;
    register_component("_HBC", &level, categories, 1, &tokens);
    record_id("_HBC", 110, tokens[0]);
    dlclose(library);
    return std::to_string(level);
}

TEST(TraceUnloading, AThousandTimesLeavesNoMappingDescriptorOrMemory) {
    const Temporary_Directory directory;
    const std::string output = directory.file("trace");
    const Child_Result child = in_child({{"QZ_TR_OUTPUT", output}}, [] {
        for (int i = 0; i < 100; ++i) {
            load_record_unload();
        }
        const std::size_t descriptors = open_descriptors();
        const long resident = resident_kilobytes();
        std::string result;
        for (int i = 0; i < 900; ++i) {
            result = load_record_unload();
        }
        say("level " + result);
        say(is_mapped() ? ", mapped" : ", not mapped");
        say(open_descriptors() == descriptors ? ", same descriptors" : ", more descriptors");
        say(resident_kilobytes() - resident < GROWTH_LIMIT_KILOBYTES ? ", no growth" : ", grown");
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_EQ(child.said, "level 1, not mapped, same descriptors, no growth");
    EXPECT_EQ(child.errors, "");
    EXPECT_EQ(lines_of(contents(output)).size(), 1000u);
}

} // namespace
