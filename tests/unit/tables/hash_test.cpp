// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "utils/hash.h"
#include "utils/utils.h"

namespace {

struct Free_Table {
    void operator()(H_table_str *t) const { Hash_free(t); }
};
using Table = std::unique_ptr<H_table_str, Free_Table>;

Table table(int size = 257) {
    return Table(Hash_init("some table", size));
}

char object_a[] = "a";
char object_b[] = "b";
char object_c[] = "c";
char object_d[] = "d";

std::string walk(const Table &t) {
    std::string order;
    H_cursor_str cursor;
    for (void *object = Hash_first(t.get(), &cursor); object != nullptr; object = Hash_next(t.get(), &cursor)) {
        order += static_cast<const char *>(object);
    }
    return order;
}

H_IPv6_key_t address(uint32_t w0, uint32_t w1, uint32_t w2, uint32_t w3) {
    return {{w0, w1, w2, w3}};
}

TEST(Hash_Init, SizesUpTo256Become257) {
    for (const int size : {-5, 0, 1, 256}) {
        EXPECT_EQ(table(size)->size, 257) << size;
    }
}

TEST(Hash_Init, LargerSizesAreKeptAsTheyAre) {
    for (const int size : {257, 258, 1000, 4099}) {
        EXPECT_EQ(table(size)->size, size);
    }
}

TEST(Hash_Init, GivesAnEmptyTableWithACopyOfTheName) {
    char name[] = "MOX_node list";
    const Table t(Hash_init(name, 300));
    name[0] = 'X';
    EXPECT_STREQ(t->name, "MOX_node list");
    EXPECT_EQ(Hash_entries(t.get()), 0);
    for (int bucket = 0; bucket < 300; ++bucket) {
        EXPECT_EQ(t->table[bucket], nullptr);
    }
}

TEST(Hash_Init, ASizeThatNoBlockCanHoldGivesNoTableAndLeavesNothing) {
    const int before = memchunks;
    EXPECT_EQ(Hash_init("huge", 2147483647), nullptr);
    EXPECT_EQ(memchunks, before);
}

TEST(Hash_Init, WithoutANameTheTableHasAnEmptyOne) {
    const int before = memchunks;
    {
        const Table t(Hash_init(nullptr, 300));
        ASSERT_NE(t, nullptr);
        EXPECT_STREQ(t->name, "");
        EXPECT_EQ(Hash_insert(5, t.get(), object_a), nullptr);
        EXPECT_EQ(Hash_search(5, t.get()), object_a);
    }
    EXPECT_EQ(memchunks, before);
}

int calls_of_visit = 0;
int visit(void * /*object*/) {
    return ++calls_of_visit;
}

TEST(Hash_Without_A_Table, EveryOperationGivesNothingAndDoesNothing) {
    const H_IPv6_key_t key = address(1, 2, 3, 4);
    const int before = memchunks;
    EXPECT_EQ(Hash_insert(5, nullptr, object_a), nullptr);
    EXPECT_EQ(Hash_insert2(5, 6, nullptr, object_a), nullptr);
    EXPECT_EQ(Hash_insert_IPv6(&key, nullptr, object_a), nullptr);
    EXPECT_EQ(Hash_search(5, nullptr), nullptr);
    EXPECT_EQ(Hash_search2(5, 6, nullptr), nullptr);
    EXPECT_EQ(Hash_search_IPv6(&key, nullptr), nullptr);
    EXPECT_EQ(Hash_delete(5, nullptr), nullptr);
    EXPECT_EQ(Hash_delete2(5, 6, nullptr), nullptr);
    EXPECT_EQ(Hash_delete_IPv6(&key, nullptr), nullptr);
    EXPECT_EQ(Hash_entries(nullptr), 0);
    calls_of_visit = 0;
    Hash_table_call(nullptr, visit);
    testing::internal::CaptureStderr();
    Hash_dump_table(nullptr, visit);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(calls_of_visit, 0);
    Hash_clean(nullptr);
    Hash_free(nullptr);
    EXPECT_EQ(memchunks, before);
}

TEST(Hash_Without_A_Table, ASearchForAPlaceFindsNeitherPlaceNorNode) {
    const H_IPv6_key_t key = address(1, 2, 3, 4);
    Hobj node = {};
    Hobj *where = &node;
    EXPECT_EQ(FindHashLoc(5, nullptr, &where), 0);
    EXPECT_EQ(where, nullptr);
    where = &node;
    EXPECT_EQ(FindHashLoc2(5, 6, nullptr, &where), 0);
    EXPECT_EQ(where, nullptr);
    where = &node;
    EXPECT_EQ(FindHashLoc_IPv6(&key, nullptr, &where), 0);
    EXPECT_EQ(where, nullptr);
}

TEST(Hash_Without_A_Table, AWalkEndsAtOnce) {
    H_cursor_str cursor = {3, nullptr};
    EXPECT_EQ(Hash_first(nullptr, &cursor), nullptr);
    EXPECT_EQ(cursor.bucket, 0);
    EXPECT_EQ(cursor.obj, nullptr);
    EXPECT_EQ(Hash_next(nullptr, &cursor), nullptr);
    EXPECT_EQ(Hash_next(nullptr, nullptr), nullptr);
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    EXPECT_EQ(Hash_first(t.get(), &cursor), object_a);
    EXPECT_EQ(Hash_next(nullptr, &cursor), nullptr);
    EXPECT_EQ(cursor.obj, nullptr) << "the walk is over";
}

TEST(Prime, GivesTheNextPrime) {
    EXPECT_EQ(prime(4098), 4099);
    EXPECT_EQ(prime(6), 7);
    EXPECT_EQ(prime(10), 11);
    EXPECT_EQ(prime(11), 11);
    EXPECT_EQ(prime(196704), 196709);
}

TEST(Prime, AcceptsSquaresOfPrimes) {
    EXPECT_EQ(prime(4), 4);
    EXPECT_EQ(prime(8), 9);
    EXPECT_EQ(prime(24), 25);
    EXPECT_EQ(prime(48), 49);
    EXPECT_EQ(prime(120), 121);
}

TEST(Prime, ValuesBelow5ComeBackUnchanged) {
    for (const int n : {-7, 0, 1, 2, 3, 4}) {
        EXPECT_EQ(prime(n), n);
    }
}

TEST(Prime, TheLargestIntIsAPrimeAndDoesNotOverflow) {
    EXPECT_EQ(prime(2147483647), 2147483647);
    EXPECT_EQ(prime(2147483630), 2147483647);
}

TEST(Index_Hash, EvenBytesEnterTheLowByteAndOddOnesTheSecond) {
    EXPECT_EQ(IndexHash(""), 0);
    EXPECT_EQ(IndexHash("a"), 0x61);
    EXPECT_EQ(IndexHash("ab"), 0x6261);
    EXPECT_EQ(IndexHash("abc"), 0x6202);
    EXPECT_EQ(IndexHash("abcd"), 0x0602);
    EXPECT_EQ(IndexHash("aba"), 0x6200);
}

TEST(Index_Hash, NeverExceeds16BitsAlsoForBytesAbove127) {
    EXPECT_EQ(IndexHash("\xff\xfe"), 0xFEFF);
    EXPECT_EQ(IndexHash("\x80"), 0x80);
}

TEST(Hash_Insert, ANewKeyGivesNullAndIsFound) {
    const Table t = table();
    EXPECT_EQ(Hash_insert(5, t.get(), object_a), nullptr);
    EXPECT_EQ(Hash_search(5, t.get()), object_a);
    EXPECT_EQ(Hash_entries(t.get()), 1);
    EXPECT_EQ(t->entries, 1);
}

TEST(Hash_Insert, AnExistingKeyGivesTheOldObjectAndKeepsItsPlace) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    EXPECT_EQ(Hash_insert(5, t.get(), object_c), object_a);
    EXPECT_EQ(Hash_entries(t.get()), 2);
    EXPECT_EQ(Hash_search(5, t.get()), object_c);
    EXPECT_EQ(walk(t), "cb");
}

