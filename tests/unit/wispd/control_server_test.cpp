// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <gtest/gtest.h>

#include "cluster/description/control_server.h"
#include "host/peer.h"
#include "host/socket_file.h"
#include "tests/support/deadline.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace {

using namespace std::chrono_literals;
using hb_test::Deadline;

class WispdControlServer : public testing::Test {
  protected:
    WispdControlServer() : file_(directory_.file("c"), {}) {
        file_.listen();
        server_ = std::make_unique<wispd::Control_Server>(
            context_, file_.release(), 400ms,
            wispd::Control_Server::Handlers{
                [this](const wispd::Peer &) { return authorised_; },
                [this](const wispd::Peer &peer, std::string_view line, const auto &reply) {
                    last_user_ = peer.uid;
                    EXPECT_EQ(turns_begun_, turns_ended_ + 1);
                    ++lines_;
                    const std::string filling(line == "big" ? 30000 : 0, 'b');
                    const wispd::Control_Answer answer{"got " + std::string(line) + filling, line == "stop"};
                    if (line == "later") {
                        later_ = [reply, answer] { reply(answer); };
                    } else {
                        reply(answer);
                    }
                },
                [this] { stopped_ = true; }, [this] { ++turns_begun_; },
                [this] {
                    ++turns_ended_;
                    on_turn_end_();
                }});
    }

    hb_test::Unique_Fd connect() {
        hb_test::Unique_Fd peer(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        file_.path().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::connect(peer.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        fcntl(peer.get(), F_SETFL, O_NONBLOCK);
        return peer;
    }

    void send(const hb_test::Unique_Fd &peer, std::string_view bytes) {
        const Deadline deadline;
        while (!bytes.empty() && !deadline.over()) {
            const ssize_t count = ::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0 && errno != EAGAIN) {
                return;
            }
            bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
            context_.poll();
        }
    }

    // Reads until this many lines have arrived, or to the end of the stream.
    std::string receive(const hb_test::Unique_Fd &peer, int lines) {
        std::string got;
        const Deadline deadline;
        while (lines > 0 && !deadline.over()) {
            context_.poll();
            char buffer[65536];
            const ssize_t count = recv(peer.get(), buffer, sizeof buffer, 0);
            if (count == 0 || (count < 0 && errno != EAGAIN)) {
                return got + "END";
            }
            const std::string_view piece(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
            lines -= static_cast<int>(std::count(piece.begin(), piece.end(), '\n'));
            got += piece;
        }
        return got;
    }

    hb_test::Temp_Dir directory_;
    asio::io_context context_;
    wispd::Socket_File file_;
    std::unique_ptr<wispd::Control_Server> server_;
    bool authorised_ = true;
    bool stopped_ = false;
    int lines_ = 0;
    int turns_begun_ = 0;
    int turns_ended_ = 0;
    std::function<void()> on_turn_end_ = [] {};
    uid_t last_user_ = static_cast<uid_t>(-1);
    std::function<void()> later_;
};

TEST_F(WispdControlServer, AnswersEachLineInOrder) {
    const auto peer = connect();
    send(peer, "one\ntwo\nthree\n");
    EXPECT_EQ(receive(peer, 3), "got one\ngot two\ngot three\n");
}

TEST_F(WispdControlServer, KnowsWhoAsks) {
    const auto peer = connect();
    send(peer, "one\n");
    EXPECT_EQ(receive(peer, 1), "got one\n");
    EXPECT_EQ(last_user_, geteuid());
}

TEST_F(WispdControlServer, ServesOthersUntilALaterAnswerIsThere) {
    const auto waiting = connect();
    send(waiting, "later\nnext\n");
    const auto peer = connect();
    send(peer, "one\n");
    EXPECT_EQ(receive(peer, 1), "got one\n");
    ASSERT_TRUE(hb_test::wait_until([this] {
        context_.poll();
        return later_ != nullptr;
    }));
    later_();
    EXPECT_EQ(receive(waiting, 2), "got later\ngot next\n");
}

TEST_F(WispdControlServer, TakesALineInPieces) {
    const auto peer = connect();
    send(peer, "on");
    context_.poll();
    send(peer, "e\n");
    EXPECT_EQ(receive(peer, 1), "got one\n");
}

TEST_F(WispdControlServer, RefusesAnEndlessLine) {
    const auto peer = connect();
    send(peer, std::string(70000, 'x'));
    EXPECT_EQ(receive(peer, 2).substr(0, 62), R"({"error":"the line is longer than 65536 bytes","ok":false})"
                                              "\nEND");
}

TEST_F(WispdControlServer, StopsAfterTheAnswerIsWritten) {
    const auto peer = connect();
    send(peer, "stop\n");
    EXPECT_EQ(receive(peer, 1), "got stop\n");
    EXPECT_TRUE(hb_test::wait_until([this] {
        context_.poll();
        return stopped_;
    }));
}

TEST_F(WispdControlServer, RejectsAnUnauthorisedPeerWithTheReason) {
    authorised_ = false;
    const auto peer = connect();
    send(peer, "one\n");
    EXPECT_EQ(
        receive(peer, 2),
        R"({"error":"this user is not authorised to use the control socket: run as root or as a member of the )"
        R"(control_group in wispd's configuration","ok":false})"
        "\nEND");
}

