// SPDX-License-Identifier: Apache-2.0
// How a public header is read, and what becomes of its comments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/manual/header.h"
#include "tools/manual/reference.h"
#include "tools/manual/site.h"

namespace manual {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const char *const SAMPLE = R"(/* SPDX-License-Identifier: Apache-2.0 */
/*
 * sample.h - shows the form
 *
 * Some text.
 *
 * RULES, for all calls
 *
 *  1. First.  It goes
 *     on.
 *  2. Second.
 */
#ifndef SAMPLE_H
#define SAMPLE_H

/* Not of a section. */
#define IGNORED 1

/* ------------------------------------------
 * Calls: some.  Opens.
 * ------------------------------------------ */

typedef struct Sample Sample;

/* One record. */
typedef struct Record {
    int32_t a; /* the first < second */
    int32_t b;
} Record;
enum { LIMIT = 1 };

/* Return what hb_sample_one gives.
 *   name   receives the name
 *          in full
 * Errors: 4 (null). */
HB_API Hb_Rc hb_sample_one(char *name, int **values);
HB_API Hb_Rc hb_sample_two(void);

#endif
)";

TEST(Header, HasItsHeadAndItsSections) {
    const Header header = parse_header(SAMPLE);
    EXPECT_EQ(header.name, "sample.h");
    EXPECT_EQ(header.summary, "shows the form");
    ASSERT_EQ(header.sections.size(), 2U);
    EXPECT_EQ(header.sections[0].title, "RULES");
    EXPECT_EQ(header.sections[1].title, "Calls: some");
    const auto rules = comment_blocks(header.section("RULES").comment);
    ASSERT_EQ(rules.size(), 2U);
    EXPECT_EQ(rules[0].text, "For all calls:");
    EXPECT_THAT(rules[1].items, ElementsAre("First.  It goes on.", "Second."));
    EXPECT_THROW(header.section("Absent"), std::runtime_error);
    EXPECT_THROW(parse_header("int x;\nint y;\n"), std::runtime_error);
}

TEST(Header, DeclarationsShareTheCommentBeforeThem) {
    const Section section = parse_header(SAMPLE).section("Calls: some");
    ASSERT_EQ(section.items.size(), 3U);
    EXPECT_THAT(section.items[0].declarations, ElementsAre("typedef struct Sample Sample;"));
    ASSERT_EQ(section.items[1].declarations.size(), 2U);
    EXPECT_THAT(section.items[1].declarations[0], testing::EndsWith("} Record;"));
    EXPECT_EQ(section.items[1].declarations[1], "enum { LIMIT = 1 };");
    EXPECT_TRUE(section.items[1].functions().empty());
    const auto functions = section.items[2].functions();
    ASSERT_EQ(functions.size(), 2U);
    EXPECT_EQ(functions[0].result, "Hb_Rc");
    EXPECT_EQ(functions[0].name, "hb_sample_one");
    EXPECT_THAT(functions[0].parameters, ElementsAre("char *name", "int **values"));
    EXPECT_THAT(functions[1].parameters, ElementsAre("void"));
}

TEST(Header, ACommentHasParagraphsTermsListsAndCode) {
    const auto blocks = comment_blocks({"Uses *name and HB_NAME_SIZE,", "hb_init() and hb_client.h.", "",
                                        "    code(hb_init);", "", "      more", "", "  - one", "    line",
                                        "  - two", "", "  12 HB_ERROR  the meaning", "     goes on"});
    ASSERT_EQ(blocks.size(), 4U);
    EXPECT_EQ(blocks[0].text, "Uses `*name` and `HB_NAME_SIZE`, `hb_init()` and hb_client.h.");
    EXPECT_THAT(blocks[1].items, ElementsAre("code(hb_init);", "", "  more"));
    EXPECT_THAT(blocks[2].items, ElementsAre("one line", "two"));
    EXPECT_THAT(blocks[3].rows,
                ElementsAre(ElementsAre("", ""), ElementsAre("12 HB_ERROR", "the meaning goes on")));
}

std::map<std::string, std::string> pages_of(const std::string &list) {
    return reference_pages(parse_reference_list(list), {parse_header(SAMPLE)},
                           "Sun, 22 Nov 2026 12:00:00 +0000");
}

