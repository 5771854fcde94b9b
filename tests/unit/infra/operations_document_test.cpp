// SPDX-License-Identifier: Apache-2.0
// docs/operations.md quotes the log lines exactly, and quotes all that an administrator may see.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/log_lines.h"
#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = HB_SOURCE_DIR;
const std::string HEADING = "## What wispd's log says";

std::vector<std::string> documented_lines() {
    return quoted_lines(read_source(ROOT + "/docs/operations.md"), HEADING);
}

std::string in_words(const Line_Parts &parts) {
    std::string words;
    for (const std::string &part : parts) {
        words += (words.empty() ? "" : " ... ") + part;
    }
    return words;
}

// ---- The reading itself ----

TEST(LogLines, ALineOfTheSourceIsItsLiteralsInTheirOrder) {
    EXPECT_THAT(logged_lines("log_info(\"all is well\");\n"
                             "log_warning(text(\"gone (\", why(1), \"); back in \"\n  \"ten\", \" s\"));\n"
                             "// log_error(\"a comment\");\n"
                             "log_debug(\"for developers\"); log_error(text(place, \": \", error.what()));\n"
                             "log_error(text(\"the \\\"x\\\" is \", on ? \"on\" : \"off\"));"),
                ElementsAre(ElementsAre("all is well"), ElementsAre("gone", "back in ten", "s"),
                            ElementsAre("the \"x\" is")));
}

TEST(LogLines, ALineOfTheDocumentIsInTheFirstColumnOfATableUnderTheHeading) {
    EXPECT_THAT(
        quoted_lines("# A\n\n| `early` | x |\n## What is said\n\n| line | meaning |\n|---|---|\n"
                     "| `one N`, `two` | not `this` |\n### Deeper\n| `three` | |\n## Next\n| `late` | x |\n",
                     "## What is said"),
        ElementsAre("one N", "two", "three"));
}

TEST(LogLines, WordsInCapitalsAndDotsStandForSomething) {
    EXPECT_THAT(parts_of_quoted("gone (WHY); back in N s with Corosync ..."),
                ElementsAre("gone", "back in", "s with Corosync"));
}

TEST(LogLines, AQuotationHasAllThatIsFixedInTheLine) {
    const Line_Parts line{"gone", "back in", "s"};
    EXPECT_TRUE(quotes("it is gone (WHY); back in N s", line));
    EXPECT_FALSE(quotes("gone (WHY); back", line));
    EXPECT_FALSE(quotes("back in N s when gone", line));
}

// ---- The document ----

// All sources of wispd that log.
std::vector<std::string> daemon_sources(const std::vector<std::string> &endings) {
    std::vector<std::string> found;
    for (const char *folder : {"cluster", "daemon", "engine", "host"}) {
        const std::vector<std::string> files = source_files(ROOT, folder, endings);
        found.insert(found.end(), files.begin(), files.end());
    }
    return found;
}

TEST(Operations, EveryLogLineOfTheDaemonIsInTheDocument) {
    const std::vector<std::string> documented = documented_lines();
    std::vector<std::string> missing;
    int found = 0;
    int of_the_engine = 0;
    for (const std::string &path : daemon_sources({".cpp"})) {
        for (const Line_Parts &line : logged_lines(read_source(ROOT + "/" + path))) {
            ++found;
            of_the_engine += path.starts_with("engine/") ? 1 : 0;
            const bool is_there = std::any_of(documented.begin(), documented.end(),
                                              [&](const std::string &quoted) { return quotes(quoted, line); });
            if (!is_there) {
                missing.push_back(path + ": " + in_words(line));
            }
        }
    }
    EXPECT_GE(found, 30);
    EXPECT_GE(of_the_engine, 8);
    EXPECT_THAT(missing, IsEmpty());
}

TEST(Operations, TheDocumentShowsTheSampleConfigurationOfTheEngine) {
    std::string shown;
    for (const std::string &line : lines_of(read_source(ROOT + "/examples/corosync.conf"))) {
        if (!line.starts_with("#")) {
            shown += "    " + line + "\n";
        }
    }
    EXPECT_THAT(read_source(ROOT + "/docs/operations.md"), testing::HasSubstr("\n\n" + shown + "\n"));
}

TEST(Operations, EveryLineThatTheDocumentQuotesIsSaidByTheDaemon) {
    std::string said;
    for (const std::string &path : daemon_sources({".cpp", ".h"})) {
        said += literals_of(read_source(ROOT + "/" + path));
    }
    const std::vector<std::string> documented = documented_lines();
    EXPECT_GE(documented.size(), 40U);
    for (const std::string &quoted : documented) {
        for (const std::string &part : parts_of_quoted(quoted)) {
            EXPECT_NE(said.find(part), std::string::npos) << "\"" << part << "\" of `" << quoted << "`";
        }
    }
}

} // namespace