TEST_F(WispdControlServer, IdleConnectionsExpire) {
    const auto silent = connect();
    const auto half = connect();
    send(half, "half a line");
    EXPECT_EQ(receive(silent, 1), "END");
    EXPECT_EQ(receive(half, 1), "END");
    EXPECT_TRUE(server_->connections().empty());
    EXPECT_EQ(receive(connect(), 1), "END"); // the next connection has the same time
}

TEST_F(WispdControlServer, CountsTheConnectionsOfEachUser) {
    const auto one = connect();
    const auto other = connect();
    send(other, "one\n");
    EXPECT_EQ(receive(other, 1), "got one\n");
    EXPECT_EQ(server_->connections(), (std::map<uid_t, std::size_t>{{geteuid(), 2}}));
}

TEST_F(WispdControlServer, OneThatDoesNotReadHoldsUpNobody) {
    const auto silent = connect();
    send(silent, "half a line");
    const auto peer = connect();
    send(peer, "one\n");
    EXPECT_EQ(receive(peer, 1), "got one\n");
}

TEST_F(WispdControlServer, AnswersManyLinesOfOneWriteInOrder) {
    std::string lines;
    std::string answers;
    for (int i = 0; i < 3000; ++i) {
        lines += "line" + std::to_string(i) + "\n";
        answers += "got line" + std::to_string(i) + "\n";
    }
    const auto peer = connect();
    send(peer, lines);
    EXPECT_EQ(receive(peer, 3000), answers);
    EXPECT_LT(turns_ended_, 3000) << "lines that arrive together share a turn";
    EXPECT_EQ(turns_begun_, turns_ended_);
}

TEST_F(WispdControlServer, WritesAnswersOnlyAfterTheEndOfTheTurn) {
    const auto peer = connect();
    int early = 0;
    on_turn_end_ = [&] {
        char byte = 0;
        early += recv(peer.get(), &byte, 1, MSG_PEEK) > 0 ? 1 : 0;
    };
    send(peer, "one\ntwo\n");
    EXPECT_EQ(receive(peer, 2), "got one\ngot two\n");
    EXPECT_GT(turns_ended_, 0);
    EXPECT_EQ(early, 0);
}

TEST_F(WispdControlServer, ALaterAnswerHoldsUpTheLinesBehindItAlone) {
    const auto peer = connect();
    send(peer, "one\nlater\ntwo\nthree\n");
    EXPECT_EQ(receive(peer, 1), "got one\n");
    context_.poll();
    EXPECT_EQ(lines_, 2);
    ASSERT_NE(later_, nullptr);
    later_();
    EXPECT_EQ(receive(peer, 3), "got later\ngot two\ngot three\n");
}

TEST_F(WispdControlServer, ALaterAnswerFollowsAnswersThatAreStillBeingWritten) {
    const auto peer = connect();
    std::string lines;
    std::string answers;
    for (int i = 0; i < 30; ++i) {
        lines += "big\n";
        answers += "got big" + std::string(30000, 'b') + "\n";
    }
    send(peer, lines + "later\ntwo\n");
    std::string got = receive(peer, 29);
    ASSERT_TRUE(hb_test::wait_until([this] {
        context_.poll();
        return later_ != nullptr;
    }));
    later_();
    got += receive(peer, 33 - static_cast<int>(std::count(got.begin(), got.end(), '\n')) - 1);
    EXPECT_TRUE(got == answers + "got later\ngot two\n");
}

TEST_F(WispdControlServer, OneThatReadsNoAnswersHasNoMoreLinesExecuted) {
    const auto peer = connect();
    const auto other = connect();
    std::string lines;
    std::string answers;
    for (int i = 0; i < 60; ++i) {
        lines += "big\n";
        answers += "got big" + std::string(30000, 'b') + "\n";
    }
    send(peer, lines);
    send(other, "one\n");
    EXPECT_EQ(receive(other, 1), "got one\n");
    for (int i = 0; i < 1000; ++i) {
        context_.poll();
    }
    EXPECT_LT(lines_, 30) << "the answers do not collect in memory";
    EXPECT_TRUE(receive(peer, 60) == answers);
}

TEST_F(WispdControlServer, LinesAfterAStopAreNotExecuted) {
    const auto peer = connect();
    send(peer, "one\nstop\ntwo\n");
    EXPECT_EQ(receive(peer, 2), "got one\ngot stop\n");
    context_.poll();
    EXPECT_TRUE(stopped_);
    EXPECT_EQ(lines_, 2);
}

TEST_F(WispdControlServer, TheLongestLineIsExecutedAndALongerOneIsNot) {
    const auto peer = connect();
    const std::string longest(65535, 'x');
    send(peer, "one\n" + longest + "\n" + "x" + longest + "\ntwo\n");
    EXPECT_EQ(receive(peer, 4), "got one\ngot " + longest +
                                    "\n"
                                    R"({"error":"the line is longer than 65536 bytes","ok":false})"
                                    "\nEND");
    EXPECT_EQ(lines_, 2);
}

// Each byte comes long before the idle time is over, and no line ever ends.
TEST_F(WispdControlServer, ALineThatNeverEndsDoesNotKeepAConnection) {
    const hb_test::Unique_Fd peer = connect();
    const Deadline deadline;
    char byte = 0;
    ssize_t count = -1;
    while (count != 0 && !deadline.over()) {
        ::send(peer.get(), "x", 1, MSG_NOSIGNAL);
        context_.run_for(20ms);
        count = recv(peer.get(), &byte, 1, 0);
    }
    EXPECT_EQ(count, 0) << "the connection was closed";
    EXPECT_EQ(lines_, 0);
}

} // namespace
