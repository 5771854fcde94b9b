// SPDX-License-Identifier: Apache-2.0
// One reading of the daemon's segments by segment_reader.
#pragma once

#include <functional>
#include <string>

namespace hb_test {

struct Reading {
    enum class Kind {
        whole,
        unsettled, // the daemon was changing it, and reported that
        torn,
        failed,
    };
    Kind kind = Kind::whole;
    long state = 0;  // differs when the data differs
    std::string why; // reason why it is torn or failed
};

using Look = std::function<Reading()>;

// The routes of the cluster of two_chains_file(). Each must be one of its possible routes.
Look routes_look();

// The security keys. A reading with the same generation before and after it must match the number of keys at
// that time, and everything that was read before.
Look keys_look();

} // namespace hb_test
