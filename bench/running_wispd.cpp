// SPDX-License-Identifier: Apache-2.0
#include "bench/running_wispd.h"

#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

#include "lib/wire/hb_wire.h"
#include "tests/support/records.h"

using namespace hb_test;

Running_Wispd::Running_Wispd(const std::string &configuration)
    : daemon_(programs_of_this_build(), configuration) {
    if (const testing::AssertionResult started = daemon_.start(); !started) {
        throw std::runtime_error(started.message());
    }
}

void Running_Wispd::select() const {
    setenv("HB_SERVER_SOCKET", daemon_.socket().c_str(), 1);
}

void Running_Wispd::command(const std::string &json) {
    if (const testing::AssertionResult done = daemon_.tells(json); !done) {
        throw std::runtime_error(done.message());
    }
}

Bytes Running_Wispd::request_for_configuration() {
    return frame(request(HB_GET_CONFIG_INFO, getpid()));
}

Bytes Running_Wispd::configuration_message() const {
    const Stream stream(daemon_.socket());
    stream.send(request_for_configuration());
    return stream.read_record();
}