TEST(Hash_Insert, KeysOfOneBucketComeOutInOrderOfInsertion) {
    const Table forward = table();
    Hash_insert(5, forward.get(), object_a);
    Hash_insert(262, forward.get(), object_b);
    EXPECT_EQ(walk(forward), "ab");
    const Table backward = table();
    Hash_insert(262, backward.get(), object_b);
    Hash_insert(5, backward.get(), object_a);
    EXPECT_EQ(walk(backward), "ba");
}

TEST(Hash_Insert, ANodeCarriesItsKeyItsKindAndItsNeighbours) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    const Hobj *head = t->table[5];
    ASSERT_NE(head, nullptr);
    EXPECT_EQ(head->ku.k1k2.key, 5U);
    EXPECT_EQ(head->keyType, 1);
    EXPECT_EQ(head->prev, nullptr);
    const Hobj *tail = head->next;
    ASSERT_NE(tail, nullptr);
    EXPECT_EQ(tail->ku.k1k2.key, 262U);
    EXPECT_EQ(tail->prev, head);
    EXPECT_EQ(tail->next, nullptr);
}

TEST(Hash_Insert, EachKindMarksItsNodes) {
    const Table pairs = table();
    Hash_insert2(5, 6, pairs.get(), object_a);
    EXPECT_EQ(pairs->table[5]->keyType, 2);
    EXPECT_EQ(pairs->table[5]->ku.k1k2.key, 5U);
    EXPECT_EQ(pairs->table[5]->ku.k1k2.key2, 6U);
    const Table addresses = table();
    const H_IPv6_key_t key = address(1, 2, 3, 4);
    Hash_insert_IPv6(&key, addresses.get(), object_a);
    EXPECT_EQ(addresses->table[10]->keyType, 3);
    EXPECT_EQ(addresses->table[10]->ku.key_IPv6.uint_elem[3], 4U);
    EXPECT_EQ(addresses->table[10]->ku.k1k2.key, 1U);
}

