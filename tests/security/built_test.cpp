// SPDX-License-Identifier: Apache-2.0
// The installed files are built as a distribution builds its packages.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace hb_test {
namespace {

std::string output_of(const std::string &command) {
    std::string output;
    FILE *const pipe = popen(command.c_str(), "re");
    if (pipe != nullptr) {
        char part[4096];
        for (std::size_t got; (got = std::fread(part, 1, sizeof part, pipe)) > 0;) {
            output.append(part, got);
        }
        pclose(pipe);
    }
    return output;
}

std::vector<std::string> installed_files() {
    std::vector<std::string> files;
    for (const char *library :
         {"libhb_client.so", "libqz_tr.so", "libqz_mss.so", "libqz_ffdc.so", "libqz_mox.so", "libqz_mox_sim.so",
          "libqz_mox_corosync.so", "libqz_mox_serf.so"}) {
        const std::string path = std::string(HB_TEST_LIB_DIR "/") + library;
        if (access(path.c_str(), R_OK) == 0) {
            files.push_back(path);
        }
    }
    for (const char *program : {"wispd", "wispctl", "hbctl"}) {
        files.push_back(std::string(HB_TEST_BIN_DIR "/") + program);
    }
    return files;
}

class Installed_File : public testing::Test {
  protected:
    void SetUp() override {
        if (HB_TEST_SANITIZED) {
            GTEST_SKIP() << "a build with sanitizers has their checks instead";
        }
        ASSERT_GE(installed_files().size(), 9U);
    }
};

TEST_F(Installed_File, ResolvesItsSymbolsAtOnceAndThenMakesThemReadOnly) {
    for (const std::string &file : installed_files()) {
        EXPECT_NE(output_of("readelf -lW " + file).find("GNU_RELRO"), std::string::npos) << file;
        EXPECT_NE(output_of("readelf -dW " + file).find("NOW"), std::string::npos) << file;
    }
}

TEST_F(Installed_File, ChecksItsStack) {
    for (const std::string &file : installed_files()) {
        if (!file.ends_with("/libqz_mox.so")) { // its functions have no arrays
            EXPECT_NE(output_of("readelf -sW " + file).find("__stack_chk_fail"), std::string::npos) << file;
        }
    }
}

TEST_F(Installed_File, HasAStackThatCannotBeExecuted) {
    for (const std::string &file : installed_files()) {
        const std::string segments = output_of("readelf -lW " + file);
        const std::size_t stack = segments.find("GNU_STACK");
        ASSERT_NE(stack, std::string::npos) << file;
        EXPECT_EQ(segments.substr(stack, segments.find('\n', stack) - stack).find("RWE"), std::string::npos)
            << file;
    }
}

TEST_F(Installed_File, HasProgramsThatAreLoadedAtAnyAddress) {
    for (const char *program : {"wispd", "wispctl", "hbctl"}) {
        const std::string path = std::string(HB_TEST_BIN_DIR "/") + program;
        EXPECT_NE(output_of("readelf -hW " + path).find("DYN"), std::string::npos) << path;
    }
}

TEST_F(Installed_File, CallsTheCheckedFunctions) {
    if (!HB_TEST_OPTIMIZED) {
        GTEST_SKIP() << "the checked functions need an optimizer";
    }
    for (const char *file : {HB_TEST_LIB_DIR "/libhb_client.so", HB_TEST_BIN_DIR "/wispd"}) {
        EXPECT_NE(output_of(std::string("readelf -sW ") + file).find("_chk@GLIBC"), std::string::npos) << file;
    }
}

// Each branch target of the compiled code is marked. The system decides whether a processor checks the marks.
TEST_F(Installed_File, MarksItsBranchTargets) {
    for (const char *file :
         {HB_TEST_LIB_DIR "/libhb_client.so", HB_TEST_BIN_DIR "/wispd", HB_TEST_BIN_DIR "/hbctl"}) {
        const std::string marks =
            output_of(std::string("objdump -d --no-show-raw-insn ") + file + " | grep -c endbr");
        EXPECT_GT(std::atoi(marks.c_str()), 100) << file << ": the compiler's own start files have a few";
    }
}

} // namespace
} // namespace hb_test
