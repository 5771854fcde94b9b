// SPDX-License-Identifier: Apache-2.0
// The permitted includes: folders are layers, and includes run downward.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/include_graph.h"
#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = HB_SOURCE_DIR;

using Folders = std::vector<std::string>;

// Each list runs from the ground up.
const Folders LIBRARY_LAYERS = {
    "utils",   "lib/base",         "lib/wire", "lib/hb_global_data", "lib/vexo", "lib/hb_communication",
    "lib/mox", "lib/mox/handlers", "lib/api"};
const Folders DAEMON_LAYERS = {
    "common",      "host",          "cluster", "cluster/description", "engine", "engine/corosync",
    "engine/serf", "engine/access", "daemon"};
const Folders PROVIDER_LAYERS = {"common",
                                 "host",
                                 "cluster",
                                 "cluster/description",
                                 "engine",
                                 "engine/corosync",
                                 "engine/serf",
                                 "providers/service",
                                 "providers/sim",
                                 "providers/followed",
                                 "providers/corosync",
                                 "providers/serf"};

std::string folder_of(const std::string &path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::vector<std::string> headers_and_sources(const std::string &folder) {
    return source_files(ROOT, folder, {".h", ".cpp", ".c"});
}

// "file includes file" for each include that runs from a layer to a higher one.
std::vector<std::string> upward_includes(const Folders &layers, const std::string &file,
                                         const std::string &source) {
    const auto place = [&](const std::string &path) {
        return std::find(layers.begin(), layers.end(), folder_of(path));
    };
    std::vector<std::string> found;
    for (const std::string &name : quoted_includes(source)) {
        if (place(name) != layers.end() && place(name) > place(file)) {
            found.push_back(file + " includes " + name);
        }
    }
    return found;
}

std::vector<std::string> upward_includes(const Folders &layers) {
    std::vector<std::string> found;
    for (const std::string &layer : layers) {
        for (const std::string &file : headers_and_sources(layer)) {
            if (folder_of(file) == layer) {
                const auto more = upward_includes(layers, file, read_source(ROOT + "/" + file));
                found.insert(found.end(), more.begin(), more.end());
            }
        }
    }
    return found;
}

// "file includes name" for each include of one of the folder's files that begins with the prefix.
std::vector<std::string> includes_beginning_with(const std::string &folder, const std::string &prefix) {
    std::vector<std::string> found;
    for (const std::string &file : headers_and_sources(folder)) {
        for (const std::string &name : quoted_includes(read_source(ROOT + "/" + file))) {
            if (name.starts_with(prefix)) {
                found.push_back(file + " includes " + name);
            }
        }
    }
    return found;
}

void expect_no_include(const Folders &folders, const Folders &prefixes) {
    for (const std::string &folder : folders) {
        for (const std::string &prefix : prefixes) {
            EXPECT_THAT(includes_beginning_with(folder, prefix), IsEmpty());
        }
    }
}

Include_Graph graph_of(const Folders &folders) {
    Include_Graph graph;
    for (const std::string &folder : folders) {
        for (const std::string &file : headers_and_sources(folder)) {
            add_file(graph, file, read_source(ROOT + "/" + file));
        }
    }
    return graph;
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

TEST(IncludeGraph, CountsASourceAndItsHeaderAsOne) {
    Include_Graph graph;
    add_file(graph, "lib/a.cpp", "#include \"lib/a.h\"\n#include \"lib/b.h\"\n");
    add_file(graph, "lib/a.h", "#include \"hb_client.h\"\n");
    EXPECT_THAT(find_loop(graph), IsEmpty());
}

TEST(LayerRule, FindsAnIncludeOfAHigherLayer) {
    const Folders layers = {"low", "high", "high/inner"};
    EXPECT_THAT(upward_includes(layers, "low/a.h", "#include \"high/b.h\"\n#include \"low/c.h\"\n"),
                ElementsAre("low/a.h includes high/b.h"));
    EXPECT_THAT(upward_includes(layers, "high/b.h", "#include \"high/inner/d.h\"\n#include \"low/a.h\"\n"),
                ElementsAre("high/b.h includes high/inner/d.h"));
}

TEST(Library, IncludesRunDownwardThroughItsFolders) {
    EXPECT_THAT(upward_includes(LIBRARY_LAYERS), IsEmpty());
}

TEST(Library, EveryFileLiesInOneOfItsFolders) {
    const auto files = headers_and_sources("lib");
    ASSERT_GT(files.size(), 100U);
    for (const std::string &file : files) {
        EXPECT_THAT(LIBRARY_LAYERS, testing::Contains(folder_of(file))) << file;
    }
}

TEST(Library, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    const Include_Graph graph = graph_of({"lib", "utils"});
    ASSERT_GT(graph.size(), 25U);
    EXPECT_THAT(find_loop(graph), IsEmpty());
}

TEST(Library, KnowsNothingOfDaemonToolsOrTests) {
    expect_no_include(
        {"lib", "utils", "platform", "include"},
        {"common/", "host/", "cluster/", "engine/", "daemon/", "providers/", "tools/", "exporter/", "tests/"});
}

// It stands on the public header alone, so that a program's watch works with any build of the library.
TEST(Watch, UsesThePublicHeadersAlone) {
    ASSERT_GT(headers_and_sources("watch").size(), 15U);
    expect_no_include({"watch"}, {"lib/", "utils/", "common/", "host/", "cluster/", "engine/", "daemon/",
                                  "providers/", "platform/", "tools/", "exporter/", "tests/", "qz_"});
    expect_no_include(
        {"lib", "utils", "platform", "common", "host", "cluster", "engine", "daemon", "providers"},
        {"watch/", "hb_watch"});
}

TEST(Platform, KnowsNothingOfTheLibraryAboveIt) {
    expect_no_include({"platform"}, {"lib/", "utils/"});
}

TEST(Programs, NoTwoModulesIncludeEachOtherDirectlyOrRoundALoop) {
    EXPECT_THAT(find_loop(graph_of({"common", "host", "cluster", "engine", "daemon", "providers"})), IsEmpty());
    EXPECT_THAT(find_loop(graph_of({"tools"})), IsEmpty());
    EXPECT_THAT(find_loop(graph_of({"exporter"})), IsEmpty());
    EXPECT_THAT(find_loop(graph_of({"platform"})), IsEmpty());
    EXPECT_THAT(find_loop(graph_of({"watch"})), IsEmpty());
}

TEST(Daemon, IncludesRunDownwardThroughItsFolders) {
    EXPECT_THAT(upward_includes(DAEMON_LAYERS), IsEmpty());
}

TEST(Providers, IncludesRunDownwardThroughTheirFolders) {
    EXPECT_THAT(upward_includes(PROVIDER_LAYERS), IsEmpty());
}

TEST(Providers, ThoseOfEnginesShareOnlyWhatEveryEngineHas) {
    expect_no_include({"providers/service", "providers/followed"}, {"engine/corosync/", "engine/serf/"});
    expect_no_include({"providers/corosync"}, {"engine/serf/", "providers/serf/"});
    expect_no_include({"providers/serf"}, {"engine/corosync/", "providers/corosync/"});
}

TEST(Programs, DaemonAndProvidersDoNotIncludeEachOther) {
    expect_no_include({"daemon"}, {"providers/"});
    expect_no_include({"providers"}, {"daemon/"});
    expect_no_include({"common", "host", "cluster", "engine"}, {"daemon/", "providers/"});
}

TEST(Programs, UseNothingOfTheLibraryButItsWireHeader) {
    for (const char *folder :
         {"common", "host", "cluster", "engine", "daemon", "providers", "tools", "exporter"}) {
        for (const std::string &include : includes_beginning_with(folder, "lib/")) {
            EXPECT_TRUE(include.ends_with(" includes lib/wire/hb_wire.h")) << include;
        }
        EXPECT_THAT(includes_beginning_with(folder, "tests/"), IsEmpty());
    }
}

// It shows how far the public header carries a program. What every program needs and the library has no entry for lies
// in common/: printable text, addresses as text, the socket's path.
TEST(Tools, HbctlUsesThePublicHeaderAndTheCommonFolderAlone) {
    expect_no_include({"tools/hbctl"},
                      {"lib/", "utils/", "host/", "cluster/", "engine/", "daemon/", "providers/", "platform/"});
}

TEST(Exporter, UsesThePublicHeaderAndTheCommonFolderAlone) {
    ASSERT_GT(headers_and_sources("exporter").size(), 10U);
    expect_no_include({"exporter"}, {"lib/", "utils/", "host/", "cluster/", "engine/", "daemon/", "providers/",
                                     "platform/", "tools/"});
    expect_no_include({"common", "host", "cluster", "engine", "daemon", "providers", "tools"}, {"exporter/"});
}

TEST(Tools, WispctlKnowsNothingOfTheDaemonsInside) {
    expect_no_include({"tools/wispctl"}, {"lib/", "utils/", "engine/", "daemon/", "providers/", "platform/"});
}

TEST(Common, KnowsNothingOfAnyOtherPart) {
    expect_no_include({"common"}, {"lib/", "utils/", "host/", "cluster/", "engine/", "daemon/", "providers/",
                                   "platform/", "tools/", "hb_", "qz_"});
}

} // namespace
