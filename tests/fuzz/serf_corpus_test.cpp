// SPDX-License-Identifier: Apache-2.0
// Passes the fuzzer's seeds, and variations of them, to the fuzzer's entry in an ordinary build. A fault ends
// the program.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/fuzz/serf_message.h"

namespace {

std::vector<std::string> streams() {
    std::vector<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(HB_SERF_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return all;
}

int decode(const std::string &stream) {
    return LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(stream.data()), stream.size());
}

TEST(SerfCorpus, EverySeedMeansTheSameInPieces) {
    ASSERT_GE(streams().size(), 20U);
    for (const std::string &stream : streams()) {
        EXPECT_EQ(decode(stream), 0);
    }
}

// An exception costs a sanitizer a thousand times as much.
#if defined(HB_ADDRESS_SANITIZER)
constexpr std::size_t STEP = 31;
#else
constexpr std::size_t STEP = 1;
#endif

TEST(SerfCorpus, EveryCutAndEveryChangedByteMeansTheSameInPieces) {
    for (const std::string &stream : streams()) {
        for (std::size_t at = 0; at < stream.size(); at += STEP) {
            EXPECT_EQ(decode(stream.substr(0, at)), 0);
            for (const char byte : {'\x00', '\x7f', '\x80', '\x81', '\x90', '\x9f', '\xa0', '\xa5', '\xc0',
                                    '\xc1', '\xc6', '\xc9', '\xcf', '\xdb', '\xdd', '\xdf', '\xff'}) {
                std::string changed = stream;
                changed[at] = byte;
                EXPECT_EQ(decode(changed), 0);
            }
        }
    }
}

} // namespace
