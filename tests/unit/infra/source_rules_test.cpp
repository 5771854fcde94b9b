// SPDX-License-Identifier: Apache-2.0
// Rules for the sources that the compiler does not check.
#include <algorithm>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/bare_numbers.h"
#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = HB_SOURCE_DIR;

// Lines of structure members whose width depends on the build.
std::vector<std::string> members_without_fixed_width(const std::string &source) {
    static const std::regex varying(R"(\b(long|size_t|ssize_t|timeval|time_t|pid_t|uintptr_t|intptr_t)\b|\*)");
    std::vector<std::string> found;
    int depth = 0;
    for (const std::string &line : lines_of(without_comments(source))) {
        const bool inside = depth > 0;
        for (const char c : line) {
            depth += c == '{' ? 1 : c == '}' ? -1 : 0;
        }
        if (inside && std::regex_search(line, varying)) {
            found.push_back(line);
        }
    }
    return found;
}

// The files of lib/ whose code calls the function.
std::vector<std::string> callers_of(const std::string &function) {
    const std::regex call("\\b" + function + R"(\([^;{]*\)[^{]*?[;)])");
    std::vector<std::string> found;
    for (const std::string &path : source_files(ROOT, "lib", {".cpp"})) {
        if (std::regex_search(without_comments(read_source(ROOT + "/" + path)), call)) {
            found.push_back(path);
        }
    }
    return found;
}

TEST(Library, EveryAnswerIsAwaitedByTheOnePrimitive) {
    EXPECT_THAT(callers_of("hb_get_reply_from_server"),
                ElementsAre("lib/api/control.cpp", "lib/api/routes.cpp"));
    // Events arrive without a wait for them.
    EXPECT_THAT(callers_of("hb_receive_packet"),
                ElementsAre("lib/api/event_intake.cpp", "lib/hb_communication/reply.cpp"));
}

TEST(Library, EveryConfigurationMessageGoesThroughTheOneLoader) {
    EXPECT_THAT(callers_of("hb_get_adapter_network"),
                ElementsAre("lib/api/event_intake.cpp", "lib/hb_communication/configuration_request.cpp"));
    EXPECT_THAT(callers_of("hb_load_snapshot"), ElementsAre("lib/hb_communication/configuration_load.cpp"));
}

TEST(WireRule, SeesMembersWhoseWidthDependsOnTheBuild) {
    EXPECT_THAT(members_without_fixed_width("struct A {\n"
                                            "    int32_t a; // not a long\n"
                                            "    unsigned long b;\n"
                                            "    /* size_t */ char *c;\n"
                                            "    struct timeval d;\n"
                                            "};\n"
                                            "inline constexpr long outside = 1;\n"),
                ElementsAre("    unsigned long b;", "     char *c;", "    struct timeval d;"));
}

TEST(Wire, StructuresHaveMembersOfFixedWidthOnly) {
    const std::string source = read_source(ROOT + "/lib/wire/hb_wire.h");
    ASSERT_NE(source.find("struct packet_str {"), std::string::npos);
    EXPECT_THAT(members_without_fixed_width(source), IsEmpty());
}

// What a rule finds in the folders, each find with its file.
std::vector<std::string> finds_in(const std::vector<std::string> &folders,
                                  std::vector<std::string> (*rule)(const std::string &)) {
    std::vector<std::string> finds;
    for (const std::string &folder : folders) {
        for (const std::string &path : source_files(ROOT, folder, {".h", ".cpp"})) {
            for (const std::string &find : rule(read_source(ROOT + "/" + path))) {
                finds.push_back(path + ": " + find);
            }
        }
    }
    return finds;
}

TEST(NameRule, SeesBareErrorNumbersInCalls) {
    EXPECT_THAT(bare_error_numbers("return hb_fail(10); // hb_fail(11)\n"
                                   "set_hb_errno(HB_ERROR_NO_ROUTE);\n"
                                   "return ok || hb_refuse( 4 );\n"
                                   "return hb_fail(closed ? 16 : HB_ERROR_TIMEOUT);\n"
                                   "return query_failed(HB_ERROR_NO_ROUTE, \"text, 5, more\" , f(a));\n"
                                   "throw Request_Failed(line + name(x),\n    12);\n"),
                ElementsAre("hb_fail(10)", "hb_refuse( 4 )", "hb_fail(closed ? 16 : HB_ERROR_TIMEOUT)",
                            "query_failed(HB_ERROR_NO_ROUTE, \"text, 5, more\" , f(a))",
                            "Request_Failed(line + name(x),\n    12)"));
}

