// SPDX-License-Identifier: Apache-2.0
// Every new block of counted allocation is passed to the hook. The test replaces the library's hook.
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "utils/hash.h"
#include "utils/new_data_hook.h"
#include "utils/utils.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::vector<std::pair<void *, unsigned int>> passed;

} // namespace

extern "C" {
void __wrap__Z17wisp_pin_new_dataPvj(void *ptr, unsigned int sz);
void __wrap__Z17wisp_pin_new_dataPvj(void *ptr, unsigned int sz) {
    passed.emplace_back(ptr, sz);
}
}

namespace {

TEST(NewDataHook, ReceivesEachNewBlockWithItsLength) {
    passed.clear();
    void *first = nullptr;
    void *second = nullptr;
    cpp_malloc(&first, 1, "test");
    cpp_malloc(&second, 4096, "test");
    EXPECT_THAT(passed, ElementsAre(Pair(first, 1U), Pair(second, 4096U)));
    ccst_free(second);
    ccst_free(first);
    EXPECT_EQ(passed.size(), 2U) << "freeing is no news";
}

TEST(NewDataHook, IsNotCalledWithoutABlock) {
    passed.clear();
    void *block = &passed;
    cpp_malloc(&block, 0, "test");
    EXPECT_EQ(block, nullptr);
    cpp_malloc(&block, -1, "test");
    EXPECT_THAT(passed, IsEmpty());
}

TEST(NewDataHook, ReceivesTheCopyOfAString) {
    passed.clear();
    char *copy = copy_string("four");
    EXPECT_THAT(passed, ElementsAre(Pair(copy, 5U)));
    ccst_free(copy);
}

TEST(NewDataHook, ReceivesHeaderBucketsNameAndNodesOfAHashTable) {
    passed.clear();
    H_table_str *table = Hash_init("name", 300);
    int object = 0;
    Hash_insert(5, table, &object);
    EXPECT_THAT(passed, ElementsAre(Pair(table, sizeof(H_table_str)), Pair(table->table, 300 * sizeof(Hobj *)),
                                    Pair(table->name, 5U), Pair(table->table[5], sizeof(Hobj))));
    Hash_free(table);
}

} // namespace
