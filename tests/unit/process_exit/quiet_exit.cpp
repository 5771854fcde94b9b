// SPDX-License-Identifier: Apache-2.0
// A program that opens the library and ends. It prints one line for each release made after the end has begun.
//
//   quiet_exit open        ends with the library open
//   quiet_exit terminated  calls hb_terminate after that point instead, which shows that releases are detected
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>
#include <string_view>
#include <sys/shm.h>
#include <unistd.h>

#include "hb_client.h"

namespace {

bool has_ended = false;

void report(const char *what) {
    if (has_ended && write(STDOUT_FILENO, what, std::strlen(what)) < 0) {
        _exit(3);
    }
}

template <typename Function> Function system_function(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void open_session() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        std::fprintf(stderr, "quiet_exit: error %d\n", hb_get_errno());
        _exit(2);
    }
    hb_free_file_descriptor_array(descriptors);
}

} // namespace

// The library's calls arrive here, since the program's functions precede those of its libraries.
extern "C" __attribute__((visibility("default"))) int shmdt(const void *address) noexcept {
    static const auto real = system_function<int (*)(const void *)>("shmdt");
    report("shmdt\n");
    return real(address);
}

extern "C" __attribute__((visibility("default"))) int close(int descriptor) {
    static const auto real = system_function<int (*)(int)>("close");
    report("close\n");
    return real(descriptor);
}

__attribute__((visibility("default"))) void operator delete(void *memory) noexcept {
    report("delete\n");
    std::free(memory);
}
__attribute__((visibility("default"))) void operator delete(void *memory, std::size_t /*size*/) noexcept {
    report("delete\n");
    std::free(memory);
}
__attribute__((visibility("default"))) void operator delete[](void *memory) noexcept {
    report("delete\n");
    std::free(memory);
}
__attribute__((visibility("default"))) void operator delete[](void *memory, std::size_t /*size*/) noexcept {
    report("delete\n");
    std::free(memory);
}

int main(int argc, char **argv) {
    open_session();
    if (argc > 1 && std::string_view(argv[1]) == "terminated") {
        has_ended = true;
        hb_terminate();
        _exit(0);
    }
    // Registered last, it runs first at the end.
    if (std::atexit([] { has_ended = true; }) != 0) {
        return 4;
    }
    return 0;
}
