// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "common/complaint.h"

TEST(Complaint, TheSocketIsNamedWithWhatToDo) {
    EXPECT_EQ(common::no_daemon_line("/run/s"),
              "no heartbeat daemon listens at /run/s (HB_SERVER_SOCKET or --socket changes the path)");
    EXPECT_EQ(common::no_access_line("/run/s", "group"),
              "permission denied for the daemon's socket /run/s: run as root or as a member of wispd's group");
}

TEST(Complaint, AnUnknownWordIsACommandOrAnOption) {
    EXPECT_EQ(common::unknown_word_line("hbctl", "fly"), "unknown command 'fly'; hbctl --help lists them");
    EXPECT_EQ(common::unknown_word_line("wispd", "--fly"), "unknown option '--fly'; wispd --help lists them");
    EXPECT_EQ(common::no_command_line("wispctl"), "a command is required; wispctl --help lists them");
}
