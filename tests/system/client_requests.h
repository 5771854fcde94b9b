// What the client program can ask of the daemon, and read in its segments, beside events and configuration.
#ifndef HB_TEST_SYSTEM_CLIENT_REQUESTS_H
#define HB_TEST_SYSTEM_CLIENT_REQUESTS_H

#include "tests/system/client_text.h"

namespace hb_test {

// False when the words are none of these commands.
bool obey_request(const Words &words);

} // namespace hb_test

#endif