TEST(Hash_Keys, AreReducedAs32BitWordsWhateverTheWidthOfLong) {
    const Table t = table();
    Hash_insert(0xFFFFFFFFUL, t.get(), object_a);
    Hobj *where = nullptr;
    EXPECT_EQ(FindHashLoc(0xFFFFFFFFUL, t.get(), &where), 1) << "4294967295 is a multiple of 257";
    const auto wide = static_cast<unsigned long>(0x100000005ULL);
    Hash_insert(wide, t.get(), object_b);
    EXPECT_EQ(Hash_search(5, t.get()), object_b);
    EXPECT_EQ(Hash_insert2(wide, wide, t.get(), object_c), nullptr);
    EXPECT_EQ(Hash_search2(5, 5, t.get()), object_c);
}

TEST(Hash_Pairs, SharedFirstWordsShareABucketAndStayDistinct) {
    const Table t = table();
    Hash_insert2(7, 1, t.get(), object_a);
    Hash_insert2(7, 2, t.get(), object_b);
    EXPECT_EQ(Hash_entries(t.get()), 2);
    EXPECT_EQ(Hash_search2(7, 1, t.get()), object_a);
    EXPECT_EQ(Hash_search2(7, 2, t.get()), object_b);
    EXPECT_EQ(Hash_search2(7, 3, t.get()), nullptr);
    Hobj *where = nullptr;
    EXPECT_EQ(FindHashLoc2(7, 2, t.get(), &where), 8);
    EXPECT_EQ(Hash_search(7, t.get()), object_a) << "one word matches the first of them";
    EXPECT_EQ(Hash_insert2(7, 2, t.get(), object_c), object_b);
    EXPECT_EQ(Hash_delete2(7, 1, t.get()), object_a);
    EXPECT_EQ(Hash_search2(7, 2, t.get()), object_c);
}

TEST(Hash_Addresses, EqualSumsShareABucketAndAreToldApartByAllBytes) {
    const Table t = table();
    const H_IPv6_key_t one = address(0xFFFFFFFFU, 6, 0, 0); // the sum wraps to 5
    const H_IPv6_key_t other = address(0, 0, 2, 3);
    Hash_insert_IPv6(&one, t.get(), object_a);
    Hash_insert_IPv6(&other, t.get(), object_b);
    Hobj *where = nullptr;
    EXPECT_EQ(FindHashLoc_IPv6(&one, t.get(), &where), 6);
    EXPECT_EQ(FindHashLoc_IPv6(&other, t.get(), &where), 6);
    EXPECT_EQ(Hash_search_IPv6(&one, t.get()), object_a);
    EXPECT_EQ(Hash_search_IPv6(&other, t.get()), object_b);
    const H_IPv6_key_t absent = address(0, 0, 3, 2);
    EXPECT_EQ(Hash_search_IPv6(&absent, t.get()), nullptr);
    EXPECT_EQ(Hash_insert_IPv6(&one, t.get(), object_c), object_a);
    EXPECT_EQ(Hash_delete_IPv6(&one, t.get()), object_c);
    EXPECT_EQ(Hash_delete_IPv6(&one, t.get()), nullptr);
    EXPECT_EQ(Hash_search_IPv6(&other, t.get()), object_b);
}

