// One look of segment_reader into the daemon's segments.
#ifndef HB_TEST_SYSTEM_READING_H
#define HB_TEST_SYSTEM_READING_H

#include <functional>
#include <string>

namespace hb_test {

struct Reading {
    enum class Kind {
        whole,
        unsettled, // the daemon was changing it, and said so
        torn,
        failed,
    };
    Kind kind = Kind::whole;
    long state = 0;  // differs when what was read differs
    std::string why; // it is torn, or failed
};

using Look = std::function<Reading()>;

// The routes of the cluster of two_chains_file(), each of which has to be one of those that it can have.
Look routes_look();

// The security keys. A reading with the same generation before and after it has to fit to the number of keys
// that there were by then, and to everything that was read before.
Look keys_look();

} // namespace hb_test

#endif
