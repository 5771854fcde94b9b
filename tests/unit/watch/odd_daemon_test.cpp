// SPDX-License-Identifier: Apache-2.0
// A watch against a daemon that errs, floods or falls silent. The test plays the daemon in its own thread: no call of the
// watch blocks, so each step has its turn.
#include <cerrno>
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
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/support/records.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/watch/watch_parts.h"

namespace {

int signal_in_reading = 0; // raised by the next reading

} // namespace

// In place of the C library's function, so that a signal comes at a chosen moment.
extern "C" ssize_t recv(int socket, void *buffer, size_t size, int flags) {
    if (signal_in_reading != 0) {
        raise(std::exchange(signal_in_reading, 0));
    }
    return recvfrom(socket, buffer, size, flags, nullptr, nullptr);
}

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

TEST_F(Odd_Daemon, RejectsAnEmptyPath) {
    options_.socket_path = "";
    errno = 0;
    open();
    EXPECT_EQ(watch_, nullptr);
    EXPECT_EQ(errno, EINVAL);
}

// A daemon that hangs is replaced: only a new connection reaches its successor.
TEST_F(Odd_Daemon, LeavesAConnectionThatStaysSilent) {
    options_.answer_timeout = 50;
    options_.retry_min = 1;
    open_and_accept();
    ASSERT_EQ(hb_watch_wait(watch_.get(), &report_, 10000), 1);
    EXPECT_EQ(report_.kind, HB_WATCH_UNREACHABLE);
    EXPECT_EQ(report_.error, HB_ERROR_TIMEOUT);
    pollfd waiting{listener_.get(), POLLIN, 0};
    while (poll(&waiting, 1, 0) == 0) {
        ASSERT_EQ(hb_watch_wait(watch_.get(), &report_, 10), 0);
    }
    accept_connection();
    send(everything());
    send(sign_of_life());
    EXPECT_TRUE(reaches(HB_WATCH_CURRENT));
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

// A handler that runs while the watch reads, and not while it waits, must end the wait, too.
TEST_F(Odd_Daemon, EndsAWaitByASignalAtAnyMoment) {
    static volatile sig_atomic_t ran;
    ran = 0;
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) { ran = 1; };
    action.sa_flags = SA_RESTART;
    sigaction(SIGUSR1, &action, &before);
    open_and_become_current();
    signal_in_reading = SIGUSR1;
    send(event(FOREIGN_INSTANCE, 3, Bytes().zeros(20)));
    errno = 0;
    EXPECT_EQ(hb_watch_wait(watch_.get(), &report_, 3000), -1);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(ran, 1);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGUSR1), 0);
    sigaction(SIGUSR1, &before, nullptr);
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

// A comparison that is under way answers for all that was missed before its answers.
TEST_F(Odd_Daemon, ComparesOnceMoreForAnyNumberOfGaps) {
    open_and_become_current();
    EXPECT_EQ(requests_of(SUBSCRIBE), 2);
    for (int64_t sequence = 10; sequence < 1000; sequence += 10) {
        send(event(FOREIGN_INSTANCE, sequence, Bytes().zeros(20)));
    }
    while (is_readable()) {
        ASSERT_EQ(next(), 0) << report_.kind;
    }
    EXPECT_EQ(requests_of(SUBSCRIBE), 2);
    send(configuration(two_nodes()));
    send(event(HBW_ADAPTER_GROUP, 1000, both_adapters())); // after another gap
    send(event(HBW_NODE_GROUP, 1001, nodes(true, true)));
    send(sign_of_life());
    while (is_readable()) {
        ASSERT_EQ(next(), 0) << report_.kind;
    }
    EXPECT_EQ(requests_of(SUBSCRIBE), 2);
    send(configuration(two_nodes()));
    send(event(HBW_ADAPTER_GROUP, 1002, both_adapters()));
    send(event(HBW_NODE_GROUP, 1003, nodes(true, false)));
    send(sign_of_life());
    ASSERT_TRUE(reaches(HB_WATCH_NODE_DIED));
    EXPECT_EQ(report_.node, 2);
    EXPECT_EQ(report_.flags, static_cast<uint32_t>(HB_WATCH_CAUGHT_UP));
    while (is_readable()) {
        ASSERT_EQ(next(), 0) << report_.kind;
    }
    EXPECT_EQ(requests_of(SUBSCRIBE), 0);
}