TEST(NameRule, SeesBareErrorNumbersInChoicesAndTables) {
    EXPECT_THAT(bare_error_numbers("int send_error(long status) {\n    return status == 1 ? 18 : 22;\n}\n"),
                ElementsAre("send_error{\n    return status == 1 ? 18 : 22;\n}"));
    EXPECT_THAT(bare_error_numbers("struct Row { int32_t status; int error; };\n"
                                   "Row rows[] = {{FAILED, 8}, {DONE, HB_ERROR_NONE}};\n"),
                ElementsAre(", 8}"));
    EXPECT_THAT(bare_error_numbers("struct Row { int number; const char *text; };\n"
                                   "Row rows[] = {{16, \"gone\"}};\n"),
                ElementsAre("{16, \""));
    EXPECT_THAT(bare_error_numbers("switch (error) {\ncase 63:\ncase HB_ERROR_NO_MEMORY:\n"),
                ElementsAre("case 63:"));
}

TEST(NameRule, SeesBareErrorNumbersBehindComparisonsTracesAndConstants) {
    EXPECT_THAT(
        bare_error_numbers("return error == 12 || hb_get_errno() != 16 || number == HB_ERROR_TIMEOUT;\n"),
        ElementsAre("error == 12", "hb_get_errno() != 16"));
    EXPECT_THAT(bare_error_numbers("hb_trace_values(HB_TRACE_INFO, HB_TR_X, result, errno, 65);\n"),
                ElementsAre("hb_trace_values(HB_TRACE_INFO, HB_TR_X, result, errno, 65)"));
    EXPECT_THAT(bare_error_numbers("constexpr int closed = 16;\n"
                                   "constexpr int errors[] = {0, 87};\n"
                                   "constexpr int unrelated = 5;\n"
                                   "throw Request_Failed(text(unrelated), HB_ERROR_NONE);\n"
                                   "if (hb_get_errno() == closed) return hb_fail(errors[i]);\n"),
                ElementsAre("constexpr int closed = 16;", "constexpr int errors[] = {0, 87};"));
}

TEST(NameRule, SeesEventValuesStatusesAndReservedNames) {
    EXPECT_THAT(bare_event_values("*events = 0; // events = 1\n"
                                  "if (group->Hb_events == 128) x = HB_EVENT_JOIN;\n"
                                  "constexpr unsigned ALL_EVENTS = 0x377;\n"),
                ElementsAre("events = 0", "Hb_events == 128", "ALL_EVENTS = 0x377"));
    EXPECT_THAT(bare_reply_statuses("struct Row { int32_t status; int error; };\n"
                                    "if (status == 0) rows = {{3, HB_ERROR_NO_ROUTE}, {HB_STATUS_DONE, x}};\n"
                                    "const timeval limit = {55, 0};\n"),
                ElementsAre("status == 0", "{3, H"));
    EXPECT_THAT(reserved_names_in_quotes("strcpy(name, \"Hb_Config_Group\");\n"
                                         "tell(\"<EMPTY EVENT>\"); // \"Hb_FFDC_Group\"\n"),
                ElementsAre("\"Hb_Config_Group\"", "\"<EMPTY EVENT>\""));
}

TEST(Names, StandForEveryErrorNumberInLibraryAndTools) {
    EXPECT_THAT(finds_in({"lib", "tools", "exporter", "watch"}, bare_error_numbers), IsEmpty());
}

TEST(Names, StandForEveryEventValueStatusAndReservedName) {
    EXPECT_THAT(finds_in({"lib", "tools", "exporter", "watch"}, bare_event_values), IsEmpty());
    EXPECT_THAT(finds_in({"lib"}, bare_reply_statuses), IsEmpty());
    EXPECT_THAT(finds_in({"lib", "tools", "exporter", "daemon", "cluster"}, reserved_names_in_quotes),
                IsEmpty());
}

// The first fenced block of the language in a Markdown text.
std::string first_code_block(const std::string &markdown, const std::string &language) {
    const std::string opening = "```" + language + "\n";
    const auto start = markdown.find(opening);
    if (start == std::string::npos) {
        return {};
    }
    const auto first = start + opening.size();
    return markdown.substr(first, markdown.find("```\n", first) - first);
}

TEST(Readme, ItsExampleIsTheOneThatIsCompiledAndRun) {
    const std::string example = read_source(ROOT + "/examples/watch.c");
    ASSERT_FALSE(example.empty());
    // The licence is that of the file; the README shows the program.
    const std::string licence = "/* SPDX-License-Identifier: Apache-2.0 */\n";
    ASSERT_EQ(example.substr(0, licence.size()), licence);
    EXPECT_EQ(licence + first_code_block(read_source(ROOT + "/README.md"), "c"), example);
}

