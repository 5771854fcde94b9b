// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "exporter/cluster_file_watch.h"
#include "exporter/text_file.h"
#include "tests/support/temp_dir.h"

namespace exporter {
namespace {

std::string file_with(const std::string &name) {
    common::Cluster_File file;
    file.cluster = "demo";
    file.version = "1";
    file.engine = "none";
    file.nodes = {{3, name}};
    return common::cluster_file_text(file);
}

TEST(ClusterFileWatch, ReportsEachFileThatDiffers) {
    const hb_test::Temp_Dir directory;
    const std::string socket = directory.file("s");
    const std::string path = common::cluster_file_path(socket);
    Cluster_File_Watch watch(socket);
    EXPECT_FALSE(watch.poll());
    EXPECT_EQ(watch.content(), nullptr);
    write_whole_file(path, file_with("gamma"));
    EXPECT_TRUE(watch.poll());
    ASSERT_NE(watch.content(), nullptr);
    EXPECT_EQ(watch.content()->nodes.at(3), "gamma");
    const auto before = watch.content();
    EXPECT_FALSE(watch.poll());
    write_whole_file(path, file_with("gamma")); // written again, and the same
    EXPECT_FALSE(watch.poll());
    EXPECT_EQ(watch.content(), before);
    write_whole_file(path, file_with("delta"));
    EXPECT_TRUE(watch.poll());
    EXPECT_EQ(watch.content()->nodes.at(3), "delta");
    std::filesystem::remove(path);
    EXPECT_TRUE(watch.poll());
    EXPECT_EQ(watch.content(), nullptr);
}

TEST(ClusterFileWatch, DropsAFileThatCannotBeUsed) {
    const hb_test::Temp_Dir directory;
    const std::string socket = directory.file("s");
    Cluster_File_Watch watch(socket);
    write_whole_file(common::cluster_file_path(socket), file_with("gamma"));
    EXPECT_TRUE(watch.poll());
    write_whole_file(common::cluster_file_path(socket), "{");
    EXPECT_TRUE(watch.poll());
    EXPECT_EQ(watch.content(), nullptr);
}

} // namespace
} // namespace exporter
