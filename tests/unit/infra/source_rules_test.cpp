// Rules for the sources that the compiler does not check.
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = HB_SOURCE_DIR;

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
    for (const std::string &path : source_files(root, "lib", {".cpp"})) {
        if (std::regex_search(without_comments(read_source(root + "/" + path)), call)) {
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
    const std::string source = read_source(root + "/lib/wire/hb_wire.h");
    ASSERT_NE(source.find("struct packet_str {"), std::string::npos);
    EXPECT_THAT(members_without_fixed_width(source), IsEmpty());
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
    const std::string example = read_source(root + "/examples/watch.c");
    ASSERT_FALSE(example.empty());
    EXPECT_EQ(first_code_block(read_source(root + "/README.md"), "c"), example);
}

TEST(Documentation, ItsLinksIntoTheTreeLeadSomewhere) {
    static const std::regex link(R"(\]\(([^)#:]+)(#[^)]*)?\))");
    std::vector<std::string> texts = source_files(root, "docs", {".md"});
    texts.insert(texts.end(), {"README.md", "CONTRIBUTING.md", "SECURITY.md", "CHANGELOG.md"});
    for (const std::string &path : texts) {
        const std::string text = read_source(root + "/" + path);
        const auto slash = path.rfind('/');
        const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
        for (std::sregex_iterator match(text.begin(), text.end(), link), end; match != end; ++match) {
            const std::string target = root + "/" + folder + (*match)[1].str();
            EXPECT_TRUE(path_exists(target)) << path << " links to " << (*match)[1];
        }
    }
}

} // namespace
