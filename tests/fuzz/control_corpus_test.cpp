// SPDX-License-Identifier: Apache-2.0
// Passes the fuzzer's seeds, and variations of them, to the fuzzer's entry in an ordinary build. A fault ends
// the program.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/fuzz/control_line.h"

namespace {

std::vector<std::string> lines() {
    std::vector<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(HB_CONTROL_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return all;
}

int parse(const std::string &line) {
    return LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(line.data()), line.size());
}

TEST(ControlCorpus, EverySeedMeansWhatItsTreeMeans) {
    ASSERT_GE(lines().size(), 15U);
    for (const std::string &line : lines()) {
        EXPECT_EQ(parse(line), 0);
    }
}

TEST(ControlCorpus, EveryCutAndEveryChangedByteMeansWhatItsTreeMeans) {
    for (const std::string &line : lines()) {
        for (std::size_t at = 0; at < line.size(); ++at) {
            EXPECT_EQ(parse(line.substr(0, at)), 0);
            for (const char byte : {'"', '{', '}', '[', ',', ':', '0', '-', '.', 'e', '\\', '\0', '\x80'}) {
                std::string changed = line;
                changed[at] = byte;
                EXPECT_EQ(parse(changed), 0);
            }
        }
    }
}

} // namespace
