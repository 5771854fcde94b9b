// SPDX-License-Identifier: Apache-2.0
// Runs busy_exit as a module, so that libhb_client.so is loaded by dlopen() while the program runs.
#include <cstdio>
#include <dlfcn.h>

int main(int argc, char **argv) {
    void *module = dlopen(HB_MODULE, RTLD_NOW | RTLD_LOCAL);
    void *entry = module != nullptr ? dlsym(module, "busy_exit") : nullptr;
    if (entry == nullptr) {
        std::fprintf(stderr, "busy_exit_loading: %s\n", dlerror());
        return 2;
    }
    return reinterpret_cast<int (*)(int, char **)>(entry)(argc, argv);
}
