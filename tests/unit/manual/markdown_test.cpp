// SPDX-License-Identifier: Apache-2.0
// How text of the documents becomes text of a page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/manual/markdown.h"
#include "tools/manual/mdoc.h"

namespace manual {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string page_text(const std::string &markdown) {
    Mdoc mdoc;
    mdoc.blocks(parse_markdown(markdown));
    return mdoc.text();
}

TEST(Markdown, HasBlocks) {
    const auto blocks =
        parse_markdown("# One\n<!-- a\ncomment -->\ntext\nmore\n\n| a | b |\n|---|---|\n| `x\\|y` | z |\n"
                       "\n- first\n  line\n- second\n\n    code\n\n    more\n\n```sh\nrun\n```\n");
    ASSERT_EQ(blocks.size(), 6U);
    EXPECT_EQ(blocks[0].level, 1);
    EXPECT_EQ(blocks[1].text, "text more");
    EXPECT_THAT(blocks[2].rows, ElementsAre(ElementsAre("a", "b"), ElementsAre("`x|y`", "z")));
    EXPECT_THAT(blocks[3].items, ElementsAre("first line", "second"));
    EXPECT_THAT(blocks[4].items, ElementsAre("code", "", "more"));
    EXPECT_THAT(blocks[5].items, ElementsAre("run"));
}

TEST(Markdown, APictureIsLeftOut) {
    const auto blocks = parse_markdown("one\n\n![The page](pictures/page.png)\n\ntwo\n");
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[0].text, "one");
    EXPECT_EQ(blocks[1].text, "two");
}

TEST(Markdown, ASectionEndsAtTheNextHeadingOfItsLevel) {
    const auto document = parse_markdown("# T\n## A\none\n### B\ntwo\n## C\nthree\n");
    const auto section = section_of(document, "A");
    ASSERT_EQ(section.size(), 3U);
    EXPECT_EQ(section[2].text, "two");
    EXPECT_THROW(section_of(document, "D"), std::runtime_error);
}

TEST(Mdoc, BreaksTextAtTheEndOfEachSentence) {
    EXPECT_EQ(page_text("One `a-b` ends. Two.\n\n.Three\n"), "One \\fBa\\-b\\fR ends.\nTwo.\n.Pp\n\\&.Three\n");
}

TEST(Mdoc, EscapesWhatTheLanguageWouldRead) {
    EXPECT_EQ(page_text("a \\ b \xE2\x80\xA6\n"), "a \\e b \\[u2026]\n");
    EXPECT_THAT(page_text("    'quote'\n    .dot\n"), HasSubstr("\n\\&'quote'\n\\&.dot\n"));
}

TEST(Mdoc, MakesAListOfATable) {
    EXPECT_EQ(page_text("| key | type | meaning |\n|---|---|---|\n| `k` | text | what it is |\n| In | | x |\n"),
              ".Bl -tag -width Ds\n.It \\fBk\\fR\nType: text.\nWhat it is.\n.It \\&In\nx.\n.El\n");
}

TEST(Mdoc, ALinkToADocumentBecomesAReferenceToThePageWithItsContents) {
    EXPECT_EQ(page_text("see [wispd.md](wispd.md#daemon), [Time](#time)\n"), "see wispd.toml(5), Time\n");
    EXPECT_EQ(page_text("see [protocol.md](protocol.md)\n"), "see protocol.md\n");
}

} // namespace
} // namespace manual
