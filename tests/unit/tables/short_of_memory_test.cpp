// SPDX-License-Identifier: Apache-2.0
// The utilities while allocations fail in turn.

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/support/faults.h"
#include "utils/hash.h"
#include "utils/utils.h"

namespace {

// While an object exists, this many allocations succeed and all others fail.
class Shortage {
  public:
    explicit Shortage(int allocations) : fault_({hb_test::Call::allocation, allocations, -1, ENOMEM}) {}

  private:
    hb_test::Fault_Guard fault_;
};

int object_a;
int object_b;

TEST(Short_Of_Memory, NoBlockIsNullAndNotCounted) {
    const int before = memchunks;
    void *block = &object_a;
    {
        const Shortage shortage(0);
        cpp_malloc(&block, 8, "test");
    }
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(memchunks, before);
}

TEST(Short_Of_Memory, StringsThatCannotBeCopiedAreNull) {
    const int before = memchunks;
    char *first = nullptr;
    char *second = nullptr;
    {
        const Shortage shortage(0);
        EXPECT_EQ(copy_string("a"), nullptr);
        EXPECT_EQ(make_2_strings("a", "b"), nullptr);
        EXPECT_EQ(get_2_strings("a\0b", &first, &second), 0);
    }
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(memchunks, before);
}

TEST(Short_Of_Memory, TheFirstOfTwoStringsIsStillGiven) {
    char *first = nullptr;
    char *second = nullptr;
    {
        const Shortage shortage(1);
        get_2_strings("a\0b", &first, &second);
    }
    EXPECT_STREQ(first, "a");
    EXPECT_EQ(second, nullptr);
    ccst_free(first);
}

TEST(Short_Of_Memory, RemovingAWordLosesNothing) {
    char text[] = "a.b.c";
    const Shortage shortage(0);
    EXPECT_STREQ(remove_first_word(text, '.'), "b.c");
}

TEST(Short_Of_Memory, ATableIsMadeWholeOrNotAtAll) {
    const int before = memchunks;
    for (int allocations = 0; allocations < 3; ++allocations) {
        H_table_str *t = nullptr;
        {
            const Shortage shortage(allocations);
            t = Hash_init("table", 300);
        }
        EXPECT_EQ(t, nullptr) << allocations;
        EXPECT_EQ(memchunks, before) << allocations;
    }
    H_table_str *t = nullptr;
    {
        const Shortage shortage(3);
        t = Hash_init("table", 300);
    }
    EXPECT_NE(t, nullptr);
    Hash_free(t);
}

TEST(Short_Of_Memory, AnInsertThatFailsLeavesTheTableAsItWas) {
    H_table_str *t = Hash_init("table", 257);
    Hash_insert(5, t, &object_a);
    const H_IPv6_key_t address = {{6, 0, 0, 0}};
    {
        const Shortage shortage(0);
        EXPECT_EQ(Hash_insert(262, t, &object_b), nullptr);
        EXPECT_EQ(Hash_insert2(262, 1, t, &object_b), nullptr);
        EXPECT_EQ(Hash_insert_IPv6(&address, t, &object_b), nullptr);
        EXPECT_EQ(Hash_insert(5, t, &object_b), &object_a) << "a replacement needs no memory";
    }
    EXPECT_EQ(Hash_entries(t), 1);
    EXPECT_EQ(Hash_search(262, t), nullptr);
    EXPECT_EQ(Hash_search(5, t), &object_b);
    EXPECT_EQ(t->table[5]->next, nullptr);
    EXPECT_EQ(Hash_insert(262, t, &object_a), nullptr);
    EXPECT_EQ(Hash_search(262, t), &object_a);
    Hash_free(t);
}

TEST(Short_Of_Memory, AnArrayIsInsertedUpToTheFirstObjectThatDoesNotFit) {
    H_IPv6_key_t addresses[100] = {};
    for (uint32_t i = 0; i < 100; ++i) {
        addresses[i].uint_elem[3] = i;
    }
    for (int room = 0; room < 100; room += 33) {
        H_table_str *t = Hash_init("table", 257);
        {
            const Shortage shortage(room);
            EXPECT_FALSE(Hash_insert_array_IPv6(t, addresses, 100, sizeof addresses[0], 0, nullptr));
        }
        EXPECT_EQ(Hash_entries(t), room);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(Hash_search_IPv6(&addresses[i], t), i < room ? &addresses[i] : nullptr) << i;
        }
        Hash_free(t);
    }
}

} // namespace
