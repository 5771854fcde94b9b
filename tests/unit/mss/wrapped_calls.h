// SPDX-License-Identifier: Apache-2.0
// Records the library's calls of malloc, free and getrandom, and can make them fail.
#pragma once

#include <cstddef>
#include <vector>

#include "tests/support/bytes.h"

// One result of getrandom: an error number, or this many bytes of this value.
struct Random_Answer {
    int error;
    std::size_t count;
    unsigned char byte;
};

// While an object exists, the calls of its thread are recorded. Only one may exist at a time.
class Wrapped_Calls {
  public:
    Wrapped_Calls();
    ~Wrapped_Calls();
    Wrapped_Calls(const Wrapped_Calls &) = delete;
    Wrapped_Calls &operator=(const Wrapped_Calls &) = delete;

    void fail_malloc();
    // Replace the kernel's results. After the last one, calls fail with error EIO.
    void answer_getrandom(const std::vector<Random_Answer> &answers);

    // The sizes requested from malloc, in order.
    std::vector<std::size_t> allocated() const;
    // The content of each block that malloc returned meanwhile, as it was when free was called; in order.
    std::vector<hb_test::Bytes> freed() const;
    // The sizes requested from getrandom, in order.
    std::vector<std::size_t> random_asked() const;
};
