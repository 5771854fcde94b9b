// SPDX-License-Identifier: Apache-2.0
// A watch against a daemon that errs, floods or falls silent. The test plays the daemon in its own thread: no call of the
// watch blocks, so each step has its turn.
#include <climits>
#include <csignal>
#include <cstdint>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/support/records.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/watch/watch_parts.h"

namespace hb_test {
namespace {

constexpr int FOREIGN_INSTANCE = 13; // a record that no watch reads
constexpr int SUBSCRIBE = 209;

// Nodes 1 and 2 with adapters 2 and 4; node 1 is local.
Cluster_Facts two_nodes() {
    Cluster_Facts facts;
    facts.max_nodes = 4;
    facts.adapters = {{2, 0, ipv4(10, 1, 0, 1)}, {4, 0, ipv4(10, 1, 0, 2)}};
    facts.networks = {{"net_a"}};
    return facts;
}

Bytes event(int kind, int64_t sequence, const Bytes &body) {
    Reply_Header header;
    header.kind = kind;
    header.sequence = sequence;
    return frame(reply(header, body));
}

Bytes nodes(bool first, bool second) {
    return Bytes().i32(0).i32(first ? 1 : 0).i32(second ? 1 : 0).i32(0);
}

Bytes both_adapters() {
    return Bytes().i32(1).i32(2).i32(1).i32(4).i32(1);
}

Bytes configuration(const Cluster_Facts &facts) {
    return event(HBW_CONFIGURATION, 0, snapshot(facts));
}

// What the daemon answers to an opening.
Bytes everything() {
    return configuration(two_nodes())
        .add(event(HBW_ADAPTER_GROUP, 1, both_adapters()))
        .add(event(HBW_NODE_GROUP, 2, nodes(true, true)));
}

Bytes sign_of_life() {
    return event(HBW_ROUTE, 0, Bytes().zeros(176));
}

class Odd_Daemon : public testing::Test {
  protected:
    Odd_Daemon() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        listener_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(listener_.get(), 4), 0);
        hb_watch_default_options(&options_);
        options_.socket_path = path_.c_str();
        options_.check_interval = 0;
    }

    void open() { watch_.reset(hb_watch_open(&options_)); }

    int next() { return hb_watch_next(watch_.get(), &report_); }

    // Opens the watch, and accepts its connection.
    void open_and_accept() {
        open();
        ASSERT_NE(watch_, nullptr);
        EXPECT_EQ(next(), 0);
        accept_connection();
    }

    void accept_connection() {
        connection_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        ASSERT_TRUE(connection_);
    }

