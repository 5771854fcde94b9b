// SPDX-License-Identifier: Apache-2.0
// The security library.
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "qz_mss.h"

namespace {

TEST(SecWipe, OverwritesExactlyTheGivenBytes) {
    unsigned char memory[8];
    std::memset(memory, 0xA5, sizeof memory);
    sec_wipe(memory + 1, 6);
    const unsigned char expected[8] = {0xA5, 0, 0, 0, 0, 0, 0, 0xA5};
    EXPECT_EQ(std::memcmp(memory, expected, sizeof memory), 0);
}

TEST(SecWipe, NothingIsDoneWithoutMemoryOrLength) {
    unsigned char byte = 0xA5;
    errno = 4711;
    sec_wipe(nullptr, 8);
    sec_wipe(nullptr, 0);
    sec_wipe(&byte, 0);
    EXPECT_EQ(byte, 0xA5);
    EXPECT_EQ(errno, 4711);
}

} // namespace
