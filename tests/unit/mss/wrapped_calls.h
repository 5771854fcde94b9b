// The library's calls of malloc, free and getrandom, watched and made to fail.
#ifndef HB_TEST_MSS_WRAPPED_CALLS_H
#define HB_TEST_MSS_WRAPPED_CALLS_H

#include <cstddef>
#include <vector>

#include "tests/support/bytes.h"

// One answer of getrandom: an error number, or this many bytes, each of the value.
struct Random_Answer {
    int error;
    std::size_t count;
    unsigned char byte;
};

// While one exists, the calls of its thread are recorded. Only one at a time.
class Wrapped_Calls {
  public:
    Wrapped_Calls();
    ~Wrapped_Calls();
    Wrapped_Calls(const Wrapped_Calls &) = delete;
    Wrapped_Calls &operator=(const Wrapped_Calls &) = delete;

    void fail_malloc();
    // In place of the kernel's. A call after the last answer is error EIO.
    void answer_getrandom(const std::vector<Random_Answer> &answers);

    // The sizes asked of malloc, in order.
    std::vector<std::size_t> allocated() const;
    // The content, as it was when free was called, of each block that malloc gave in this time; in order.
    std::vector<hb_test::Bytes> freed() const;
    // The sizes asked of getrandom, in order.
    std::vector<std::size_t> random_asked() const;
};

#endif