TEST(Find_Hash_Loc, FoundGivesTheNodeAndItsBucketPlusOne) {
    const Table t = table();
    Hash_insert(0, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    Hobj *where = nullptr;
    EXPECT_EQ(FindHashLoc(0, t.get(), &where), 1);
    EXPECT_EQ(where, t->table[0]);
    EXPECT_EQ(FindHashLoc(262, t.get(), &where), 6);
    EXPECT_EQ(where->pointer, object_b);
}

TEST(Find_Hash_Loc, NotFoundGivesTheTailAndTheComplementOfTheBucket) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    Hobj *where = nullptr;
    EXPECT_EQ(FindHashLoc(519, t.get(), &where), -6);
    EXPECT_EQ(where, t->table[5]->next);
    EXPECT_EQ(FindHashLoc(0, t.get(), &where), -1);
    EXPECT_EQ(where, nullptr);
    EXPECT_EQ(FindHashLoc2(256, 1, t.get(), &where), -257);
    const H_IPv6_key_t key = address(0, 0, 0, 5);
    EXPECT_EQ(FindHashLoc_IPv6(&key, t.get(), &where), -6);
    EXPECT_EQ(where, t->table[5]->next);
}

TEST(Hash_Search, AMissingKeyGivesNull) {
    const Table t = table();
    EXPECT_EQ(Hash_search(5, t.get()), nullptr);
    Hash_insert(5, t.get(), object_a);
    EXPECT_EQ(Hash_search(262, t.get()), nullptr);
}

TEST(Hash_Delete, AMissingKeyGivesNullAndChangesNothing) {
    const Table t = table();
    EXPECT_EQ(Hash_delete(5, t.get()), nullptr);
    Hash_insert(5, t.get(), object_a);
    EXPECT_EQ(Hash_delete(262, t.get()), nullptr);
    EXPECT_EQ(Hash_entries(t.get()), 1);
}

TEST(Hash_Delete, OfTheHeadLeavesTheRestFindable) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    EXPECT_EQ(Hash_delete(5, t.get()), object_a);
    EXPECT_EQ(t->table[5]->pointer, object_b);
    EXPECT_EQ(Hash_search(262, t.get()), object_b);
    EXPECT_EQ(Hash_search(5, t.get()), nullptr);
    EXPECT_EQ(Hash_entries(t.get()), 1);
}

TEST(Hash_Delete, OfTheMiddleAndTheTailKeepsTheChainWhole) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    Hash_insert(519, t.get(), object_c);
    EXPECT_EQ(Hash_delete(262, t.get()), object_b);
    EXPECT_EQ(walk(t), "ac");
    EXPECT_EQ(t->table[5]->next->prev, t->table[5]);
    EXPECT_EQ(Hash_delete(519, t.get()), object_c);
    Hash_insert(776, t.get(), object_d);
    EXPECT_EQ(walk(t), "ad");
}

TEST(Hash_Delete, OfTheOnlyNodeEmptiesTheBucket) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    EXPECT_EQ(Hash_delete(5, t.get()), object_a);
    EXPECT_EQ(t->table[5], nullptr);
    EXPECT_EQ(Hash_entries(t.get()), 0);
    EXPECT_EQ(Hash_insert(5, t.get(), object_b), nullptr);
    EXPECT_EQ(Hash_search(5, t.get()), object_b);
}

TEST(Hash_Walk, GoesByRisingBucket) {
    const Table t = table();
    Hash_insert(256, t.get(), object_d);
    Hash_insert(9, t.get(), object_b);
    Hash_insert(0, t.get(), object_a);
    Hash_insert(266, t.get(), object_c);
    EXPECT_EQ(walk(t), "abcd");
}

