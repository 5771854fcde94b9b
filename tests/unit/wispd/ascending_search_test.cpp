// SPDX-License-Identifier: Apache-2.0
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "cluster/ascending_search.h"

namespace wispd {
namespace {

TEST(AscendingSearch, FindsWhatASearchOfTheSetFinds) {
    std::mt19937 random(20261122); // NOLINT(cert-msc51-cpp): the same sets in each run
    for (int round = 0; round < 2000; ++round) {
        std::set<int> set;
        for (auto i = random() % 40; i > 0; --i) {
            set.insert(static_cast<int>(random() % 60) - 5);
        }
        Ascending_Search search(set);
        for (int key = -10; key < 70; key += static_cast<int>(random() % 4)) {
            ASSERT_EQ(search.contains(key), set.contains(key)) << "round " << round << ", key " << key;
        }
    }
}

} // namespace
} // namespace wispd
