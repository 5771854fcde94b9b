// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "utils/utils.h"

namespace {

TEST(Cpp_Malloc, CountsABlockAndFreeingTakesItOff) {
    const int before = memchunks;
    void *block = nullptr;
    cpp_malloc(&block, 10, "test");
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 10);
    EXPECT_EQ(memchunks, before + 1);
    ccst_free(block);
    EXPECT_EQ(memchunks, before);
}

TEST(Cpp_Malloc, NoBytesGiveNoBlockAndAreNotCounted) {
    const int before = memchunks;
    for (const int length : {0, -1}) {
        char other = 0;
        void *block = &other;
        cpp_malloc(&block, length, "test");
        EXPECT_EQ(block, nullptr) << length;
        EXPECT_EQ(memchunks, before) << length;
    }
}

TEST(Ccst_Free, CountsANullPointerToo) {
    const int before = memchunks;
    ccst_free(nullptr);
    EXPECT_EQ(memchunks, before - 1);
    memchunks = before;
}

TEST(My_Free, IsTheSameAsCcstFree) {
    const int before = memchunks;
    void *block = nullptr;
    cpp_malloc(&block, 1, "test");
    my_free(block);
    EXPECT_EQ(memchunks, before);
    my_free(nullptr);
    EXPECT_EQ(memchunks, before - 1);
    memchunks = before;
}

TEST(Pin_New_Data, ChangesNothing) {
    char block[] = "abc";
    wisp_pin_new_data(block, 4);
    EXPECT_STREQ(block, "abc");
    wisp_pin_new_data(nullptr, 0);
}

TEST(Copy_String, GivesANewCountedBlock) {
    const int before = memchunks;
    char original[] = "Hb_Adapter list";
    char *copy = copy_string(original);
    original[0] = 'X';
    EXPECT_STREQ(copy, "Hb_Adapter list");
    EXPECT_EQ(memchunks, before + 1);
    ccst_free(copy);
    char *empty = copy_string("");
    EXPECT_STREQ(empty, "");
    ccst_free(empty);
}

TEST(Make_2_Strings, PutsBothBackToBackWithTheirNuls) {
    const int before = memchunks;
    char *both = make_2_strings("ab", "cde");
    EXPECT_EQ(std::string(both, 7), std::string("ab\0cde\0", 7));
    EXPECT_EQ(memchunks, before + 1);
    ccst_free(both);
}

TEST(Make_2_Strings, OfEmptyStringsIsTwoNuls) {
    char *both = make_2_strings("", "");
    EXPECT_EQ(std::string(both, 2), std::string("\0\0", 2));
    char *first = nullptr;
    char *second = nullptr;
    EXPECT_EQ(get_2_strings(both, &first, &second), 0);
    EXPECT_STREQ(first, "");
    EXPECT_STREQ(second, "");
    ccst_free(first);
    ccst_free(second);
    ccst_free(both);
}

TEST(Get_2_Strings, GivesTwoCopiesOfTheirOwn) {
    const int before = memchunks;
    char both[] = "ab\0cde";
    char *first = nullptr;
    char *second = nullptr;
    EXPECT_EQ(get_2_strings(both, &first, &second), 0);
    std::memset(both, 'x', sizeof both);
    EXPECT_STREQ(first, "ab");
    EXPECT_STREQ(second, "cde");
    EXPECT_EQ(memchunks, before + 2);
    ccst_free(first);
    ccst_free(second);
}

using Edit = char *(*)(char *, char);

std::string edited(Edit edit, const std::string &text, char delimiter = '.') {
    char buffer[32];
    std::strcpy(buffer, text.c_str());
    EXPECT_EQ(edit(buffer, delimiter), buffer);
    return buffer;
}

TEST(Remove_First_Word, LeavesWhatFollowsTheFirstSeparator) {
    EXPECT_EQ(edited(remove_first_word, "a.b.c"), "b.c");
    EXPECT_EQ(edited(remove_first_word, "first.second"), "second");
    EXPECT_EQ(edited(remove_first_word, ".b"), "b");
    EXPECT_EQ(edited(remove_first_word, "a."), "");
    EXPECT_EQ(edited(remove_first_word, "a b.c", ' '), "b.c");
}

TEST(Remove_First_Word, WithoutASeparatorLeavesNothing) {
    EXPECT_EQ(edited(remove_first_word, "abc"), "");
    EXPECT_EQ(edited(remove_first_word, ""), "");
    EXPECT_EQ(edited(remove_first_word, "abc", '\0'), "");
}

TEST(Remove_First_Word, KeepsTheCountOfAllocations) {
    const int before = memchunks;
    edited(remove_first_word, "a.b");
    EXPECT_EQ(memchunks, before);
}

TEST(Remove_Last_Word, CutsAfterTheLastSeparatorBeforeTheEnd) {
    EXPECT_EQ(edited(remove_last_word, "a.b.c"), "a.b.");
    EXPECT_EQ(edited(remove_last_word, "a.b."), "a.");
    EXPECT_EQ(edited(remove_last_word, ".b"), ".");
    EXPECT_EQ(edited(remove_last_word, ".."), ".");
    EXPECT_EQ(edited(remove_last_word, "a.b c", ' '), "a.b ");
}

TEST(Remove_Last_Word, WithoutASeparatorLeavesNothing) {
    EXPECT_EQ(edited(remove_last_word, "abc"), "");
    EXPECT_EQ(edited(remove_last_word, "abc."), "");
    EXPECT_EQ(edited(remove_last_word, ""), "");
}

TEST(Remove_Last_Word, AStringOfOneSeparatorBecomesEmpty) {
    EXPECT_EQ(edited(remove_last_word, "."), "");
}

TEST(Syntax_Error, NamesTheTextOnStandardError) {
    testing::internal::CaptureStderr();
    syntax_error("line 7");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\n******************** line 7: syntax error *******\n\n");
}

} // namespace
