// SPDX-License-Identifier: Apache-2.0
// The documents' statements about the source tree are true.
#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = HB_SOURCE_DIR;

// Every match's first group and its second.
std::map<std::string, std::string> pairs_in(const std::string &text, const std::regex &form) {
    std::map<std::string, std::string> pairs;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        pairs[(*match)[1]] = (*match)[2];
    }
    return pairs;
}

// The codes of an enumeration in the wire header, each with its name.
std::map<std::string, std::string> codes_of(const std::string &enumeration) {
    const std::string header = read_source(ROOT + "/lib/wire/hb_wire.h");
    const auto start = header.find("enum " + enumeration);
    EXPECT_NE(start, std::string::npos) << enumeration;
    const std::string body = header.substr(start, header.find("};", start) - start);
    std::map<std::string, std::string> codes;
    for (const auto &[name, code] : pairs_in(body, std::regex(R"((HB_\w+) = (\d+))"))) {
        EXPECT_TRUE(codes.emplace(code, name).second) << code << " has two names";
    }
    return codes;
}

std::map<std::string, std::string> documented_codes(bool is_request) {
    auto codes =
        pairs_in(read_source(ROOT + "/docs/protocol.md"), std::regex(R"(\n\| (\d+) \| `(HB_\w+)` \|)"));
    std::erase_if(codes, [&](const auto &row) { return (row.first.size() == 3) != is_request; });
    return codes;
}

TEST(Protocol, ItsTablesHaveEveryRequestAndEveryReplyByItsName) {
    EXPECT_EQ(27U, documented_codes(true).size());
    EXPECT_EQ(codes_of("Hb_Client_Request"), documented_codes(true));
    EXPECT_EQ(16U, documented_codes(false).size());
    EXPECT_EQ(codes_of("Hb_Client_Reply"), documented_codes(false));
}

// ---- exported_entries.md: every exported entry and its tests ----

const std::string ENTRY_TABLE = "/tests/unit/infra/exported_entries.md";

struct Entry_Row {
    std::string entry;
    std::string section;
    std::vector<std::string> tests;
};

std::vector<std::string> matches_of(const std::string &text, const std::regex &form) {
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        found.push_back((*match)[1]);
    }
    return found;
}

// "| `entry` | section | `test`, `test` |"
std::vector<Entry_Row> entry_rows(const std::string &document) {
    static const std::regex form(R"(\| `(hbc?_\w+)` \| ([^|]*) \| ([^|]*) \|)");
    std::vector<Entry_Row> rows;
    for (const std::string &line : lines_of(document)) {
        std::smatch match;
        if (std::regex_match(line, match, form)) {
            rows.push_back({match[1], match[2], matches_of(match[3], std::regex("`([^`]+)`"))});
        }
    }
    return rows;
}

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

// The section of the public header that declares each entry: the heading's text before the first dot.
std::map<std::string, std::string> sections_of(const std::string &header) {
    static const std::regex ruler(R"(/\* -{60,})");
    static const std::regex declaration(R"(^HB_API [^(]*\b(\w+)\()");
    std::map<std::string, std::string> sections;
    std::string section;
    bool heading_follows = false;
    for (const std::string &line : lines_of(header)) {
        std::smatch match;
        if (heading_follows) {
            section = line.substr(3, line.find('.') - 3);
        } else if (std::regex_search(line, match, declaration)) {
            sections[match[1]] = section;
        }
        heading_follows = std::regex_match(line, ruler);
    }
    return sections;
}

bool mentions(const std::string &text, const std::string &name) {
    return std::regex_search(text, std::regex("\\b" + name + "\\b"));
}

// Describes what is wrong with a row.
std::vector<std::string> faults_of(const Entry_Row &row) {
    std::vector<std::string> faults;
    if (row.tests.empty()) {
        faults.push_back(row.entry + " has no test");
    }
    for (const std::string &test : row.tests) {
        const std::string path = ROOT + "/tests/" + test;
        if (!test.ends_with("_test.cpp") || !path_exists(path)) {
            faults.push_back(row.entry + ": there is no test tests/" + test);
        } else if (!mentions(read_source(path), row.entry)) {
            faults.push_back(row.entry + ": tests/" + test + " does not mention it");
        }
    }
    return faults;
}