// A group that was lost itself cannot arrive: the watch subscribes again.
TEST_F(Odd_Daemon, ComparesAgainWhenAGapSwallowedTheGroup) {
    open_and_become_current();
    send(event(FOREIGN_INSTANCE, 10, Bytes().zeros(20)));
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(requests_of(SUBSCRIBE), 4);
    send(configuration(two_nodes()));
    send(event(HBW_NODE_GROUP, 12, nodes(true, true)));
    send(sign_of_life());
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(requests_of(SUBSCRIBE), 2);
    send(configuration(two_nodes()));
    send(event(HBW_ADAPTER_GROUP, 13, Bytes().i32(0).i32(2).i32(1)));
    send(event(HBW_NODE_GROUP, 14, nodes(true, true)));
    send(sign_of_life());
    ASSERT_TRUE(reaches(HB_WATCH_ADAPTER_DIED));
    EXPECT_EQ(report_.adapter, 4U);
    EXPECT_TRUE(hb_watch_is_current(watch_.get()));
}

// The numbers continue with 0, which a reply has, or with 1.
TEST_F(Odd_Daemon, CountsEventsBeyondTheHighestNumber) {
    for (const bool with_zero : {true, false}) {
        open_and_accept();
        send(configuration(two_nodes()));
        send(event(HBW_ADAPTER_GROUP, 0x7FFFFFFF, both_adapters()));
        send(event(HBW_NODE_GROUP, 0xFFFFFFFD, nodes(true, true)));
        send(sign_of_life());
        EXPECT_FALSE(reaches(HB_WATCH_UNREACHABLE));
        send(configuration(two_nodes()));
        send(event(HBW_ADAPTER_GROUP, 0xFFFFFFFE, both_adapters()));
        send(event(HBW_NODE_GROUP, 0xFFFFFFFF, nodes(true, true)));
        send(sign_of_life());
        EXPECT_TRUE(reaches(HB_WATCH_CURRENT));
        EXPECT_EQ(requests_of(SUBSCRIBE), 4);
        if (with_zero) {
            send(event(FOREIGN_INSTANCE, 0, Bytes().zeros(20)));
        }
        send(event(HBW_NODE_DEATH, 1, nodes(false, true)));
        EXPECT_TRUE(reaches(HB_WATCH_NODE_DIED));
        EXPECT_EQ(report_.flags, 0U);
        EXPECT_EQ(requests_of(SUBSCRIBE), 0);
        received_.clear();
    }
}

// Who is up has no meaning before the configuration that it is about.
TEST_F(Odd_Daemon, DoesNotReportAClusterThatItCannotKnow) {
    open_and_accept();
    send(event(HBW_ADAPTER_GROUP, 1, both_adapters()));
    send(event(HBW_NODE_GROUP, 2, nodes(true, true)));
    send(configuration(two_nodes()));
    send(sign_of_life());
    ASSERT_EQ(next(), 1);
    EXPECT_EQ(report_.kind, HB_WATCH_UNREACHABLE);
    EXPECT_EQ(report_.error, HB_ERROR_UNEXPECTED_REPLY);
}

TEST_F(Odd_Daemon, ReportsOnlyWhatIsWatched) {
    options_.what = HB_WATCH_NODES;
    open_and_accept();
    send(everything());
    send(event(HBW_ADAPTER_DEATH, 3, Bytes().i32(0).i32(2).i32(1)));
    send(sign_of_life());
    while (next() == 1) {
        EXPECT_NE(report_.kind, HB_WATCH_ADAPTER_JOINED);
        EXPECT_NE(report_.kind, HB_WATCH_ADAPTER_DIED);
    }
    EXPECT_EQ(hb_watch_adapter_state(watch_.get(), 2), Hb_Entity_Undef);
    EXPECT_EQ(hb_watch_node_state(watch_.get(), 2), Hb_Entity_Up);
}

// The first connection ends before the nodes are known. What it reported was known until its last record.
TEST_F(Odd_Daemon, KnowsUntilWhenAnIncompleteAccountWasTrue) {
    options_.retry_min = 1;
    options_.retry_max = 1;
    open_and_accept();
    send(configuration(two_nodes()));
    send(event(HBW_ADAPTER_GROUP, 1, both_adapters()));
    EXPECT_TRUE(reaches(HB_WATCH_ADAPTER_JOINED));
    const int64_t joined = report_.time;
    connection_.reset();
    EXPECT_TRUE(reaches(HB_WATCH_UNREACHABLE));
    const int64_t lost = report_.time;
    ASSERT_EQ(hb_watch_wait(watch_.get(), &report_, 20), 0); // connects again
    accept_connection();
    send(configuration(two_nodes()));
    send(event(HBW_ADAPTER_GROUP, 1, Bytes().i32(0).i32(2).i32(1)));
    ASSERT_TRUE(reaches(HB_WATCH_ADAPTER_DIED));
    EXPECT_EQ(report_.flags, static_cast<uint32_t>(HB_WATCH_CAUGHT_UP));
    EXPECT_GE(report_.since, joined);
    EXPECT_LE(report_.since, lost);
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
