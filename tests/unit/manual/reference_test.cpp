// SPDX-License-Identifier: Apache-2.0
// The pages of section 3 of this build: each call has one, and they say what the headers say.
#include <filesystem>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/manual/program_help.h"

namespace hb_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const std::string FOLDER = std::string(HB_MANUAL_DIR) + "/man3/";
const std::string SOURCE = HB_SOURCE_DIR;

Names found_in(const std::string &text, const char *form) {
    const std::regex regex(form);
    Names found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

// The page that describes the call; the page of a call may lead to it.
std::string page_of(const std::string &call) {
    static const std::regex including(R"(\.so man3/(\w+\.3)\n)");
    if (!std::filesystem::exists(FOLDER + call + ".3")) {
        return "";
    }
    const std::string text = text_of_file(FOLDER + call + ".3");
    std::smatch match;
    return std::regex_match(text, match, including) ? text_of_file(FOLDER + match[1].str()) : text;
}

Names calls_without_a_page(const Names &calls) {
    Names missing;
    for (const std::string &call : calls) {
        const std::string page = page_of(call);
        const bool is_described = page.find("\n.Fo " + call + "\n") != std::string::npos &&
                                  page.find("\n.It Fn " + call + "\n") != std::string::npos &&
                                  found_in(page, R"(\n\.Nm (\w+))").count(call) != 0;
        if (!is_described) {
            missing.insert(call);
        }
    }
    return missing;
}

TEST(ReferencePages, DescribeEveryExportedCall) {
    const Names exported = found_in(text_of_file(SOURCE + "/lib/hb_client.map"), R"((hbc?_\w+);)");
    ASSERT_GE(exported.size(), 100U);
    EXPECT_THAT(calls_without_a_page(exported), IsEmpty());
}

TEST(ReferencePages, DescribeEveryCallOfTheWatch) {
    const Names calls =
        found_in(text_of_file(SOURCE + "/include/hb_watch.h"), R"(\n[\w ]+[ *](hb_watch_\w+)\()");
    ASSERT_GE(calls.size(), 15U);
    EXPECT_THAT(calls_without_a_page(calls), IsEmpty());
    EXPECT_THAT(calls_without_a_page({"hb_watch_absent"}), testing::SizeIs(1));
}

TEST(ReferencePages, AreWellFormed) {
    if (!can_run("mandoc")) {
        GTEST_SKIP() << "no mandoc (package mandoc)";
    }
    int pages = 0;
    for (const auto &entry : std::filesystem::directory_iterator(FOLDER)) {
        const std::string file = entry.path().string();
        if (!text_of_file(file).starts_with(".so ")) {
            int status = -1;
            EXPECT_EQ(output_of("mandoc -Tlint -Wwarning " + file, &status), "");
            EXPECT_EQ(status, 0) << file;
            ++pages;
        }
    }
    EXPECT_GE(pages, 10);
}

TEST(ReferencePages, SayWhatTheHeaderSays) {
    if (!can_run("mandoc")) {
        GTEST_SKIP() << "no mandoc (package mandoc)";
    }
    const auto shown = [](const std::string &page) {
        static const std::regex blanks(R"(\s+)");
        return std::regex_replace(output_of("mandoc -Tascii " + FOLDER + page + " | col -b"), blanks, " ");
    };
    EXPECT_THAT(
        shown("hb_subscription.3"),
        HasSubstr("Subscribes to the events of the mask for the group's members. The name has at most 31"));
    EXPECT_THAT(shown("hb_errors.3"), HasSubstr("16 HB_ERROR_DISCONNECTED The daemon closed the connection."));
    EXPECT_THAT(shown("hb_types.3"), HasSubstr("HB_NODE_SLOTS = 2049, /* node numbers 0 to 2048 */"));
    EXPECT_THAT(shown("hb_watch.3"), HasSubstr("Begins to watch. Null options mean the defaults."));
    EXPECT_THAT(shown("hb_error.3"), HasSubstr("const char * hb_error_name(int number);"));
}

} // namespace
} // namespace hb_test
