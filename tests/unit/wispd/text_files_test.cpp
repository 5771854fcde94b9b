// SPDX-License-Identifier: Apache-2.0
// Reading a file whole.
#include <fstream>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/description/config_error.h"
#include "cluster/description/toml_reader.h"
#include "daemon/configuration_file.h"
#include "tests/support/temp_dir.h"

namespace {

template <typename Error> std::string error_of(const std::function<void()> &action) {
    try {
        action();
    } catch (const Error &error) {
        return error.what();
    }
    return "it succeeded";
}

TEST(WispdTextFiles, ADirectoryIsNamedAsOneThatCannotBeRead) {
    const hb_test::Temp_Dir directory;
    const std::string expected = directory.path() + ": cannot be read: Is a directory";
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_text_file(directory.path()); }), expected);
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_configuration_file(directory.path()); }),
              expected);
}

TEST(WispdTextFiles, AMissingOneIsNamedAsOneThatCannotBeOpened) {
    const hb_test::Temp_Dir directory;
    const std::string path = directory.file("none.toml");
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_text_file(path); }),
              path + ": cannot be opened: No such file or directory");
}

TEST(WispdTextFiles, AreReadWholeWhateverIsInThem) {
    const hb_test::Temp_Dir directory;
    const std::string path = directory.file("text");
    for (const std::string &content :
         {std::string(), std::string("\n"), std::string("a\0b\r\n", 5), std::string(100000, 'x')}) {
        std::ofstream(path, std::ios::binary) << content;
        EXPECT_EQ(wispd::read_text_file(path), content);
    }
}

} // namespace