TEST(Hash_Walk, OfAnEmptyTableEndsAtOnce) {
    const Table t = table();
    H_cursor_str cursor = {17, t->table[0]};
    EXPECT_EQ(Hash_first(t.get(), &cursor), nullptr);
    EXPECT_EQ(cursor.bucket, 257);
    EXPECT_EQ(cursor.obj, nullptr);
    EXPECT_EQ(Hash_next(t.get(), &cursor), nullptr);
}

TEST(Hash_Walk, TheCursorStandsOnTheEntryAndStaysAtTheEnd) {
    const Table t = table();
    Hash_insert(9, t.get(), object_a);
    H_cursor_str cursor;
    EXPECT_EQ(Hash_first(t.get(), &cursor), object_a);
    EXPECT_EQ(cursor.bucket, 9);
    EXPECT_EQ(cursor.obj, t->table[9]);
    EXPECT_EQ(Hash_next(t.get(), &cursor), nullptr);
    EXPECT_EQ(cursor.bucket, 257);
    EXPECT_EQ(cursor.obj, nullptr);
    EXPECT_EQ(Hash_next(t.get(), &cursor), nullptr);
}

TEST(Hash_Walk, NextWithoutACursorGivesNull) {
    const Table t = table();
    Hash_insert(9, t.get(), object_a);
    EXPECT_EQ(Hash_next(t.get(), nullptr), nullptr);
}

std::string called;
int note_call(void *object) {
    called += static_cast<const char *>(object);
    return -1;
}

TEST(Hash_Table_Call, CallsForEveryEntryInWalkOrderWhateverTheResult) {
    const Table t = table();
    Hash_insert(9, t.get(), object_c);
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    called.clear();
    Hash_table_call(t.get(), note_call);
    EXPECT_EQ(called, "abc");
}

TEST(Hash_Dump, PrintsNameBucketsKeysAndObjects) {
    const Table t(Hash_init("Hb_IP list", 257));
    Hash_insert(262, t.get(), object_b);
    Hash_insert(0xABCDEF01UL, t.get(), object_a);
    testing::internal::CaptureStderr();
    Hash_dump_table(t.get(), Hash_dump_string);
    // 0xABCDEF01 is 2882400001, whose remainder is 53 when divided by 257.
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "\nDumping Hash Table \"Hb_IP list\"\n"
                                                      "Bucket 5: key > 0x00000106\n"
                                                      "object > \"b\"\n"
                                                      "Bucket 53: key > 0xABCDEF01\n"
                                                      "object > \"a\"\n");
}

TEST(Hash_Dump, AnAddressKeyShowsItsFirstWord) {
    const Table t(Hash_init("x", 257));
    const H_IPv6_key_t key = address(2, 1, 0, 0);
    Hash_insert_IPv6(&key, t.get(), object_a);
    called.clear();
    testing::internal::CaptureStderr();
    Hash_dump_table(t.get(), note_call);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\nDumping Hash Table \"x\"\nBucket 3: key > 0x00000002\n");
    EXPECT_EQ(called, "a");
}

TEST(Hash_Dump, AStringObjectGives0) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Hash_dump_string(object_a), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "object > \"a\"\n");
}

TEST(Hash_Clean, EmptiesTheTableAndLeavesItUsable) {
    const Table t = table();
    Hash_insert(5, t.get(), object_a);
    Hash_insert(262, t.get(), object_b);
    const int before = memchunks;
    Hash_clean(t.get());
    EXPECT_EQ(memchunks, before - 2);
    EXPECT_EQ(Hash_entries(t.get()), 0);
    EXPECT_EQ(Hash_search(5, t.get()), nullptr);
    EXPECT_EQ(walk(t), "");
    EXPECT_STREQ(t->name, "some table");
    EXPECT_EQ(Hash_insert(262, t.get(), object_c), nullptr);
    EXPECT_EQ(Hash_entries(t.get()), 1);
    EXPECT_EQ(Hash_search(262, t.get()), object_c);
}

