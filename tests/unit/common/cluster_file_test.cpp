// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/cluster_file.h"
#include "tests/support/temp_dir.h"

namespace {

using common::Cluster_File;
using common::cluster_file_text;
using common::parse_cluster_file;
using common::read_cluster_file;
using testing::Eq;
using testing::Optional;

constexpr uid_t SOMEBODY = 65534;

const std::string SMALL = R"({
 "format": 1,
 "cluster": "sample",
 "version": "1.0.0",
 "started": 1714564800,
 "engine": "connected",
 "nodes": {
  "0": "zero",
  "3": "gamma"
 }
}
)";

Cluster_File small() {
    return {"sample",
            "1.0.0",
            std::chrono::system_clock::time_point(std::chrono::seconds(1714564800)),
            "connected",
            {{0, "zero"}, {3, "gamma"}}};
}

std::string with_nodes(const std::string &nodes) {
    return R"({"format":1,"cluster":"c","version":"1","started":1,"engine":"none","nodes":)" + nodes + "}";
}

std::map<int, std::string> nodes_read(const std::string &nodes) {
    const auto file = parse_cluster_file(with_nodes(nodes));
    return file ? file->nodes : std::map<int, std::string>{{-1, "none"}};
}

bool is_rejected(const std::string &text) {
    return !parse_cluster_file(text);
}

TEST(ClusterFile, IsJsonForPeopleAndPrograms) {
    EXPECT_EQ(cluster_file_text(small()), SMALL);
    EXPECT_THAT(parse_cluster_file(SMALL), Optional(small()));
}

TEST(ClusterFile, AClusterWithoutNodesHasAFileToo) {
    Cluster_File none = small();
    none.nodes.clear();
    EXPECT_THAT(parse_cluster_file(cluster_file_text(none)), Optional(none));
}

TEST(ClusterFile, AFullClusterOfTheLongestNamesCanBeRead) {
    Cluster_File full = small();
    for (int node = 0; node < 2049; ++node) {
        full.nodes[node] = std::string(255, '\x01');
    }
    EXPECT_THAT(parse_cluster_file(cluster_file_text(full)), Optional(full));
}

TEST(ClusterFile, NamesKeepEveryCharacter) {
    Cluster_File odd = small();
    odd.nodes = {{1, "a\"b\\c\n\x1b[31m"}, {2, "größe"}, {3, "[[[{{{"}};
    EXPECT_THAT(parse_cluster_file(cluster_file_text(odd)), Optional(odd));
}

TEST(ClusterFile, InvalidBytesAreReplacedAndNamesThatAreTooLongAreLeftOut) {
    Cluster_File odd = small();
    odd.cluster = std::string(256, 'c');
    odd.nodes = {{1, "\xff"}, {2, std::string(256, 'n')}, {3, std::string(200, '\xff')}, {4, ""}, {5, "five"}};
    const auto read = parse_cluster_file(cluster_file_text(odd));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->cluster, "");
    EXPECT_EQ(read->nodes, (std::map<int, std::string>{{1, "\xef\xbf\xbd"}, {5, "five"}}));
}

TEST(ClusterFile, UnknownKeysAreIgnored) {
    std::string more = SMALL;
    more.insert(1, R"("later": {"a": [[[[1]]]]}, )");
    EXPECT_THAT(parse_cluster_file(more), Optional(small()));
}

TEST(ClusterFile, WhatIsNotCompleteIsNone) {
    for (std::size_t length = 0; length + 2 < SMALL.size(); ++length) {
        EXPECT_TRUE(is_rejected(SMALL.substr(0, length))) << length;
    }
    EXPECT_TRUE(is_rejected("[]"));
    EXPECT_TRUE(is_rejected("null"));
    for (const std::string key : {"format", "cluster", "version", "started", "engine", "nodes"}) {
        std::string text = SMALL;
        text.replace(text.find(key), key.size(), "other_" + key);
        EXPECT_TRUE(is_rejected(text)) << key;
    }
}

TEST(ClusterFile, AnotherFormatIsNone) {
    std::string text = SMALL;
    text.replace(text.find("1,"), 1, "2");
    EXPECT_TRUE(is_rejected(text));
}