    void send(const Bytes &bytes) {
        ASSERT_EQ(::send(connection_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    // Reads all reports until `kind`, and returns whether it came.
    bool reaches(int kind) {
        while (next() == 1) {
            if (report_.kind == kind) {
                return true;
            }
        }
        return false;
    }

    void open_and_become_current() {
        open_and_accept();
        send(everything());
        send(sign_of_life());
        ASSERT_TRUE(reaches(HB_WATCH_CURRENT));
        EXPECT_EQ(next(), 0);
    }

    // How many requests of a kind the watch has sent. Those that came earlier are not counted again.
    int requests_of(int kind) {
        unsigned char buffer[65536];
        for (ssize_t count = 0; (count = recv(connection_.get(), buffer, sizeof buffer, 0)) > 0;) {
            received_.insert(received_.end(), buffer, buffer + count);
            next(); // sends what had no room
        }
        int found = 0;
        std::size_t at = 0;
        while (at + 4 <= received_.size()) {
            found += received_.i32_at(at + 12) == kind ? 1 : 0;
            at += 4 + static_cast<std::size_t>(received_.i32_at(at));
        }
        received_ = received_.from(at);
        return found;
    }

    bool is_readable(int timeout = 0) const {
        pollfd ready{hb_watch_descriptor(watch_.get()), POLLIN, 0};
        return poll(&ready, 1, timeout) == 1;
    }

    struct Close {
        void operator()(Hb_Watch *watch) const { hb_watch_close(watch); }
    };

    Temp_Dir directory_;
    std::string path_ = directory_.file("s");
    Unique_Fd listener_;
    Unique_Fd connection_;
    Bytes received_;
    Hb_Watch_Options options_{};
    std::unique_ptr<Hb_Watch, Close> watch_;
    Hb_Watch_Report report_{};
};

// The node's number becomes the length of a request: an impossible one must not become an endless request.
TEST_F(Odd_Daemon, RejectsALocalNodeThatCannotExist) {
    for (const int local_node : {int{HB_NODE_SLOTS}, 0x7FFF, -1}) {
        Cluster_Facts facts = two_nodes();
        facts.local_node = local_node;
        open_and_accept();
        send(configuration(facts));
        ASSERT_EQ(next(), 1) << local_node;
        EXPECT_EQ(report_.kind, HB_WATCH_UNREACHABLE);
        EXPECT_EQ(report_.error, HB_ERROR_UNEXPECTED_REPLY);
    }
}

// The daemon sends more than one call reads, and only the end of it is a report.
TEST_F(Odd_Daemon, DoesNotExtendAWaitByAFlood) {
    open_and_become_current();
    Bytes many;
    for (int64_t sequence = 3; sequence < 1003; ++sequence) {
        many.add(event(FOREIGN_INSTANCE, sequence, Bytes().zeros(20)));
    }
    send(many.add(event(HBW_NODE_DEATH, 1003, nodes(false, true))));
    EXPECT_EQ(hb_watch_wait(watch_.get(), &report_, 0), 0);
    EXPECT_EQ(hb_watch_wait(watch_.get(), &report_, 10000), 1);
}

// The child's copy of the connection stays open. The parent must not wait on it any more.
TEST_F(Odd_Daemon, LeavesALostConnectionThatAChildStillHolds) {
    options_.retry_min = 100000;
    options_.retry_max = 100000;
    open_and_become_current();
    const pid_t child = fork();
    if (child == 0) {
        pause();
        _exit(0);
    }
    shutdown(connection_.get(), SHUT_RDWR);
    EXPECT_TRUE(reaches(HB_WATCH_UNREACHABLE));
    EXPECT_EQ(next(), 0);
    EXPECT_FALSE(is_readable());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// An edge-triggered user is notified of changes only, and calls until there is no report.
TEST_F(Odd_Daemon, WakesAnEdgeTriggeredUserForWhatACallLeft) {
    open_and_become_current();
    const Unique_Fd outer(epoll_create1(EPOLL_CLOEXEC));
    epoll_event wanted{EPOLLIN | EPOLLET, {}};
    ASSERT_EQ(epoll_ctl(outer.get(), EPOLL_CTL_ADD, hb_watch_descriptor(watch_.get()), &wanted), 0);
    Bytes many;
    for (int64_t sequence = 3; sequence < 203; ++sequence) {
        many.add(event(FOREIGN_INSTANCE, sequence, Bytes().zeros(20)));
    }
    many.add(event(HBW_NODE_DEATH, 203, nodes(false, true)));
    send(many);
    bool died = false;
    epoll_event ready{};
    while (!died && epoll_wait(outer.get(), &ready, 1, 1000) == 1) {
        died = reaches(HB_WATCH_NODE_DIED);
    }
    EXPECT_TRUE(died);
}

TEST_F(Odd_Daemon, EndsTheNetworksAfterTheHighestNumber) {
    open_and_become_current();
    EXPECT_EQ(hb_watch_next_network(watch_.get(), -1), 0);
    EXPECT_EQ(hb_watch_next_network(watch_.get(), 0), -1);
    EXPECT_EQ(hb_watch_next_network(watch_.get(), INT_MAX), -1);
    EXPECT_EQ(hb_watch_next_node(watch_.get(), INT_MAX), -1);
}

} // namespace

} // namespace hb_test
