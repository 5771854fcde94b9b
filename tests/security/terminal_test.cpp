// SPDX-License-Identifier: Apache-2.0
// Texts from other sources, on their way to the terminal of a program's user.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tests/security/roles.h"

namespace hb_test {
namespace {

class Terminal : public testing::Test {
  protected:
    void SetUp() override {
        HB_NEEDS_ROLES();
        programs.emplace(programs_of_this_build());
        ASSERT_EQ(0, chmod(directory.path().c_str(), 01777));
    }
    void TearDown() override {
        if (attack) {
            attack->close_input();
            EXPECT_TRUE(attack->wait());
        }
    }
    void start(const std::vector<std::string> &words) {
        attack = programs->start(Role::outsider, words);
        ASSERT_TRUE(attack->read_until("listening")) << attack->error_output();
    }

    Temp_Dir directory;
    const std::string socket = directory.file("s");
    std::optional<Public_Programs> programs;
    std::unique_ptr<Child_Process> attack;
};

// The output has only printable ASCII and ends of lines: the attacks use nothing else.
bool steers_nothing(const std::string &text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '\n' || (c >= 0x20 && static_cast<unsigned char>(c) < 0x7F); });
}

constexpr char SHOWN[] = "a\\x1B[2J\\x7F\\xC2\\x9B31m\\xE2\\x80\\xAE\\xFF";

TEST_F(Terminal, ADaemonsNamesDoNotSteerTheOneOfHbctl) {
    start({"hb_attack", "hostile-daemon", socket, "1", "segments"});
    const Ended text = programs->run(Role::client, {"hbctl", "--socket", socket, "networks"});
    EXPECT_TRUE(steers_nothing(text.output)) << testing::PrintToString(text);
    EXPECT_NE(std::string::npos, text.output.find(SHOWN)) << text.output;
    const Ended lines = programs->run(Role::client, {"hbctl", "--socket", socket, "--json", "networks"});
    EXPECT_TRUE(steers_nothing(lines.output)) << testing::PrintToString(lines);
    EXPECT_EQ(SHOWN, nlohmann::json::parse(lines.output).at("name").get<std::string>());
}

TEST_F(Terminal, AnswersDoNotSteerTheOneOfWispctl) {
    start({"hb_attack", "hostile-control", socket, "error"});
    const Ended refused = programs->run(Role::client, {"wispctl", "--control", socket, "rotate-key"});
    EXPECT_EQ(1, refused.exit_status);
    EXPECT_EQ("wispctl: \\x1B[2J\\x7F\\xC2\\x9B31m\\xE2\\x80\\xAE\n", refused.errors);
}

TEST_F(Terminal, AStateDoesNotSteerTheOneOfWispctlAndStaysTheSameJson) {
    start({"hb_attack", "hostile-control", socket, "state"});
    const Ended state = programs->run(Role::client, {"wispctl", "--control", socket, "state"});
    EXPECT_EQ(0, state.exit_status);
    EXPECT_TRUE(steers_nothing(state.output)) << testing::PrintToString(state);
    EXPECT_EQ("\x1b[2J\x7f\xc2\x9b"
              "31m\xe2\x80\xae",
              nlohmann::json::parse(state.output).at("cluster").get<std::string>());
}

TEST_F(Terminal, AnAnswerWithoutEndIsGivenUp) {
    start({"hb_attack", "hostile-control", socket, "endless"});
    const Ended end = programs->run(Role::client, {"wispctl", "--control", socket, "state"});
    EXPECT_EQ(1, end.exit_status);
    EXPECT_EQ("wispctl: the answer from " + socket +
                  " has more than 67108864 bytes; is this wispd's control socket?\n",
              end.errors);
}

TEST_F(Terminal, ADeepAnswerDoesNotCrashTheOneOfWispctl) {
    start({"hb_attack", "hostile-control", socket, "deep"});
    const Ended end = programs->run(Role::client, {"wispctl", "--control", socket, "state"});
    EXPECT_EQ(1, end.exit_status);
    EXPECT_EQ("wispctl: invalid answer from " + socket + "; is this wispd's control socket?\n", end.errors);
}

TEST_F(Terminal, ArgumentsDoNotSteerTheOneOfAnyProgram) {
    for (const char *program : {"hbctl", "wispctl", "wispd"}) {
        const Ended end = programs->run(Role::client, {program, "--\x1b[31mbad"});
        EXPECT_EQ(2, end.exit_status) << program;
        EXPECT_TRUE(steers_nothing(end.errors)) << program << testing::PrintToString(end);
    }
}

TEST_F(Terminal, AFilesKeysDoNotSteerTheOneOfWispd) {
    const std::string path = directory.file("c.toml");
    std::ofstream(path) << "\"\xc2\x9b"
                           "31m\xe2\x80\xae\" = 1\n";
    const Ended end = programs->run(Role::client, {"wispd", "--check", "--config", path});
    EXPECT_EQ(2, end.exit_status);
    EXPECT_TRUE(steers_nothing(end.errors)) << testing::PrintToString(end);
    EXPECT_NE(std::string::npos, end.errors.find("\\xC2\\x9B31m\\xE2\\x80\\xAE")) << end.errors;
}

} // namespace
} // namespace hb_test
