// SPDX-License-Identifier: Apache-2.0
// The log where the journal reads standard error: entries with fields, or lines with a prefix for the level.
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/change_log.h"
#include "daemon/publisher/client_log.h"
#include "host/log.h"
#include "tests/support/datagram_socket.h"
#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using hb_test::Datagram_Socket;
using testing::HasSubstr;
using testing::Not;
using testing::Optional;
using testing::StartsWith;

std::string stream_of(int descriptor, long inode_offset = 0) {
    struct stat status {};
    EXPECT_EQ(fstat(descriptor, &status), 0);
    return std::to_string(status.st_dev) + ":" +
           std::to_string(status.st_ino + static_cast<ino_t>(inode_offset));
}

// Standard error is a file of the test.
class WispdJournal : public testing::Test {
  protected:
    WispdJournal() : before_(dup(STDERR_FILENO)) {
        const hb_test::Unique_Fd file(open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
        dup2(file.get(), STDERR_FILENO);
    }
    ~WispdJournal() override {
        dup2(before_.get(), STDERR_FILENO);
        wispd::set_log_level("info");
        wispd::log_to_stderr();
    }
    std::string standard_error() const {
        std::ifstream file(path_);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    hb_test::Temp_Dir directory_;
    std::string path_ = directory_.file("stderr");
    std::string absent_ = directory_.file("absent");
    hb_test::Unique_Fd before_;
};

TEST_F(WispdJournal, AnEntryHasPriorityIdentifierAndFields) {
    const Datagram_Socket journal(directory_.file("journal"));
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(journal.name());
    wispd::log_warning("nodes died: 2 3", {"node-death", {2, 3}, "abc", 4711});
    EXPECT_THAT(journal.receive(),
                Optional(std::string("MESSAGE=nodes died: 2 3\nPRIORITY=4\nSYSLOG_IDENTIFIER=wispd\n"
                                     "HB_EVENT=node-death\nHB_NODE=2\nHB_NODE=3\nHB_FFDC=abc\n"
                                     "HB_CLIENT_PID=4711\n")));
    wispd::log_info("x");
    EXPECT_THAT(journal.receive(), Optional(std::string("MESSAGE=x\nPRIORITY=6\nSYSLOG_IDENTIFIER=wispd\n")));
    wispd::log_error("x");
    EXPECT_THAT(journal.receive().value_or(""), HasSubstr("\nPRIORITY=3\n"));
    wispd::log_debug("below the level");
    wispd::set_log_level("debug");
    wispd::log_debug("x");
    EXPECT_THAT(journal.receive().value_or(""), HasSubstr("\nPRIORITY=7\n"));
    EXPECT_EQ(standard_error(), "");
}

TEST_F(WispdJournal, TextOfAClientMakesNoFieldOfItsOwn) {
    const Datagram_Socket journal(directory_.file("journal"));
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(journal.name());
    wispd::log_info("named \"x\nPRIORITY=0\n\"", {"ffdc", {}, "id\nHB_NODE=1"});
    EXPECT_THAT(journal.receive(),
                Optional(std::string("MESSAGE=named \"x\\x0APRIORITY=0\\x0A\"\nPRIORITY=6\n"
                                     "SYSLOG_IDENTIFIER=wispd\nHB_EVENT=ffdc\nHB_FFDC=id\\x0AHB_NODE=1\n")));
}

// The journal would reject the whole entry if it had too many fields.
TEST_F(WispdJournal, AnEntryNamesAtMostFiveHundredAndTwelveNodes) {
    const Datagram_Socket journal(directory_.file("journal"));
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(journal.name());
    std::vector<int64_t> nodes;
    for (int node = 0; node < 2049; ++node) {
        nodes.push_back(node);
    }
    wispd::log_info("nodes died", {"node-death", nodes});
    const std::string entry = journal.receive().value_or("");
    EXPECT_THAT(entry, HasSubstr("\nHB_NODE=511\n"));
    EXPECT_THAT(entry, Not(HasSubstr("\nHB_NODE=512\n")));
}

TEST_F(WispdJournal, WithoutItsSocketLinesHaveThePrefixOfTheirLevelAndNoTime) {
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(absent_);
    wispd::log_error("bad");
    wispd::log_warning("odd");
    wispd::log_info("good");
    wispd::set_log_level("debug");
    wispd::log_debug("fine");
    EXPECT_EQ(standard_error(), "<3>bad\n<4>odd\n<6>good\n<7>fine\n");
    EXPECT_EQ(wispd::stderr_prefix(wispd::Log_Level::error), "<3>");
}

TEST_F(WispdJournal, AnEntryThatTheSocketRejectsIsOnStandardError) {
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    {
        const Datagram_Socket journal(directory_.file("journal"));
        wispd::log_to_journal_or_stderr(journal.name());
        wispd::log_info(std::string(4 << 20, 'x')); // more than a datagram holds
        EXPECT_THAT(standard_error(), StartsWith("<6>xxxx"));
        wispd::log_info("short");
        EXPECT_THAT(journal.receive().value_or(""), StartsWith("MESSAGE=short\n"));
    }
    wispd::log_info("after its end");
    EXPECT_THAT(standard_error(), HasSubstr("\n<6>after its end\n"));
    const Datagram_Socket restarted(directory_.file("journal"));
    wispd::log_info("after its start");
    EXPECT_THAT(restarted.receive().value_or(""), StartsWith("MESSAGE=after its start\n"));
}

TEST_F(WispdJournal, AnotherStandardErrorGetsTheTimeAndNoPrefix) {
    const Datagram_Socket journal(directory_.file("journal"));
    for (const std::optional<std::string> &value :
         {std::optional<std::string>(), std::optional(stream_of(STDERR_FILENO, 1)),
          std::optional(std::string("x"))}) {
        const hb_test::Environment_Guard stream("JOURNAL_STREAM", value);
        std::filesystem::resize_file(path_, 0);
        wispd::log_to_journal_or_stderr(journal.name());
        wispd::log_warning("odd");
        EXPECT_THAT(standard_error(),
                    testing::MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9:]+[.][0-9]+ warning odd\n"));
        EXPECT_EQ(wispd::stderr_prefix(wispd::Log_Level::error), "");
    }
    EXPECT_FALSE(journal.receive(hb_test::Deadline(std::chrono::milliseconds(0))));
}

TEST_F(WispdJournal, DeathsAndJoinsNameNodesAndFailure) {
    const Datagram_Socket journal(directory_.file("journal"));
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(journal.name());
    wispd::Cluster cluster(wispd_test::three_nodes());
    log_changes(cluster.node_down(3), "id-1", cluster);
    EXPECT_THAT(journal.receive().value_or(""),
                StartsWith("MESSAGE=adapters died: 6 7, failure id id-1\nPRIORITY=6\nSYSLOG_IDENTIFIER=wispd\n"
                           "HB_EVENT=adapter-death\nHB_NODE=3\nHB_FFDC=id-1\n"));
    EXPECT_THAT(journal.receive().value_or(""),
                testing::EndsWith("HB_EVENT=node-death\nHB_NODE=3\nHB_FFDC=id-1\n"));
    log_changes(cluster.node_up(3), "", cluster);
    EXPECT_THAT(journal.receive().value_or(""), testing::EndsWith("HB_EVENT=adapter-join\nHB_NODE=3\n"));
    EXPECT_THAT(journal.receive().value_or(""), testing::EndsWith("HB_EVENT=node-join\nHB_NODE=3\n"));
    log_changes(cluster.report_failure("id-2"), "", cluster);
    EXPECT_THAT(journal.receive().value_or(""), testing::EndsWith("HB_EVENT=ffdc\nHB_FFDC=id-2\n"));
}

// A line that is charged to a user keeps its fields.
TEST_F(WispdJournal, AChargedLineKeepsItsFields) {
    const Datagram_Socket journal(directory_.file("journal"));
    const hb_test::Environment_Guard stream("JOURNAL_STREAM", stream_of(STDERR_FILENO));
    wispd::log_to_journal_or_stderr(journal.name());
    wispd::Client_Log client_log;
    const wispd::Log_Charge charge(client_log, 501);
    wispd::log_info("x", {"ffdc", {}, "id-3"});
    EXPECT_THAT(journal.receive().value_or(""), HasSubstr("\nHB_FFDC=id-3\n"));
}

} // namespace