TEST(Hash_Clean, FreesEveryNodeOfALargeTableWhateverTheOrderOfItsKeys) {
    const int before = memchunks;
    {
        const Table t = table(1009);
        for (unsigned long i = 0; i < 50000; ++i) {
            Hash_insert(i * 7919, t.get(), object_a);
        }
        EXPECT_EQ(memchunks, before + 50003);
        Hash_clean(t.get());
        EXPECT_EQ(memchunks, before + 3);
        EXPECT_EQ(walk(t), "");
    }
    EXPECT_EQ(memchunks, before);
}

TEST(Hash_Free, BalancesTheCountOfAllocations) {
    const int before = memchunks;
    H_table_str *t = Hash_init("counted", 300);
    EXPECT_EQ(memchunks, before + 3);
    Hash_insert(5, t, object_a);
    Hash_insert2(5, 1, t, object_b);
    EXPECT_EQ(memchunks, before + 5);
    Hash_insert(5, t, object_c);
    EXPECT_EQ(memchunks, before + 5) << "a replacement takes no new node";
    Hash_delete2(5, 1, t);
    EXPECT_EQ(memchunks, before + 4);
    Hash_free(t);
    EXPECT_EQ(memchunks, before);
    EXPECT_STREQ(object_a, "a") << "objects are not the table's";
}

TEST(Hash_Free, LetsNullPass) {
    const int before = memchunks;
    Hash_free(nullptr);
    EXPECT_EQ(memchunks, before);
}

TEST(Hash_Table, HoldsEveryAdapterThatAClusterCanHave) {
    const Table t(Hash_init("Hb_Adapter list", prime(2 * 98352)));
    std::vector<int> objects(98352);
    for (unsigned long i = 0; i < objects.size(); ++i) {
        ASSERT_EQ(Hash_insert(i, t.get(), &objects[i]), nullptr);
    }
    EXPECT_EQ(Hash_entries(t.get()), 98352);
    for (unsigned long i = 0; i < objects.size(); ++i) {
        ASSERT_EQ(Hash_search(i, t.get()), &objects[i]);
    }
    EXPECT_EQ(Hash_search(98352, t.get()), nullptr);
}

struct Owner {
    char name;
    H_IPv6_key_t address;
};

std::vector<Owner *> duplicates;

void note_duplicate(void *owner) {
    duplicates.push_back(static_cast<Owner *>(owner));
}

bool insert_array(const Table &t, std::vector<Owner> &owners) {
    duplicates.clear();
    return Hash_insert_array_IPv6(t.get(), owners.data(), static_cast<int>(owners.size()), sizeof(Owner),
                                  offsetof(Owner, address), note_duplicate);
}

// Each bucket's objects in the order of its chain.
std::vector<std::pair<int, void *>> chains(const Table &t) {
    std::vector<std::pair<int, void *>> found;
    H_cursor_str cursor;
    for (void *object = Hash_first(t.get(), &cursor); object != nullptr; object = Hash_next(t.get(), &cursor)) {
        found.emplace_back(cursor.bucket, object);
    }
    return found;
}

std::string names(const Table &t) {
    std::string found;
    for (const auto &[bucket, owner] : chains(t)) {
        found += static_cast<const Owner *>(owner)->name;
    }
    std::sort(found.begin(), found.end());
    return found;
}

TEST(Hash_Insert_Array, StoresWhatInsertingNewAddressesOneByOneStores) {
    std::mt19937 random(17);
    for (int round = 0; round < 200; ++round) {
        // Few different words: addresses repeat, and different addresses share a sum.
        std::vector<Owner> owners(random() % 400);
        for (Owner &owner : owners) {
            const auto word = [&random](unsigned choices) { return static_cast<uint32_t>(random() % choices); };
            owner.address = address(word(3), word(3), word(5), word(40));
        }
        const Table plain = table();
        std::vector<Owner *> later;
        for (Owner &owner : owners) {
            if (Hash_search_IPv6(&owner.address, plain.get()) != nullptr) {
                later.push_back(&owner);
            } else {
                Hash_insert_IPv6(&owner.address, plain.get(), &owner);
            }
        }
        const int before = memchunks;
        const Table t = table();
        ASSERT_TRUE(insert_array(t, owners));
        ASSERT_EQ(chains(t), chains(plain)) << round;
        ASSERT_EQ(duplicates, later) << round;
        ASSERT_EQ(Hash_entries(t.get()), Hash_entries(plain.get()));
        ASSERT_EQ(memchunks, before + 3 + Hash_entries(t.get()));
        for (const auto &[bucket, object] : chains(t)) {
            const Owner &owner = *static_cast<Owner *>(object);
            Hobj *node = nullptr;
            ASSERT_EQ(FindHashLoc_IPv6(&owner.address, t.get(), &node), bucket + 1);
            ASSERT_EQ(node->keyType, H_KT_IPv6);
            ASSERT_TRUE(node->prev == nullptr ? t->table[bucket] == node : node->prev->next == node);
        }
    }
}

