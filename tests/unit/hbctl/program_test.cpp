// SPDX-License-Identifier: Apache-2.0
// The program itself, on a machine without a daemon.
#include <array>
#include <cstdio>
#include <string>
#include <sys/wait.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;

namespace {

struct Outcome {
    int status = -1;
    std::string output; // both streams
};

Outcome run(const std::string &words) {
    const std::string command = "exec 2>&1; unset HA_DOMAIN_NAME HA_SYSPAR_NAME; " + words;
    Outcome outcome;
    std::FILE *stream = popen(command.c_str(), "r");
    if (stream == nullptr) {
        ADD_FAILURE() << "cannot run " << words;
        return outcome;
    }
    std::array<char, 512> piece{};
    while (std::fgets(piece.data(), static_cast<int>(piece.size()), stream) != nullptr) {
        outcome.output += piece.data();
    }
    const int status = pclose(stream);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

const std::string PROGRAM = HBCTL_PROGRAM;
const std::string NO_DAEMON = "hbctl: no heartbeat daemon listens at /nonexistent/socket (HB_SERVER_SOCKET or "
                              "--socket changes the path)\n";

} // namespace

TEST(HbctlProgram, EveryVerbSaysInOneLineThatNoDaemonListensAndExitsWith1) {
    for (const char *verb : {"status", "nodes", "networks", "adapters", "sites", "watch",
                             "subscribe --all-nodes", "watch --json"}) {
        const Outcome outcome = run(PROGRAM + " --socket /nonexistent/socket " + verb);
        EXPECT_EQ(outcome.status, 1) << verb;
        EXPECT_EQ(outcome.output, NO_DAEMON) << verb;
    }
}

TEST(HbctlProgram, TheVariableChangesThePathToo) {
    const Outcome outcome = run("HB_SERVER_SOCKET=/nonexistent/socket " + PROGRAM + " status");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, NO_DAEMON);
}

TEST(HbctlProgram, TheOptionOverrulesTheVariables) {
    const Outcome outcome =
        run("HB_SERVER_SOCKET=/tmp/other HA_DOMAIN_NAME=d " + PROGRAM + " --socket /nonexistent/socket nodes");
    EXPECT_EQ(outcome.output, NO_DAEMON);
}

TEST(HbctlProgram, MisuseExitsWith2AndHelpWith0) {
    EXPECT_EQ(run(PROGRAM).status, 2);
    EXPECT_EQ(run(PROGRAM + " nodes --bogus").status, 2);
    EXPECT_EQ(run(PROGRAM + " --help").status, 0);
    EXPECT_EQ(run(PROGRAM + " watch --help").status, 0);
    EXPECT_EQ(run(PROGRAM + " --version").status, 0);
}

TEST(HbctlProgram, WorksWithItsStandardDescriptorsClosed) {
    EXPECT_EQ(run(PROGRAM + " --socket /nonexistent/socket status <&- >&-").status, 1);
    EXPECT_EQ(run(PROGRAM + " --socket /nonexistent/socket status <&- >&- 2>&-").status, 1);
}

TEST(HbctlProgram, AFullDiskIsToldAsAFailure) {
    const Outcome outcome = run(PROGRAM + " --help >/dev/full");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, HasSubstr("cannot write to standard output"));
}
