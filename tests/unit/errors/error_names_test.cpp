// SPDX-License-Identifier: Apache-2.0
// hb_error.h, the enumerators of hb_client.h, and the explanations there: three views of one list.
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "hb_error.h"
#include "tests/unit/errors/c_error_names.h"
#include "tests/unit/errors/expected_errors.h"

namespace {

constexpr int UNUSED[] = {-2147483647 - 1, -1, 40, 57, 60, 61, 62, 66, 67, 69, 76, 80, 83, 85, 89, 2147483647};

using Named_Numbers = std::set<std::pair<int, std::string>>;

Named_Numbers expected_names() {
    Named_Numbers names;
    for (const Expected_Error &error : expected_errors()) {
        names.emplace(error.number, error.name);
    }
    return names;
}

// What the section ERROR NUMBERS of hb_client.h explains: a number, a space and its name.
Named_Numbers names_in_header() {
    std::ifstream file(HB_SOURCE_DIR "/include/hb_client.h");
    Named_Numbers names;
    bool inside = false;
    for (std::string line; std::getline(file, line) && line != " */";) {
        inside = inside || line == " * ERROR NUMBERS";
        static const std::regex entry(R"( (\d+) (HB_ERROR_\w+))");
        for (std::sregex_iterator match(line.begin(), line.end(), entry), end; inside && match != end;
             ++match) {
            names.emplace(std::stoi((*match)[1]), (*match)[2]);
        }
    }
    return names;
}

TEST(ErrorNames, EveryNumberHasItsNameAndText) {
    for (const Expected_Error &error : expected_errors()) {
        EXPECT_STREQ(error.name, hb_error_name(error.number)) << error.number;
        EXPECT_STREQ(error.text, hb_error_text(error.number)) << error.number;
    }
}

TEST(ErrorNames, AreTheSameInC) {
    for (const Expected_Error &error : expected_errors()) {
        EXPECT_STREQ(error.name, c_error_name(error.number)) << error.number;
        EXPECT_STREQ(error.text, c_error_text(error.number)) << error.number;
    }
    EXPECT_STREQ("unknown error", c_error_name(57));
    EXPECT_STREQ("unknown error number", c_error_text(57));
    EXPECT_EQ(6, c_number_of_no_route());
}

TEST(ErrorNames, TheListHasNoOtherEntries) {
    EXPECT_EQ(static_cast<int>(expected_errors().size()), c_entries_of_list());
}

TEST(ErrorNames, NumbersWithoutANameAreCalledUnknown) {
    for (const int number : UNUSED) {
        EXPECT_STREQ("unknown error", hb_error_name(number)) << number;
        EXPECT_STREQ("unknown error number", hb_error_text(number)) << number;
    }
}

TEST(ErrorNames, EachNameAndEachTextBelongsToOneNumber) {
    std::set<std::string> names;
    std::set<std::string> texts;
    for (const Expected_Error &error : expected_errors()) {
        names.insert(hb_error_name(error.number));
        texts.insert(hb_error_text(error.number));
    }
    EXPECT_EQ(expected_errors().size(), names.size());
    EXPECT_EQ(expected_errors().size(), texts.size());
}

TEST(ErrorNames, TextsAreAsLongAndWrittenAsPromised) {
    for (const Expected_Error &error : expected_errors()) {
        const std::string text = hb_error_text(error.number);
        EXPECT_LE(text.size(), 112U) << text;
        EXPECT_TRUE(text.front() >= 'a' && text.front() <= 'z') << text;
        EXPECT_NE('.', text.back()) << text;
    }
}

TEST(ErrorNumbers, TheNamesOfHbClientHaveThem) {
    EXPECT_EQ(0, HB_ERROR_NONE);
    EXPECT_EQ(1, HB_ERROR_NO_MORE);
    EXPECT_EQ(2, HB_ERROR_TIMEOUT);
    EXPECT_EQ(4, HB_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(10, HB_ERROR_UNEXPECTED_REPLY);
    EXPECT_EQ(12, HB_ERROR_RECEIVE_FAILED);
    EXPECT_EQ(15, HB_ERROR_CONNECT_FAILED);
    EXPECT_EQ(16, HB_ERROR_DISCONNECTED);
    EXPECT_EQ(17, HB_ERROR_NO_MEMORY);
    EXPECT_EQ(33, HB_ERROR_SEGMENT_ABSENT);
    EXPECT_EQ(45, HB_ERROR_SEMAPHORE_ABSENT);
    EXPECT_EQ(59, HB_ERROR_WAKE_UP_FAILED);
    EXPECT_EQ(63, HB_ERROR_CLUSTER_QUERY_FAILED);
    EXPECT_EQ(88, HB_ERROR_MERGE_POLICY_QUERY_FAILED);
}

TEST(ErrorNumbers, ThreeHaveASecondName) {
    EXPECT_EQ(3, HB_ERROR_REQUEST_REFUSED);
    EXPECT_EQ(8, HB_ERROR_REQUEST_FAILED);
    EXPECT_EQ(22, HB_ERROR_NOT_OPEN);
}

TEST(ErrorNumbers, TheHeaderExplainsEachUnderItsName) {
    EXPECT_EQ(expected_names(), names_in_header());
}

TEST(EventNames, AreWhatProgramsReceive) {
    EXPECT_EQ(0, HB_EVENT_NONE);
    EXPECT_STREQ("Hb_Config_Group", HB_EVENT_NAME_CONFIG);
    EXPECT_STREQ("Hb_FFDC_Group", HB_EVENT_NAME_FFDC);
    EXPECT_STREQ("<EMPTY EVENT>", HB_EVENT_NAME_EMPTY);
}

} // namespace