TEST(Hash_Delete_Array, DeletesWhatDeletingOneByOneDeletes) {
    std::mt19937 random(18);
    const auto some = [&random] {
        std::vector<Owner> owners(random() % 300);
        for (Owner &owner : owners) {
            const auto word = [&random](unsigned choices) { return static_cast<uint32_t>(random() % choices); };
            owner.address = address(word(3), word(3), word(5), word(40));
        }
        return owners;
    };
    for (int round = 0; round < 200; ++round) {
        std::vector<Owner> owners = some();
        std::vector<Owner> deleted = round % 2 == 0 ? owners : some();
        const Table plain = table();
        const Table t = table();
        insert_array(plain, owners);
        insert_array(t, owners);
        for (const Owner &owner : deleted) {
            Hash_delete_IPv6(&owner.address, plain.get());
        }
        const int others = memchunks - Hash_entries(t.get());
        Hash_delete_array_IPv6(t.get(), deleted.data(), static_cast<int>(deleted.size()), sizeof(Owner),
                               offsetof(Owner, address));
        ASSERT_EQ(chains(t), chains(plain)) << round;
        ASSERT_EQ(Hash_entries(t.get()), Hash_entries(plain.get()));
        ASSERT_EQ(memchunks - Hash_entries(t.get()), others) << "each deleted node is freed";
        ASSERT_TRUE(insert_array(t, owners)) << "the table stays usable";
    }
}

TEST(Hash_Delete_Array, NeedsNoTableAndNoObjects) {
    const Table t = table();
    const Owner owner = {'a', address(1, 2, 3, 4)};
    Hash_delete_array_IPv6(nullptr, &owner, 1, sizeof(Owner), offsetof(Owner, address));
    Hash_delete_array_IPv6(t.get(), nullptr, 0, sizeof(Owner), offsetof(Owner, address));
    EXPECT_EQ(Hash_entries(t.get()), 0);
}

TEST(Hash_Insert_Array, AddsToWhatTheTableHolds) {
    std::vector<Owner> earlier = {{'a', address(1, 2, 3, 4)}, {'b', address(4, 3, 2, 1)}};
    std::vector<Owner> more = {{'c', address(1, 2, 4, 3)}, {'d', address(4, 3, 2, 1)}};
    const Table t = table();
    ASSERT_TRUE(insert_array(t, earlier));
    ASSERT_TRUE(insert_array(t, more));
    EXPECT_EQ(names(t), "abc");
    EXPECT_EQ(duplicates, std::vector<Owner *>{&more[1]});
    EXPECT_EQ(Hash_search_IPv6(&more[1].address, t.get()), &earlier[1]) << "the first owner keeps it";
}

TEST(Hash_Insert_Array, NeedsNoObjectsAndNoCallback) {
    std::vector<Owner> twice(2, Owner{'a', address(1, 0, 0, 0)});
    const Table t = table();
    EXPECT_TRUE(Hash_insert_array_IPv6(t.get(), nullptr, 0, sizeof(Owner), 0, nullptr));
    EXPECT_EQ(Hash_entries(t.get()), 0);
    EXPECT_TRUE(
        Hash_insert_array_IPv6(t.get(), twice.data(), 2, sizeof(Owner), offsetof(Owner, address), nullptr));
    EXPECT_EQ(Hash_entries(t.get()), 1);
    EXPECT_FALSE(
        Hash_insert_array_IPv6(nullptr, twice.data(), 2, sizeof(Owner), offsetof(Owner, address), nullptr));
}

} // namespace