TEST(EntryTable, ARowHasAnEntryItsSectionAndItsTests) {
    const auto rows = entry_rows("| entry | section | tests |\n|---|---|---|\n"
                                 "| `hb_a` | Two words | `x/a_test.cpp`, `b_test.cpp` |\n| other | b | c |\n");
    ASSERT_EQ(1U, rows.size());
    EXPECT_EQ("hb_a", rows[0].entry);
    EXPECT_EQ("Two words", rows[0].section);
    EXPECT_THAT(rows[0].tests, ElementsAre("x/a_test.cpp", "b_test.cpp"));
}

TEST(EntryTable, ATestThatIsMissingOrDoesNotMentionTheEntryIsSaid) {
    EXPECT_THAT(
        faults_of({"hb_absent_entry", "", {"unit/infra/no_such_test.cpp", "protocol/session_test.cpp"}}),
        ElementsAre("hb_absent_entry: there is no test tests/unit/infra/no_such_test.cpp",
                    "hb_absent_entry: tests/protocol/session_test.cpp does not mention it"));
    EXPECT_THAT(faults_of({"hb_absent_entry", "", {}}), ElementsAre("hb_absent_entry has no test"));
}

TEST(EntryTable, HasEveryExportedEntryOnce) {
    std::vector<std::string> listed;
    for (const Entry_Row &row : entry_rows(read_source(ROOT + ENTRY_TABLE))) {
        listed.push_back(row.entry);
    }
    const std::string map = read_source(ROOT + "/lib/hb_client.map");
    const auto exported = matches_of(map, std::regex(R"((hbc?_\w+);)"));
    ASSERT_GE(exported.size(), 100U);
    EXPECT_EQ(sorted(exported), sorted(listed));
}

TEST(EntryTable, NamesTheSectionOfTheHeader) {
    const auto sections = sections_of(read_source(ROOT + "/include/hb_client.h"));
    for (const Entry_Row &row : entry_rows(read_source(ROOT + ENTRY_TABLE))) {
        const auto section = sections.find(row.entry);
        ASSERT_NE(section, sections.end()) << row.entry;
        EXPECT_EQ(section->second, row.section) << row.entry;
    }
}

TEST(EntryTable, ItsTestsExistAndMentionTheEntry) {
    for (const Entry_Row &row : entry_rows(read_source(ROOT + ENTRY_TABLE))) {
        EXPECT_THAT(faults_of(row), IsEmpty());
    }
}

// ---- All documents ----

std::vector<std::string> documents() {
    std::vector<std::string> paths = source_files(ROOT, "docs", {".md"});
    paths.insert(paths.end(), {"README.md", "CONTRIBUTING.md", "SECURITY.md", "CHANGELOG.md"});
    return paths;
}

TEST(Documents, TheFilesThatTheyNameExist) {
    static const std::regex path(
        R"(`((?:include|lib|utils|platform|terminal|host|cluster|engine|daemon|tools|providers|tests|packaging|scripts|examples)/[\w./-]+)`)");
    for (const char *document : {"docs/architecture.md", "docs/data-flows.md", "docs/extending.md",
                                 "docs/oddities.md", "docs/protocol.md", "CONTRIBUTING.md"}) {
        const auto named = matches_of(read_source(ROOT + "/" + document), path);
        EXPECT_FALSE(named.empty()) << document;
        for (const std::string &name : named) {
            EXPECT_TRUE(path_exists(ROOT + "/" + name) || path_exists(ROOT + "/" + name + ".h"))
                << document << " names " << name;
        }
    }
}