TEST(ClusterFile, ValuesOfAnotherTypeAreNone) {
    EXPECT_TRUE(
        is_rejected(R"({"format":1,"cluster":1,"version":"1","started":1,"engine":"none","nodes":{}})"));
    EXPECT_TRUE(
        is_rejected(R"({"format":1,"cluster":"c","version":"1","started":"1","engine":"none","nodes":{}})"));
    EXPECT_TRUE(
        is_rejected(R"({"format":1,"cluster":"c","version":"1","started":-1,"engine":"none","nodes":{}})"));
    EXPECT_TRUE(is_rejected(
        R"({"format":1,"cluster":"c","version":"1","started":99999999999999999999,"engine":"","nodes":{}})"));
    EXPECT_TRUE(is_rejected(with_nodes("[]")));
}

TEST(ClusterFile, NodesHaveNumbersOfNodesAndNames) {
    EXPECT_THAT(nodes_read(R"({"2048":"last"})"), Eq(std::map<int, std::string>{{2048, "last"}}));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"2049":"beyond"})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"-1":"below"})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"one":"word"})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"1":"first","01":"again"})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"1":""})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"1":7})")));
    EXPECT_TRUE(is_rejected(with_nodes(R"({"1":")" + std::string(256, 'n') + "\"}")));
}

TEST(ClusterFile, DeepNestingIsNoneAndUsesLittleMemory) {
    EXPECT_TRUE(is_rejected(std::string(1'000'000, '[')));
    EXPECT_TRUE(is_rejected(std::string(500'000, '[') + std::string(500'000, ']')));
}

class ClusterFileRead : public testing::Test {
  protected:
    void write(const std::string &text) const { std::ofstream(path_) << text; }
    std::optional<Cluster_File> read() const { return read_cluster_file(socket_); }

    hb_test::Temp_Dir directory_;
    const std::string socket_ = directory_.file("socket");
    const std::string path_ = directory_.file("socket.cluster");
};

TEST_F(ClusterFileRead, IsTheFileBesideTheSocket) {
    EXPECT_EQ(common::cluster_file_path("/run/wisp/socket"), "/run/wisp/socket.cluster");
    write(SMALL);
    EXPECT_THAT(read(), Optional(small()));
}

TEST_F(ClusterFileRead, AnAbsentFileIsNone) {
    EXPECT_EQ(read(), std::nullopt);
    EXPECT_EQ(read_cluster_file("/nowhere/at/all"), std::nullopt);
    EXPECT_EQ(read_cluster_file(""), std::nullopt);
}

TEST_F(ClusterFileRead, AnEmptyFileIsNone) {
    write("");
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(ClusterFileRead, AHugeFileIsNone) {
    write(SMALL + std::string(5'000'000, ' '));
    EXPECT_EQ(read(), std::nullopt);
    write(SMALL + std::string(1'000'000, ' '));
    EXPECT_THAT(read(), Optional(small()));
}

TEST_F(ClusterFileRead, ALinkADirectoryAndAPipeAreNone) {
    std::ofstream(directory_.file("real")) << SMALL;
    std::filesystem::create_symlink(directory_.file("real"), path_);
    EXPECT_EQ(read(), std::nullopt);
    std::filesystem::remove(path_);
    std::filesystem::create_directory(path_);
    EXPECT_EQ(read(), std::nullopt);
    std::filesystem::remove(path_);
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(read(), std::nullopt);
}

TEST_F(ClusterFileRead, AFileOfAnotherUserThanTheSocketsIsNone) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can create files of other users";
    }
    write(SMALL);
    ASSERT_EQ(chown(path_.c_str(), SOMEBODY, SOMEBODY), 0);
    EXPECT_EQ(read(), std::nullopt);
    ASSERT_EQ(mknod(socket_.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_EQ(read(), std::nullopt);
    ASSERT_EQ(chown(socket_.c_str(), SOMEBODY, SOMEBODY), 0);
    EXPECT_THAT(read(), Optional(small()));
}

} // namespace
