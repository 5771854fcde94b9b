// SPDX-License-Identifier: Apache-2.0
#include "cluster/key_memory.h"

#include <new>
#include <sys/mman.h>

#include "qz_mss.h"

namespace wispd {

Key_Memory::Key_Memory() {
    void *pages = mmap(nullptr, sizeof *content_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    madvise(pages, sizeof *content_, MADV_DONTDUMP);
    content_ = new (pages) Hb_security_information{};
}

Key_Memory::~Key_Memory() {
    sec_wipe(content_, sizeof *content_);
    munmap(content_, sizeof *content_);
}

} // namespace wispd
