// SPDX-License-Identifier: Apache-2.0
// Passes the fuzzer's seeds, and variations of them, to the fuzzer's entry in an ordinary build. A fault ends
// the program.
#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/fuzz/decode_record.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> seeds() {
    std::vector<Bytes> records;
    for (const auto &entry : std::filesystem::directory_iterator(HB_CORPUS_DIR)) {
        std::ifstream file(entry.path(), std::ios::binary);
        records.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return records;
}

int decode(const Bytes &record) {
    return LLVMFuzzerTestOneInput(record.data(), record.size());
}

class Corpus : public testing::Test {
  protected:
    void SetUp() override { ASSERT_GE(records.size(), 20U); }
    const std::vector<Bytes> records = seeds();
};

TEST_F(Corpus, EverySeedIsDecoded) {
    for (const Bytes &record : records) {
        EXPECT_EQ(decode(record), 0);
    }
}

TEST_F(Corpus, EveryCutOfEverySeedIsDecoded) {
    for (const Bytes &record : records) {
        for (std::size_t length = 0; length < record.size(); length += length < 256 ? 1 : 37) {
            EXPECT_EQ(decode(Bytes(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(length))), 0);
        }
    }
}

// The first 160 bytes contain the header and every count. Each of their words is set to the limit values.
TEST_F(Corpus, EverySeedWithAnyWordAtABorderIsDecoded) {
    constexpr std::array<uint32_t, 9> borders{0, 1, 47, 49, 2049, 98351U, 98352U, 0x7FFFFFFFU, 0xFFFFFFFFU};
    for (const Bytes &record : records) {
        for (std::size_t at = 0; at + 4 <= std::min<std::size_t>(record.size(), 160); at += 4) {
            for (const uint32_t value : borders) {
                Bytes changed = record;
                std::memcpy(changed.data() + at, &value, sizeof value);
                EXPECT_EQ(decode(changed), 0);
            }
        }
    }
}

} // namespace