TEST(Documents, ThePrincipalFilesOfTheTourLieInTheirFolder) {
    static const std::regex row(R"(\| `(utils/|lib/[\w/]+)` \|.*\| (.*) \|)");
    int folders = 0;
    for (const std::string &line : lines_of(read_source(ROOT + "/docs/architecture.md"))) {
        std::smatch match;
        if (!std::regex_match(line, match, row)) {
            continue;
        }
        const std::string folder = match[1];
        for (const std::string &file : matches_of(match[2], std::regex(R"(`([\w.]+)`)"))) {
            EXPECT_TRUE(path_exists(ROOT + "/" + folder + file) ||
                        path_exists(ROOT + "/" + folder + file + ".h"))
                << folder << " has no " << file;
            ++folders;
        }
    }
    EXPECT_GE(folders, 20);
}

TEST(Readme, NamesEveryDocumentOnceWithOneReaderEach) {
    static const std::regex row(R"(\| \[([\w./-]+)\]\(\1\) \| ([^|]+) \|)");
    std::vector<std::string> named;
    std::vector<std::string> readers;
    for (const std::string &line : lines_of(read_source(ROOT + "/README.md"))) {
        std::smatch match;
        if (std::regex_match(line, match, row)) {
            named.push_back(match[1]);
            readers.push_back(match[2]);
        }
    }
    std::vector<std::string> expected = documents();
    std::erase(expected, "README.md");
    expected.insert(expected.end(), {"include/hb_client.h", "include/hb_client.hpp", "include/hb_watch.h",
                                     "include/hb_error.h"});
    EXPECT_EQ(sorted(expected), sorted(named));
    const auto alphabetical = sorted(readers);
    EXPECT_EQ(alphabetical.end(), std::adjacent_find(alphabetical.begin(), alphabetical.end()));
}

TEST(Documents, TheReadmeAndTheTourStayShort) {
    EXPECT_LE(lines_of(read_source(ROOT + "/README.md")).size(), 150U);
    EXPECT_LE(lines_of(read_source(ROOT + "/docs/architecture.md")).size(), 200U);
}

// ---- Commands in documents ----

// Lines that show a command in a block which no test runs: one that is indented, or that is neither sh nor console.
std::vector<std::string> commands_that_no_test_runs(const std::string &markdown) {
    static const std::regex command(
        R"( *(\$ .*|(sudo |env )?(\./(demo|check)|hbctl|wispctl|wispd|cmake|ctest|cc|ninja|apt-get|systemctl|corosync[\w-]*|export|scp|tar|ldconfig|groupadd|groupdel|(\w+/)*(scripts|build)/[\w./-]+)( .*)?))");
    static const std::regex synopsis_or_drawing(R"(.*(\[-|\bVERB\b|\S {3,}\S|  <).*)");
    static const std::regex indented(R"( {4,}.*)");
    std::vector<std::string> found;
    bool in_block = false;
    bool runs = false;
    for (const std::string &line : lines_of(markdown)) {
        if (line.starts_with("```")) {
            in_block = !in_block;
            runs = line == "```sh" || line == "```console";
            continue;
        }
        const bool shown = in_block ? !runs : std::regex_match(line, indented);
        if (shown && std::regex_match(line, command) && !std::regex_match(line, synopsis_or_drawing)) {
            found.push_back(line);
        }
    }
    return found;
}

TEST(CommandRule, FindsCommandsThatNoTestRuns) {
    EXPECT_THAT(commands_that_no_test_runs("```sh\nhbctl nodes\n```\n```console\n$ hbctl nodes\n```\n"
                                           "    hbctl status\n    ./demo\n```text\n$ ls\nwispd [--check]\n```\n"
                                           "hbctl in a sentence\n    hbctl [--socket PATH] VERB\n"
                                           "    wispd       wispd\n"),
                ElementsAre("    hbctl status", "    ./demo", "$ ls"));
}

TEST(Documents, EveryCommandIsInABlockThatATestRuns) {
    // Their commands are still in indented blocks.
    for (const std::string &document : documents()) {
        EXPECT_THAT(commands_that_no_test_runs(read_source(ROOT + "/" + document)), IsEmpty()) << document;
    }
}

} // namespace
