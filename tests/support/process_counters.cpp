// SPDX-License-Identifier: Apache-2.0
#include "tests/support/process_counters.h"

#include <dirent.h>
#include <fstream>
#include <malloc.h>
#include <string>

// Only the sanitizers' run-time defines it; the C library does not know its heap.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace hb_test {
namespace {

int count_entries(const char *directory) {
    DIR *stream = opendir(directory);
    if (stream == nullptr) {
        return -1;
    }
    int count = 0;
    while (const dirent *entry = readdir(stream)) {
        count += entry->d_name[0] == '.' ? 0 : 1;
    }
    closedir(stream);
    return count;
}

} // namespace

int open_descriptors() {
    const int with_the_directory = count_entries("/proc/self/fd");
    return with_the_directory < 0 ? -1 : with_the_directory - 1;
}

int running_threads() {
    return count_entries("/proc/self/task");
}

int segment_mappings() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    int count = 0;
    while (std::getline(maps, line)) {
        count += line.find("/SYSV") == std::string::npos ? 0 : 1;
    }
    return count;
}

std::size_t allocated_bytes() {
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    return mallinfo2().uordblks + mallinfo2().hblkhd;
}

} // namespace hb_test