TEST(Reference, APageHasItsCallsAndTheCallsLeadToIt) {
    const auto pages = pages_of("# comment\nhb_sample | sample.h | *; RULES; Calls: some | show the form\n");
    ASSERT_EQ(pages.size(), 3U);
    EXPECT_EQ(pages.at("hb_sample_two.3"), ".so man3/hb_sample.3\n");
    const std::string &page = pages.at("hb_sample.3");
    EXPECT_THAT(page, HasSubstr(".Dd November 22, 2026\n.Dt HB_SAMPLE 3\n"));
    EXPECT_THAT(page,
                HasSubstr(".Nm hb_sample ,\n.Nm hb_sample_one ,\n.Nm hb_sample_two\n.Nd show the form\n"));
    EXPECT_THAT(page,
                HasSubstr(".Ft Hb_Rc\n.Fo hb_sample_one\n.Fa \"char *name\"\n.Fa \"int **values\"\n.Fc\n"));
    EXPECT_THAT(
        page,
        HasSubstr(".It Fn hb_sample_one\n.It Fn hb_sample_two\nReturn what \\fBhb_sample_one\\fR gives.\n"));
    EXPECT_THAT(page, HasSubstr("int32_t a; /* the first < second */\n"));
    EXPECT_THAT(page, Not(HasSubstr("IGNORED")));
}

TEST(Reference, ASectionWithoutAPageIsRejected) {
    EXPECT_THROW(pages_of("hb_sample | sample.h | *; RULES | show\n"), std::runtime_error);
    EXPECT_THROW(pages_of("hb_sample | other.h | RULES | show\n"), std::runtime_error);
    EXPECT_THROW(pages_of("hb_sample | sample.h | RULES; Calls: some\n"), std::runtime_error);
    EXPECT_THROW(pages_of("a | sample.h | RULES; Calls: some | x\nb | sample.h | Calls: some | y\n"),
                 std::runtime_error);
}

TEST(Site, EachDeclarationHasItsComment) {
    const std::string site = site_of_header(parse_header(SAMPLE), {"hb_sample_one"});
    EXPECT_THAT(site, HasSubstr("//! @file sample.h\n//! @brief shows the form\n"));
    EXPECT_THAT(site, HasSubstr("//! @defgroup sample_h_calls__some sample.h: Calls: some\n"));
    EXPECT_THAT(site, HasSubstr("int32_t a; /**< the first \\< second */\n"));
    EXPECT_THAT(site, HasSubstr("//! Return what hb_sample_one() gives.\n"));
    EXPECT_THAT(site, HasSubstr("\nHb_Rc hb_sample_two(void);\n"));
    const std::size_t first = site.find("Return what");
    EXPECT_NE(site.find("Return what", first + 1), std::string::npos);
}

TEST(Site, ACppHeaderKeepsItsCode) {
    const std::string site =
        site_of_cpp_header("// SPDX-License-Identifier: Apache-2.0\n// hb/a.hpp - one class\n//\n// More.\n"
                           "#ifndef A\n\n// Uses hb_init() & others.\nclass a {\n"
                           "    int b; // the first\n           // in full\n\n    // ---- Divider ----\n\n"
                           "    // c\n    int d();\n};\n",
                           {"hb_init"});
    EXPECT_EQ(site,
              "//! @file hb/a.hpp\n//! @brief one class\n//! \n//! More.\n//! \n\n#ifndef A\n\n"
              "//! Uses hb_init() \\& others.\n//! \nclass a {\n    int b; //!< the first\n//!< in full\n\n\n"
              "//! c\n//! \n    int d();\n};\n");
}

TEST(Site, ADocumentHasLinksToPagesAndItsPictures) {
    const std::string site =
        site_of_document("# A <title>\n\nSee [the page](keys.md#more), [a file](../check) and `hb_init`.\n"
                         "\n![A picture](pictures/one.svg)\n\n```c\nint a; /* b */\n```\n",
                         "programming.md", {"keys.md"}, {"hb_init"});
    EXPECT_EQ(
        site,
        "//! @page page_programming_md A \\<title\\>\n//! @details\n"
        "//! See @ref page_keys_md \"the page\", a file and hb_init().\n//! \n//! @image html one.svg\n//! \n"
        "//! @code{.unparsed}\n//! int a; /* b */\n//! @endcode\n//! \n");
    EXPECT_THAT(site_of_document("# T\n", FRONT_PAGE, {}, {}), HasSubstr("//! @mainpage T\n//! @details\n"));
}

} // namespace
} // namespace manual
