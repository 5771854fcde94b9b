// SPDX-License-Identifier: Apache-2.0
// Passes the seeds of the fuzzer for the difference, cuts of them and random inputs to the fuzzer's entry, in an ordinary
// build. A difference ends the program.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include "tests/fuzz/watch_difference.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<Bytes> seeds() {
    std::vector<Bytes> all;
    for (const auto &entry : std::filesystem::directory_iterator(HB_WATCH_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return all;
}

int run(const Bytes &input) {
    return LLVMFuzzerTestOneInput(input.data(), input.size());
}

TEST(WatchDifference, OfEverySeedAndEveryCutIsTheSetsDifference) {
    const std::vector<Bytes> all = seeds();
    ASSERT_GE(all.size(), 12U);
    for (const Bytes &seed : all) {
        for (std::size_t length = 0; length <= seed.size(); ++length) {
            EXPECT_EQ(0, run(Bytes(seed.begin(), seed.begin() + static_cast<std::ptrdiff_t>(length))));
        }
    }
}

TEST(WatchDifference, OfRandomOperationsIsTheSetsDifference) {
    std::mt19937 random(20261122);
    for (int i = 0; i < 500; ++i) {
        Bytes input(1 + random() % 120);
        for (uint8_t &byte : input) {
            byte = static_cast<uint8_t>(random());
        }
        EXPECT_EQ(0, run(input));
    }
}

} // namespace
