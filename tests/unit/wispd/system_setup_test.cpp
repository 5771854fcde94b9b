// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/system_setup.h"
#include "host/start_failure.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::HasSubstr;
using wispd::find_group;
using wispd::Start_Failure;

std::string failure_of(const std::string &socket, const std::string &control,
                       const wispd::Daemon_Settings &settings) {
    try {
        wispd::prepare_system(socket, control, settings);
    } catch (const Start_Failure &error) {
        return error.what();
    }
    return "it succeeded";
}

class WispdSystemSetup : public testing::Test {
  protected:
    wispd::Access prepare() { return wispd::prepare_system(socket_, control_, settings_); }

    hb_test::Temp_Dir directory_;
    std::string socket_ = directory_.file("s");
    std::string control_ = directory_.file("c");
    wispd::Daemon_Settings settings_;
};

TEST(WispdGroup, IsFoundByNameOrNumber) {
    EXPECT_EQ(find_group(""), static_cast<gid_t>(-1));
    EXPECT_EQ(find_group("root"), 0u);
    EXPECT_EQ(find_group("0"), 0u);
    EXPECT_EQ(find_group("4294967294"), 4294967294u);
}

TEST(WispdGroup, ThatThereIsNotIsRefusedWithAdvice) {
    for (const char *name : {"no-such-group", "-1", "4294967295", "4294967296", "1x", " 1", "0x10"}) {
        try {
            find_group(name);
            ADD_FAILURE() << name;
        } catch (const Start_Failure &error) {
            EXPECT_THAT(error.what(),
                        HasSubstr("group \"" + std::string(name) + "\" does not exist; create it"));
        }
    }
}

TEST_F(WispdSystemSetup, KeysAreForWhoCanConnectByGroupUnlessToldOtherwise) {
    EXPECT_EQ(prepare().socket_mode, 0660u);
    EXPECT_EQ(prepare().key_mode, 0640u);
    settings_.socket_mode = 0600;
    EXPECT_EQ(prepare().key_mode, 0600u);
    settings_.socket_mode = 0666;
    EXPECT_EQ(prepare().key_mode, 0640u);
    settings_.key_mode = 0644;
    EXPECT_EQ(prepare().key_mode, 0644u);
}

TEST_F(WispdSystemSetup, NoGroupActsOrControlsUnlessNamed) {
    constexpr auto nobody = static_cast<gid_t>(-1);
    settings_.group = "7";
    EXPECT_EQ(prepare().act_group, nobody);
    EXPECT_EQ(prepare().control_group, nobody);
    EXPECT_EQ(control_access(prepare()).socket_mode, 0600u);
    EXPECT_EQ(control_access(prepare()).group, nobody);
    settings_.act_group = "8";
    settings_.control_group = "9";
    EXPECT_EQ(prepare().act_group, 8u);
    EXPECT_EQ(control_access(prepare()).socket_mode, 0660u);
    EXPECT_EQ(control_access(prepare()).group, 9u);
}

TEST_F(WispdSystemSetup, MissingGroupIsReportedWithItsKey) {
    settings_.act_group = "no-such-group";
    EXPECT_EQ(
        failure_of(socket_, control_, settings_),
        "group \"no-such-group\" does not exist; create it, or set act_group in [daemon] to another group");
    settings_.act_group = "";
    settings_.control_group = "no-such-group";
    EXPECT_THAT(failure_of(socket_, control_, settings_), HasSubstr("or set control_group in [daemon]"));
}

TEST_F(WispdSystemSetup, PathsAreCheckedBeforeAnythingIsMade) {
    EXPECT_EQ(failure_of(socket_, socket_, settings_),
              "socket and control socket are both " + socket_ + "; choose another path for one of them");
    EXPECT_THAT(failure_of(directory_.file("absent/s"), control_, settings_),
                HasSubstr("directory " + directory_.file("absent") + " does not exist"));
    EXPECT_THAT(failure_of(socket_, std::string(108, 'c'), settings_),
                HasSubstr("the control socket path has 108"));
    settings_.group = "no-such-group";
    EXPECT_THAT(failure_of(socket_, control_, settings_), HasSubstr("group \"no-such-group\" does not exist"));
}

} // namespace