// Every fenced block of the language.
std::vector<std::string> code_blocks(const std::string &markdown, const std::string &language) {
    const std::string opening = "```" + language + "\n";
    std::vector<std::string> blocks;
    for (auto at = markdown.find(opening); at != std::string::npos; at = markdown.find(opening, at + 1)) {
        blocks.push_back(first_code_block(markdown.substr(at), language));
    }
    return blocks;
}

TEST(Tutorials, TheirProgramsAreExamples) {
    std::vector<std::string> examples;
    for (const std::string &path : source_files(ROOT, "examples", {".c"})) {
        const std::string text = read_source(ROOT + "/" + path);
        examples.push_back(text.substr(text.find('\n') + 1)); // the licence is that of the file
    }
    int programs = 0;
    for (const char *const document : {"docs/tutorial-watch-a-node.md", "docs/tutorial-react-to-a-death.md"}) {
        for (const std::string &program : code_blocks(read_source(ROOT + "/" + document), "c")) {
            EXPECT_THAT(examples, testing::Contains(program)) << document;
            ++programs;
        }
    }
    EXPECT_EQ(2, programs);
}

// ---- Examples ----

const std::string COMPARED = "examples/compare/";

std::size_t line_count(const std::string &path) {
    return lines_of(read_source(ROOT + "/" + path)).size();
}

TEST(Examples, AreShort) {
    std::vector<std::string> long_ones;
    for (const std::string &path : source_files(ROOT, "examples", {".c", ".cpp", ".py"})) {
        if (path.find(COMPARED) == std::string::npos && line_count(path) > 60) {
            long_ones.push_back(path);
        }
    }
    EXPECT_THAT(long_ones, IsEmpty());
    EXPECT_GE(source_files(ROOT, "examples", {".c", ".cpp", ".py"}).size(), 10U);
}

TEST(Examples, TheComparisonStatesTheLinesOfBothPrograms) {
    const std::string document = read_source(ROOT + "/docs/programming.md");
    EXPECT_LT(line_count(COMPARED + "epoll_by_hand.c"), 150U);
    for (const char *const name : {"epoll_by_hand.c", "epoll_with_watch.c"}) {
        const std::string row = "[" + std::string(name) + "](../examples/compare/" + name + ") | " +
                                std::to_string(line_count(COMPARED + name)) + " |";
        EXPECT_THAT(document, testing::HasSubstr(row));
    }
}

// The first line, or the second one of a script.
bool states_its_licence(const std::string &source) {
    static const std::regex licence(
        R"(^(?:#![^\n]*\n)?(?://|#|/\*) SPDX-License-Identifier: Apache-2\.0(?: \*/)?\n)");
    return std::regex_search(source, licence, std::regex_constants::match_continuous);
}

bool is_source(const std::string &path, const std::string &text) {
    static const std::regex name(
        R"(.*(?:\.(?:c|h|hpp|cpp|py|pyi|sh|awk|map|dot|cmake|cmake\.in|service\.in)|CMakeLists\.txt))");
    return text.rfind("#!", 0) == 0 || std::regex_match(path, name);
}

TEST(Licence, IsStatedByEverySourceFile) {
    std::vector<std::string> paths = {"CMakeLists.txt", "check", "demo", ".ci/run"};
    for (const char *const folder :
         {"bench",    "cluster",  "cmake", "common",  "daemon", "debian",    "docs",     "engine",
          "examples", "exporter", "host",  "include", "lib",    "packaging", "platform", "providers",
          "python",   "scripts",  "tests", "tools",   "utils",  "watch"}) {
        const std::vector<std::string> files = source_files(ROOT, folder, {""});
        paths.insert(paths.end(), files.begin(), files.end());
    }
    std::vector<std::string> silent;
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(silent), [](const std::string &path) {
        const std::string text = read_source(ROOT + "/" + path);
        return is_source(path, text) && !states_its_licence(text);
    });
    EXPECT_THAT(silent, IsEmpty());
}

TEST(Documentation, ItsLinksIntoTheTreeLeadSomewhere) {
    static const std::regex link(R"(\]\(([^)#:]+)(#[^)]*)?\))");
    std::vector<std::string> texts = source_files(ROOT, "docs", {".md"});
    texts.insert(texts.end(), {"README.md", "CONTRIBUTING.md", "SECURITY.md", "CHANGELOG.md"});
    for (const std::string &path : texts) {
        const std::string text = read_source(ROOT + "/" + path);
        const auto slash = path.rfind('/');
        const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
        for (std::sregex_iterator match(text.begin(), text.end(), link), end; match != end; ++match) {
            const std::string target = ROOT + "/" + folder + (*match)[1].str();
            EXPECT_TRUE(path_exists(target)) << path << " links to " << (*match)[1];
        }
    }
}

} // namespace
