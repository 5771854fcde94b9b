// Rules about the sources that the compiler does not know.
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/include_graph.h"
#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = HB_SOURCE_DIR;

std::vector<std::string> sources_of(const std::string &folder) {
    return source_files(root, folder, {".h", ".cpp", ".c"});
}

Include_Graph graph_of(const std::vector<std::string> &folders) {
    Include_Graph graph;
    for (const std::string &folder : folders) {
        for (const std::string &path : sources_of(folder)) {
            add_file(graph, path, read_source(root + "/" + path));
        }
    }
    return graph;
}

// "file includes name" for every include of one of the folder's files that begins with the prefix.
std::vector<std::string> includes_beginning_with(const std::string &folder, const std::string &prefix) {
    std::vector<std::string> found;
    for (const std::string &path : sources_of(folder)) {
        for (const std::string &name : quoted_includes(read_source(root + "/" + path))) {
            if (name.starts_with(prefix)) {
                found.push_back(path + " includes " + name);
            }
        }
    }
    return found;
}

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

TEST(IncludeGraph, FindsTwoFilesThatIncludeEachOther) {
    Include_Graph graph;
    add_file(graph, "lib/a.h", "#include \"lib/b.h\"\n");
    add_file(graph, "lib/b.cpp", "#include \"lib/a.h\"\n");
    EXPECT_THAT(find_loop(graph), ElementsAre("lib/a", "lib/b", "lib/a"));
}

TEST(IncludeGraph, FindsALoopThroughThreeFiles) {
    Include_Graph graph;
    add_file(graph, "lib/a.cpp", "#include \"lib/b.h\"\n");
    add_file(graph, "lib/b.h", "  #  include \"lib/c.h\" // why\n");
    add_file(graph, "lib/c.cpp", "#include <vector>\n#include \"lib/a.h\"\n");
    EXPECT_THAT(find_loop(graph), ElementsAre("lib/a", "lib/b", "lib/c", "lib/a"));
}

TEST(IncludeGraph, TakesASourceAndItsHeaderAsOne) {
    Include_Graph graph;
    add_file(graph, "lib/a.cpp", "#include \"lib/a.h\"\n#include \"lib/b.h\"\n");
    add_file(graph, "lib/a.h", "#include \"hb_client.h\"\n");
    EXPECT_THAT(find_loop(graph), IsEmpty());
}

TEST(Library, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    const Include_Graph graph = graph_of({"lib", "utils"});
    ASSERT_GT(graph.size(), 25U);
    EXPECT_THAT(find_loop(graph), IsEmpty());
}

TEST(Daemon, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    EXPECT_THAT(find_loop(graph_of({"daemon"})), IsEmpty());
}

TEST(Tools, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    EXPECT_THAT(find_loop(graph_of({"tools"})), IsEmpty());
}

TEST(Platform, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    EXPECT_THAT(find_loop(graph_of({"platform"})), IsEmpty());
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
                ElementsAre("lib/hb_communication/control.cpp", "lib/hb_communication/routes.cpp"));
    // Events come without having been awaited.
    EXPECT_THAT(callers_of("hb_receive_packet"),
                ElementsAre("lib/hb_communication/event_intake.cpp", "lib/hb_communication/reply.cpp"));
}

TEST(Library, EveryConfigurationMessageGoesThroughTheOneLoader) {
    EXPECT_THAT(
        callers_of("hb_get_adapter_network"),
        ElementsAre("lib/hb_communication/configuration_request.cpp", "lib/hb_communication/event_intake.cpp"));
    EXPECT_THAT(callers_of("hb_load_snapshot"), ElementsAre("lib/hb_communication/configuration_load.cpp"));
}

TEST(Utilities, KnowNothingOfTheLibraryAboveThem) {
    EXPECT_THAT(includes_beginning_with("utils", "lib/"), IsEmpty());
}

TEST(Platform, KnowsNothingOfTheLibraryAboveIt) {
    EXPECT_THAT(includes_beginning_with("platform", "lib/"), IsEmpty());
    EXPECT_THAT(includes_beginning_with("platform", "utils/"), IsEmpty());
}

TEST(Library, KnowsNothingOfDaemonToolsOrTests) {
    for (const char *folder : {"lib", "utils", "platform", "include"}) {
        for (const char *above : {"daemon/", "tools/", "tests/"}) {
            EXPECT_THAT(includes_beginning_with(folder, above), IsEmpty());
        }
    }
}

TEST(Library, ItsFilesIncludeTheOnePairTheyNeedAndNotAGatheringHeader) {
    for (const char *folder : {"lib", "utils"}) {
        EXPECT_THAT(includes_beginning_with(folder, "lib/hb_global_data.h"), IsEmpty());
        EXPECT_THAT(includes_beginning_with(folder, "lib/hb_communication.h"), IsEmpty());
    }
}

TEST(Tools, UseThePublicHeaderAndTheTerminalsFilterAlone) {
    for (const char *other : {"lib/", "utils/", "daemon/", "providers/", "platform/"}) {
        EXPECT_THAT(includes_beginning_with("tools", other), IsEmpty());
    }
}

TEST(Terminal, KnowsNothingOfAnyOtherPart) {
    for (const char *other : {"lib/", "utils/", "daemon/", "providers/", "platform/", "tools/", "hb_", "qz_"}) {
        EXPECT_THAT(includes_beginning_with("terminal", other), IsEmpty());
    }
    EXPECT_THAT(includes_beginning_with("lib", "terminal/"), IsEmpty());
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
    const std::string source = read_source(root + "/lib/hb_wire.h");
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
