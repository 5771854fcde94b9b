// SPDX-License-Identifier: Apache-2.0
// Records the library's calls to the security library and can replace their results.
#pragma once

#include <functional>
#include <vector>

#include "qz_mss.h"
#include "tests/support/bytes.h"

namespace hb_test {

// While an object exists, the three calls are recorded. Only one may exist at a time.
class Watched_Calls {
  public:
    struct Unmarshalling {
        const void *form;
        int32_t length;
        bool wiped = false; // all 256 bytes, after the call
    };

    Watched_Calls();
    Watched_Calls(const Watched_Calls &) = delete;
    Watched_Calls &operator=(const Watched_Calls &) = delete;
    ~Watched_Calls();

    // Replaces the security library's result. The argument is the number of the call, from 0.
    std::function<int(int, sec_buffer_desc *, sec_key_desc *)> unmarshal;
    bool release_for_real = true;

    std::vector<Unmarshalling> unmarshallings;
    std::vector<sec_key_desc> released; // as the library passed them
};

// The security library's own result.
int real_unmarshal(sec_buffer_desc *marshalled, sec_key_desc *key);

} // namespace hb_test
