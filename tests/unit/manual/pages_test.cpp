// SPDX-License-Identifier: Apache-2.0
// The pages: well formed, complete, and with references that lead somewhere.
#include <algorithm>
#include <filesystem>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/unit/manual/program_help.h"

namespace hb_test {
namespace {

using testing::IsEmpty;
using testing::IsSupersetOf;

std::vector<std::string> page_files() {
    std::vector<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator(std::string(HB_MANUAL_DIR) + "/pages")) {
        files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

Names matches(const std::string &text, const std::regex &form) {
    Names found;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

TEST(Pages, AreWellFormed) {
    if (!can_run("mandoc")) {
        GTEST_SKIP() << "no mandoc (package mandoc)";
    }
    for (const std::string &file : page_files()) {
        int status = -1;
        EXPECT_EQ(output_of("mandoc -Tlint -Wwarning " + file, &status), "");
        EXPECT_EQ(status, 0) << file;
    }
}

TEST(Pages, AnUnsoundPageIsNoticed) {
    if (!can_run("mandoc")) {
        GTEST_SKIP() << "no mandoc (package mandoc)";
    }
    int status = -1;
    output_of("printf '.Dd x\\n.Dt A 1\\n.Os\\n.Sh NAME\\n.It b\\n' | mandoc -Tlint -Wwarning", &status);
    EXPECT_NE(status, 0);
}

TEST(Pages, HaveTheSectionsThatAReaderExpects) {
    const auto files = page_files();
    ASSERT_GE(files.size(), 2U);
    for (const std::string &file : files) {
        const Names sections = matches(text_of_file(file), std::regex(R"(\n\.Sh ([^\n]+))"));
        EXPECT_THAT(sections, IsSupersetOf({"NAME", "DESCRIPTION", "ENVIRONMENT", "FILES", "EXIT STATUS",
                                            "EXAMPLES", "SEE ALSO"}))
            << file;
    }
}

TEST(Pages, ReferToPagesThatExist) {
    const std::regex name(R"(.*/([^/]+)\.(\d)\.md)");
    Names known;
    const std::string templates = std::string(HB_SOURCE_DIR) + "/packaging/man";
    for (const auto &entry : std::filesystem::directory_iterator(templates)) {
        known.insert(std::regex_replace(entry.path().string(), name, "$1 $2"));
    }
    for (const std::string &file : page_files()) {
        for (const std::string &reference : matches(text_of_file(file), std::regex(R"(\n\.Xr (\S+ \d))"))) {
            EXPECT_TRUE(known.count(reference) != 0) << file << " refers to " << reference;
        }
    }
}

TEST(Pages, OfTheExporterHasItsLivePageAndNamesItsInstalledFiles) {
    const std::string file = std::string(HB_MANUAL_DIR) + "/pages/hb_exporter.8";
    if (!std::filesystem::exists(file)) {
        GTEST_SKIP() << "no hb_exporter in this build (package libcpp-httplib-dev)";
    }
    const std::string page = text_of_file(file);
    EXPECT_THAT(matches(page, std::regex(R"(\n\.Sh ([^\n]+))")),
                IsSupersetOf({"LIVE PAGE", "SERVICE", "METRICS"}));
    const std::string installed = text_of_file(std::string(HB_SOURCE_DIR) + "/packaging/CMakeLists.txt");
    const std::string folder = "\"${CMAKE_INSTALL_DATADIR}/hb-exporter\"";
    ASSERT_THAT(installed, testing::HasSubstr("install(FILES prometheus/hb.rules.yml grafana/hb.dashboard.json "
                                              "DESTINATION " +
                                              folder));
    for (const char *path :
         {"/usr/share/hb\\-exporter/hb.rules.yml", "/usr/share/hb\\-exporter/hb.dashboard.json",
          "/etc/default/hb\\-exporter", "/lib/systemd/system/hb\\-exporter.service"}) {
        EXPECT_THAT(page, testing::HasSubstr(path));
    }
    EXPECT_THAT(page, testing::Not(testing::HasSubstr("/usr/share/hb_client")));
}

TEST(Pages, TheirMakerRejectsAnUnknownSection) {
    const Temp_Dir directory;
    int status = -1;
    const std::string made = directory.file("page");
    output_of("printf '@page x 1 y\\n@include hbctl.md: No such heading\\n' >" + directory.file("x.1.md"));
    const std::string output =
        output_of(std::string(HB_MANUAL_PROGRAM) + " page " + directory.file("x.1.md") + " " + HB_SOURCE_DIR +
                      "/docs 'Sun, 22 Nov 2026 12:00:00 +0000' " + made,
                  &status);
    EXPECT_EQ(status, 1);
    EXPECT_THAT(output, testing::HasSubstr("no section 'No such heading'"));
    EXPECT_FALSE(std::filesystem::exists(made));
}

} // namespace
} // namespace hb_test
