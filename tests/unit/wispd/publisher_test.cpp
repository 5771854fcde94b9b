// SPDX-License-Identifier: Apache-2.0
// The publisher over real sockets, in one thread. The test runs it until the expected result has arrived.
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/socket.h>
#include <sys/un.h>

#include <asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/publisher.h"
#include "host/socket_file.h"
#include "host/text.h"
#include "tests/support/deadline.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/wispd/bytes_by_hand.h"
#include "tests/unit/wispd/log_fixture.h"

namespace {

using hb_test::Deadline;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using wispd::Cluster;
using wispd::Configuration;
using wispd_test::field;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::three_nodes;
using wispd_test::zeros;

using Record = std::vector<char>;

int int_at(const Record &record, std::size_t offset) {
    int32_t value = -1;
    std::memcpy(&value, record.data() + offset, sizeof value);
    return value;
}

// Offsets in a packet, without the length prefix.
int kind_of(const Record &record) {
    return int_at(record, 0);
}
int status_of(const Record &record) {
    return int_at(record, 20);
}
std::string name_of(const Record &record) {
    return std::string(record.data() + 24);
}
std::string failure_of(const Record &record) {
    return std::string(record.data() + 60);
}
int sequence_of(const Record &record) {
    return int_at(record, 104);
}
Record body_of(const Record &record) {
    return {record.begin() + 108, record.end()};
}

std::vector<char> little(int32_t value) {
    std::vector<char> bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

Record request(int kind, const std::vector<char> &body) {
    const auto size = static_cast<int32_t>(body.size());
    return join(little(76 + size), zeros(8), little(kind), little(size), zeros(60), body);
}

Record subscription(int type, int events, const char *name, const std::vector<char> &bitmap = {}) {
    std::vector<char> body = join(little(type), zeros(4), little(events), field(name, 32), zeros(8), bitmap);
    body.resize(12348);
    return request(209, body);
}

// The bits of these numbers, the most significant bit first.
std::vector<char> bits(std::initializer_list<int> numbers) {
    std::vector<char> bitmap(16);
    for (int number : numbers) {
        char &byte = bitmap[static_cast<std::size_t>(number / 8)];
        byte = static_cast<char>(byte | (0x80 >> (number % 8)));
    }
    return bitmap;
}

class WispdPublisher : public testing::Test {
  protected:
    static constexpr std::size_t QUEUE = 1 << 20;

    class Peer {
      public:
        Peer(asio::io_context &context, const std::string &path)
            : context_(context), socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            path.copy(address.sun_path, sizeof address.sun_path - 1);
            EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address),
                      0);
            fcntl(socket_.get(), F_SETFL, O_NONBLOCK);
        }

        void send(const std::vector<char> &bytes) {
            std::size_t done = 0;
            const Deadline deadline;
            while (done < bytes.size() && !deadline.over()) {
                const ssize_t count =
                    ::send(socket_.get(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
                done += count > 0 ? static_cast<std::size_t>(count) : 0;
                context_.poll();
            }
            EXPECT_EQ(done, bytes.size());
        }

        // The next record without its length prefix; empty at the end of the stream.
        Record next() {
            const Deadline deadline;
            while (!deadline.over()) {
                if (pending_.size() >= 4) {
                    const auto size = static_cast<std::size_t>(int_at(pending_, 0));
                    if (pending_.size() >= 4 + size) {
                        Record record(pending_.begin() + 4,
                                      pending_.begin() + 4 + static_cast<std::ptrdiff_t>(size));
                        pending_.erase(pending_.begin(),
                                       pending_.begin() + 4 + static_cast<std::ptrdiff_t>(size));
                        return record;
                    }
                }
                context_.poll();
                char buffer[65536];
                const ssize_t count = recv(socket_.get(), buffer, sizeof buffer, 0);
                if (count > 0) {
                    pending_.insert(pending_.end(), buffer, buffer + count);
                } else if (count == 0 || errno == ECONNRESET) {
                    return {};
                }
            }
            ADD_FAILURE() << "nothing came";
            return {};
        }

        // Drops what the socket holds, and sends bytes. wispd notices neither before the loop runs again.
        void drain_and_send(const std::vector<char> &bytes) {
            char buffer[65536];
            while (recv(socket_.get(), buffer, sizeof buffer, 0) > 0) {
            }
            EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                      static_cast<ssize_t>(bytes.size()));
        }

        // When the answer to a request has arrived, everything sent before has been processed. The first record
        // that is not an event is the answer.
        std::vector<Record> until_answer() {
            send(request(201, {}));
            std::vector<Record> events;
            for (Record record = next(); !record.empty(); record = next()) {
                if (kind_of(record) == 0) {
                    return events;
                }
                events.push_back(std::move(record));
            }
            ADD_FAILURE() << "the connection ended before the answer";
            return events;
        }

      private:
        asio::io_context &context_;
        hb_test::Unique_Fd socket_;
        Record pending_;
    };

    explicit WispdPublisher(const Configuration &configuration = three_nodes())
        : cluster_(configuration), file_(directory_.file("s"), {}) {
        file_.listen();
        wispd::Client_Handlers handlers;
        handlers.may_act = [this](const wispd::Peer &) { return trusted_; };
        handlers.act = [this](const wispd::Node_Request &request) {
            return control_.act(request, std::chrono::steady_clock::now());
        };
        handlers.changed = [this](const wispd::Changes &changes) { tell(changes); };
        handlers.deliver = [this](const wispd::Multicast &multicast) {
            multicasts_.push_back(multicast);
            return wispd::Delivery{{3}, {}, {5}, {{7, "it is full"}}};
        };
        handlers.need_routes = [this] { on_need_of_routes_(); };
        publisher_.emplace(context_, file_.release(), cluster_, routes_, wispd::Publisher_Limits{QUEUE, {}},
                           client_log_, std::move(handlers));
    }

    Peer connect() { return Peer(context_, file_.path()); }
    // The title of the first client.
    static std::string who() { return wispd::text("client 1 (pid ", getpid(), ", uid ", geteuid(), ")"); }
    void tell(const wispd::Changes &changes) { publisher_->announce(changes, "FAILURE-1"); }

    hb_test::Temp_Dir directory_;
    asio::io_context context_;
    Cluster cluster_;
    wispd::Node_Control control_{cluster_, {}};
    wispd::Routes routes_ = compute_routes(cluster_);
    bool trusted_ = true;
    std::function<void()> on_need_of_routes_ = [] {};
    std::vector<wispd::Multicast> multicasts_;
    wispd::Socket_File file_;
    wispd::Client_Log client_log_;
    std::optional<wispd::Publisher> publisher_;
};

TEST_F(WispdPublisher, AnswersTheConfigurationWithSequenceZero) {
    Peer peer = connect();
    peer.send(request(201, {}));
    const Record answer = peer.next();
    EXPECT_EQ(kind_of(answer), 0);
    EXPECT_EQ(sequence_of(answer), 0);
    EXPECT_EQ(answer.size(), 108u + 20u + 6u * 64u + 2u * 86u);
    EXPECT_EQ(Record(answer.begin() + 108, answer.begin() + 128),
              hex("0100 0000 08000000 02000000 06000000 02000000"));
}

TEST_F(WispdPublisher, NewNodeSubscriptionIsToldWhoIsUp) {
    cluster_.node_down(3);
    Peer peer = connect();
    peer.send(subscription(1, 7, "nodes"));
    const Record event = peer.next();
    EXPECT_EQ(kind_of(event), 7);
    EXPECT_EQ(name_of(event), "nodes");
    EXPECT_EQ(status_of(event), 0);
    EXPECT_EQ(sequence_of(event), 1);
    EXPECT_EQ(body_of(event), hex("00000000 01000000 01000000 00000000 00000000 00000000 00000000 00000000"));
}

TEST_F(WispdPublisher, NewAdapterSubscriptionIsToldMembersLeaderAndGroup) {
    cluster_.adapter_down(4);
    cluster_.adapter_up(4);
    Peer peer = connect();
    peer.send(subscription(2, 4, "some", bits({4, 7, 9})));
    const Record event = peer.next();
    EXPECT_EQ(kind_of(event), 4);
    EXPECT_EQ(int_at(event, 4), 4);  // leader_id
    EXPECT_EQ(int_at(event, 12), 4); // group_id: leader
    EXPECT_EQ(int_at(event, 16), 3); // group_id: incarnation after two changes
    EXPECT_EQ(status_of(event), 0);
    EXPECT_EQ(body_of(event), hex("01000000 04000000 02000000 07000000 01000000"));
}

TEST_F(WispdPublisher, NewAdapterSubscriptionWithNobodyUpIsToldNobody) {
    Peer peer = connect();
    peer.send(subscription(2, 4, "none", bits({9})));
    const Record event = peer.next();
    EXPECT_EQ(int_at(event, 4), -1);
    EXPECT_EQ(body_of(event), hex("ffffffff"));
}

TEST_F(WispdPublisher, AllAdaptersAndANetworksAdaptersAreTold) {
    Peer peer = connect();
    peer.send(subscription(3, 4, "all"));
    EXPECT_EQ(body_of(peer.next()), hex("05000000 02000000 01000000 03000000 01000000 04000000 01000000"
                                        "05000000 01000000 06000000 01000000 07000000 01000000"));
    peer.send(subscription(5, 4, "net_b", bits({3, 5, 7})));
    EXPECT_EQ(body_of(peer.next()), hex("02000000 03000000 01000000 05000000 01000000 07000000 01000000"));
}

TEST_F(WispdPublisher, SubscriptionWithoutNewGroupIsToldNothingAtFirst) {
    Peer peer = connect();
    peer.send(subscription(1, 3, "nodes"));
    EXPECT_TRUE(peer.until_answer().empty());
}

TEST_F(WispdPublisher, DeathsCarryTheFailureAndArriveInOrder) {
    Peer peer = connect();
    peer.send(subscription(1, 3, "nodes"));
    peer.send(subscription(3, 3, "adapters"));
    peer.until_answer();
    tell(cluster_.node_down(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(kind_of(events[0]), 2);
    EXPECT_EQ(name_of(events[0]), "adapters");
    EXPECT_EQ(status_of(events[0]), 1);
    EXPECT_EQ(failure_of(events[0]), "FAILURE-1");
    EXPECT_EQ(sequence_of(events[0]), 1);
    EXPECT_EQ(body_of(events[0]), hex("01000000 06000000 01000000 07000000 01000000"));
    EXPECT_EQ(kind_of(events[1]), 5);
    EXPECT_EQ(name_of(events[1]), "nodes");
    EXPECT_EQ(status_of(events[1]), 1);
    EXPECT_EQ(failure_of(events[1]), "FAILURE-1");
    EXPECT_EQ(sequence_of(events[1]), 2);
    EXPECT_EQ(body_of(events[1]),
              hex("00000000 00000000 00000000 01000000 00000000 00000000 00000000 00000000"));
}

TEST_F(WispdPublisher, JoinsCarryNoFailure) {
    Peer peer = connect();
    peer.send(subscription(3, 2, "adapters"));
    peer.until_answer();
    tell(cluster_.node_down(3));
    tell(cluster_.node_up(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(kind_of(events[0]), 3);
    EXPECT_EQ(failure_of(events[0]), "");
    EXPECT_EQ(body_of(events[0]), hex("01000000 06000000 02000000 07000000 02000000"));
}

TEST_F(WispdPublisher, OnlySubscribedMembersAreTold) {
    Peer peer = connect();
    peer.send(subscription(2, 1, "six", bits({6})));
    peer.send(subscription(0, 1, "two", bits({2})));
    peer.until_answer();
    tell(cluster_.node_down(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(name_of(events[0]), "six");
    EXPECT_EQ(body_of(events[0]), hex("00000000 06000000 01000000"));
}

TEST_F(WispdPublisher, LeavingIsDeathsThenUpdate) {
    Peer peer = connect();
    peer.send(subscription(1, 7, "nodes"));
    peer.send(subscription(3, 3, "adapters"));
    peer.until_answer();
    tell(cluster_.node_leave(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(kind_of(events[0]), 2);
    EXPECT_EQ(body_of(events[0]), hex("01000000 06000000 01000008 07000000 01000008"));
    EXPECT_EQ(kind_of(events[1]), 5);
    EXPECT_EQ(kind_of(events[2]), 9);
    EXPECT_EQ(sequence_of(events[2]), 4);
    EXPECT_EQ(int_at(events[2], 108 + 12), 4); // adapters left in the configuration
}

TEST_F(WispdPublisher, JoiningIsUpdateThenJoins) {
    cluster_.node_leave(3);
    Peer peer = connect();
    peer.send(subscription(1, 3, "nodes"));
    peer.send(subscription(3, 3, "adapters"));
    peer.until_answer();
    tell(cluster_.node_join(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(kind_of(events[0]), 9);
    EXPECT_EQ(int_at(events[0], 108 + 12), 6);
    EXPECT_EQ(kind_of(events[1]), 3);
    EXPECT_EQ(kind_of(events[2]), 6);
}

TEST_F(WispdPublisher, NodeListsFollowTheGeometryOfTheirMoment) {
    Configuration smaller = three_nodes();
    smaller.max_nodes = 5;
    smaller.nodes[2].number = 4;
    Peer peer = connect();
    peer.send(subscription(1, 3, "nodes"));
    peer.until_answer();
    tell(cluster_.reconfigure(smaller));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(body_of(events[0]).size(), 8u * 4u);
    EXPECT_EQ(int_at(events[1], 108 + 4), 5);
    EXPECT_EQ(body_of(events[2]), hex("00000000 00000000 00000000 00000000 01000000"));
}

TEST_F(WispdPublisher, AllCoversMembersThatComeLater) {
    Peer peer = connect();
    peer.send(subscription(3, 2, "adapters"));
    peer.until_answer();
    tell(cluster_.adapter_join(10, wispd::parse_address("10.1.0.5"), {}));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(body_of(events[1]), hex("00000000 0a000000 01000000"));
}

TEST_F(WispdPublisher, ClientWithoutASubscriptionGetsNothingUnasked) {
    Peer peer = connect();
    peer.until_answer();
    tell(cluster_.node_leave(3));
    tell(cluster_.report_failure("ID"));
    EXPECT_TRUE(peer.until_answer().empty());
}

TEST_F(WispdPublisher, UpdateThatWasKeptBackComesBeforeTheFirstSubscriptionsEvents) {
    Peer peer = connect();
    peer.until_answer();
    tell(cluster_.node_leave(3));
    peer.send(subscription(1, 4, "nodes"));
    const Record update = peer.next();
    EXPECT_EQ(kind_of(update), 9);
    EXPECT_EQ(sequence_of(update), 1);
    EXPECT_EQ(kind_of(peer.next()), 7);
}

TEST_F(WispdPublisher, FailureIdentifierGoesOnceToEachSubscriber) {
    Peer peer = connect();
    peer.send(subscription(1, 1, "a"));
    peer.send(subscription(3, 1, "b"));
    peer.until_answer();
    tell(cluster_.report_failure("ID-77"));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(kind_of(events[0]), 12);
    EXPECT_EQ(name_of(events[0]), "Hb_FFDC_Group");
    EXPECT_EQ(failure_of(events[0]), "ID-77");
    EXPECT_EQ(events[0].size(), 108u);
}

TEST_F(WispdPublisher, HeartbeatGoesToThoseWhoAskedForIt) {
    Peer peer = connect();
    peer.send(subscription(1, 1, "deaths"));
    peer.send(subscription(1, 512, "beats"));
    EXPECT_TRUE(peer.until_answer().empty());
    tell(cluster_.set_heartbeat({2, 500000, true}));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(kind_of(events[0]), 15);
    EXPECT_EQ(name_of(events[0]), "beats");
    EXPECT_EQ(body_of(events[0]), join(hex("02000000 20a10700 01000000"), little(getpid())));
}

TEST_F(WispdPublisher, SettingsInForceAreToldToANewHeartbeatSubscription) {
    cluster_.set_heartbeat({1, 0, false});
    Peer peer = connect();
    peer.send(subscription(1, 512, "beats"));
    EXPECT_EQ(body_of(peer.next()), join(hex("01000000 00000000 00000000"), little(getpid())));
}

TEST_F(WispdPublisher, ForeignInstanceGoesToThoseWhoAskedForIt) {
    Peer peer = connect();
    peer.send(subscription(6, 256, "foreign"));
    peer.send(subscription(1, 1, "deaths"));
    peer.until_answer();
    tell(cluster_.report_foreign_instance({wispd::parse_address("192.0.2.7").value(), 9}));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(kind_of(events[0]), 13);
    EXPECT_EQ(name_of(events[0]), "foreign");
    EXPECT_EQ(body_of(events[0]), hex("00000000 00000000 0000ffff c0000207 09000000"));
}

TEST_F(WispdPublisher, SameNameReplacesTheSubscription) {
    Peer peer = connect();
    peer.send(subscription(1, 7, "x"));
    peer.send(subscription(2, 1, "x", bits({6})));
    peer.until_answer();
    tell(cluster_.node_down(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(kind_of(events[0]), 2);
}

TEST_F(WispdPublisher, UnsubscribeEndsOneSubscription) {
    Peer peer = connect();
    peer.send(subscription(1, 1, "a"));
    peer.send(subscription(1, 1, "b"));
    peer.send(request(210, hex("61 00")));
    peer.until_answer();
    tell(cluster_.node_down(3));
    const std::vector<Record> events = peer.until_answer();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(name_of(events[0]), "b");
}

TEST_F(WispdPublisher, OddRequestsAreIgnoredAndTheConnectionStays) {
    Peer peer = connect();
    peer.send(subscription(4, 1, "empty"));
    peer.send(subscription(0, 8, "mask"));
    peer.send(request(209, zeros(100)));
    peer.send(request(210, {}));
    peer.send(request(206, zeros(98351)));
    peer.send(request(202, {}));
    peer.send(request(224, {}));
    peer.send(request(207, zeros(3)));
    peer.send(request(217, {}));
    peer.send(request(221, zeros(59)));
    peer.send(request(222, zeros(5)));
    peer.send(request(225, zeros(36)));
    peer.send(request(200, {}));
    peer.send(request(228, {}));
    peer.send(request(-1, {}));
    EXPECT_TRUE(peer.until_answer().empty());
    EXPECT_EQ(publisher_->clients().at(0).subscriptions.size(), 0u);
}

// ---- Requests about the node ----

// An answer apart from its body: everything except kind and status is zero.
Record answer(int kind, int status, const std::vector<char> &body = {}) {
    return join(little(kind), zeros(52), little(status), zeros(48), body);
}

TEST_F(WispdPublisher, AdapterConfigurationIsAnsweredBeforeItsEvents) {
    Peer peer = connect();
    peer.send(subscription(3, 3, "adapters"));
    peer.until_answer();
    peer.send(request(215, hex("0100")));
    EXPECT_EQ(peer.next(), answer(10, 0));
    EXPECT_EQ(kind_of(peer.next()), 2);
    EXPECT_EQ(kind_of(peer.next()), 9);
    peer.send(request(214, hex("0100 0000 0a02000a")));
    EXPECT_EQ(peer.next(), answer(10, 0));
    const Record update = peer.next();
    EXPECT_EQ(kind_of(update), 9);
    EXPECT_EQ(Record(update.begin() + 108 + 20 + 64, update.begin() + 108 + 20 + 64 + 16),
              hex("00000000 00000000 0000ffff 0a02000a"));
    EXPECT_EQ(kind_of(peer.next()), 3);
    peer.send(request(218, hex("0000 0000 0a02000a")));
    EXPECT_EQ(peer.next(), answer(10, 0));
    EXPECT_EQ(kind_of(peer.next()), 9);
}

TEST_F(WispdPublisher, EveryRefusalHasItsStatus) {
    Peer peer = connect();
    const auto ask = [&](int kind, const std::vector<char> &body) {
        peer.send(request(kind, body));
        return peer.next();
    };
    EXPECT_EQ(ask(214, hex("0200 0000 0a020009")), answer(10, 4)); // no such adapter
    EXPECT_EQ(ask(214, hex("0000 0000 0a010003")), answer(10, 5)); // an address of node 3
    EXPECT_EQ(ask(214, hex("0000 0000 e0000001")), answer(10, 6)); // a multicast address
    EXPECT_EQ(ask(215, hex("ffff")), answer(10, 4));
    EXPECT_EQ(ask(218, hex("0000 0000 0a010003")), answer(10, 4)); // not a local one
    EXPECT_EQ(ask(216, hex("0000 0000 ffffffff")), answer(11, 7));
    EXPECT_EQ(ask(216, hex("0000 0000 05000000")), answer(11, 0));
    EXPECT_EQ(ask(216, hex("0000 0000 05000000")), answer(11, 9));
    cluster_.adapter_down(3);
    EXPECT_EQ(ask(216, hex("0100 0000 05000000")), answer(11, 8));
    for (int kind : {214, 215, 218}) {
        EXPECT_EQ(ask(kind, hex("00")), answer(10, 1)) << kind;
    }
    EXPECT_EQ(ask(216, hex("0000")), answer(11, 1));
    EXPECT_EQ(ask(223, {}), answer(14, 1));
}

TEST_F(WispdPublisher, AdapterStateIsInTheAnswer) {
    Peer peer = connect();
    peer.send(request(223, hex("0000")));
    EXPECT_EQ(peer.next(), answer(14, 0, hex("01000000")));
    cluster_.adapter_down(2);
    peer.send(request(223, hex("0000")));
    EXPECT_EQ(peer.next(), answer(14, 0, hex("02000000")));
    peer.send(request(223, hex("0500")));
    EXPECT_EQ(peer.next(), answer(14, 4, hex("00000000")));
}

TEST_F(WispdPublisher, RouteIsAnsweredWithItsHops) {
    Peer peer = connect();
    peer.send(request(211, zeros(3)));
    EXPECT_EQ(peer.next(), answer(8, 2,
                                  join(hex("00000000 00000000 0000ffff 0a010001"),
                                       hex("00000000 00000000 0000ffff 0a010003"), zeros(144))));
    for (std::size_t nobody : {0u, 7u, 8u, 98351u}) {
        peer.send(request(211, zeros(nobody)));
        EXPECT_EQ(peer.next(), answer(8, 0, zeros(176))) << nobody;
    }
}

TEST_F(WispdPublisher, ReportedDeathsAreToldToEverySubscriber) {
    Peer reporter = connect();
    Peer other = connect();
    other.send(subscription(1, 3, "nodes"));
    other.until_answer();
    reporter.send(request(204, zeros(3)));
    reporter.until_answer();
    EXPECT_EQ(kind_of(other.next()), 5);
}

TEST_F(WispdPublisher, LastHeartbeatOfEachClientIsKept) {
    Peer peer = connect();
    Peer silent = connect();
    peer.send(request(222, hex("01000000")));
    peer.send(request(222, hex("ffffffff")));
    peer.send(request(222, hex("01")));
    peer.until_answer();
    silent.until_answer();
    EXPECT_EQ(publisher_->clients().at(0).heartbeat, 4294967295u);
    EXPECT_FALSE(publisher_->clients().at(1).heartbeat.has_value());
}

TEST_F(WispdPublisher, MulticastIsHandedOn) {
    Peer peer = connect();
    peer.send(request(221, join(hex("23280000 14000000 01000000"), zeros(40), hex("01000000 03000000 02000000"),
                                hex("6869"))));
    peer.until_answer();
    ASSERT_EQ(multicasts_.size(), 1u);
    EXPECT_EQ(multicasts_[0].port, 9000);
    EXPECT_EQ(multicasts_[0].payload, hex("6869"));
}

TEST_F(WispdPublisher, WhoMayNotActIsRefusedAndMayStillAsk) {
    trusted_ = false;
    Peer peer = connect();
    peer.send(subscription(3, 3, "adapters"));
    for (int kind : {214, 218}) {
        peer.send(request(kind, hex("0000 0000 0a02000a")));
        EXPECT_EQ(peer.next(), answer(10, 3)) << kind;
    }
    peer.send(request(215, hex("0000")));
    EXPECT_EQ(peer.next(), answer(10, 3));
    peer.send(request(216, hex("0000 0000 05000000")));
    EXPECT_EQ(peer.next(), answer(11, 1));
    for (int kind : {203, 204, 205, 206, 207, 208, 212, 213, 217, 219, 220, 221, 225, 226, 227}) {
        peer.send(request(kind, hex("0000")));
    }
    peer.send(request(204, zeros(3)));
    peer.send(request(208, hex("0000")));
    peer.send(request(219, {}));
    EXPECT_TRUE(peer.until_answer().empty());
    EXPECT_EQ(cluster_.adapters_up().size(), 6u);
    EXPECT_FALSE(control_.discards_stale_messages());
    EXPECT_FALSE(control_.next_due().has_value());
    EXPECT_TRUE(multicasts_.empty());
    EXPECT_FALSE(publisher_->clients().at(0).may_act);
    peer.send(request(211, zeros(3)));
    EXPECT_EQ(kind_of(peer.next()), 8);
    peer.send(request(223, hex("0000")));
    EXPECT_EQ(peer.next(), answer(14, 0, hex("01000000")));
    peer.send(request(222, hex("01000000")));
    peer.until_answer();
    EXPECT_EQ(publisher_->clients().at(0).heartbeat, 1u);
}

// ---- Log lines ----

TEST_F(WispdPublisher, EachRejectedActionIsLoggedWithItsArguments) {
    const wispd_test::Captured_Log log;
    trusted_ = false;
    Peer peer = connect();
    for (int round = 0; round < 3; ++round) {
        peer.send(request(204, zeros(3)));
        peer.send(request(215, hex("0000")));
    }
    peer.send(request(221, join(hex("23280000 14000000 01000000"), zeros(40), hex("01000000 03000000 02000000"),
                                hex("6869"))));
    peer.send(request(227, hex("00")));
    peer.until_answer();
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 8u);
    for (std::size_t round = 0; round < 3; ++round) {
        EXPECT_THAT(lines[2 * round],
                    EndsWith(who() + " requested node is down (node 3): rejected; only root, wispd's user and "
                                     "members of act_group can act on the node"));
        EXPECT_THAT(lines[2 * round + 1],
                    HasSubstr(who() + " requested unconfigure adapter (network 0): rejected; "));
    }
    EXPECT_THAT(lines[6], HasSubstr(who() + " requested multicast (port 9000, nodes: 3): rejected; "));
    EXPECT_THAT(lines[7], HasSubstr(who() + " requested delayed shutdown (invalid): rejected; "));
}

TEST_F(WispdPublisher, ClientsThatComeAgainAndAgainDoNotFillTheLog) {
    const wispd_test::Captured_Log log;
    trusted_ = false;
    for (int round = 0; round < 40; ++round) {
        Peer peer = connect();
        for (int kind : {203, 204, 205, 206, 207, 208, 212, 213, 217}) {
            peer.send(request(kind, {}));
        }
        peer.until_answer();
    }
    EXPECT_LT(log.lines().size(), 360u); // one line for each rejection
}

TEST_F(WispdPublisher, WhatWasAskedAndDoneIsLogged) {
    const wispd_test::Captured_Log log;
    Peer peer = connect();
    peer.send(request(203, zeros(3)));
    peer.send(request(203, zeros(7)));
    peer.send(request(221, join(hex("23280000 14000000 01000000"), zeros(40), hex("01000000 03000000 02000000"),
                                hex("6869"))));
    peer.until_answer();
    EXPECT_THAT(
        log.lines(),
        ElementsAre(EndsWith(who() + " requested node may be down (node 3): node 3 is suspected to be down"),
                    EndsWith(who() +
                             " requested node may be down (node 7): node 7 is not in the configuration; "
                             "nothing changed"),
                    EndsWith(who() + " multicast 2 bytes to port 9000; delivered to nodes: 3; no endpoint "
                                     "for nodes: 5"),
                    EndsWith("multicast to port 9000 of node 7 not delivered: it is full")));
}

TEST_F(WispdPublisher, NameWithLineBreaksMakesNoLineOfItsOwn) {
    const wispd_test::Captured_Log log;
    Peer peer = connect();
    peer.send(subscription(4, 1, "x\nforged"));
    peer.until_answer();
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr(R"(an empty subscription "x\x0Aforged")")));
}

TEST_F(WispdPublisher, UnsoundRecordsEndTheConnection) {
    for (const Record &bytes : {hex("00000000"), hex("ffffffff"), hex("ffffff7f"), zeros(80),
                                join(little(77), zeros(8), little(201), zeros(65))}) {
        Peer peer = connect();
        peer.send(bytes);
        EXPECT_TRUE(peer.next().empty());
    }
    Peer other = connect();
    EXPECT_TRUE(other.until_answer().empty());
}

TEST_F(WispdPublisher, RequestsMayArriveByteByByte) {
    Peer peer = connect();
    for (char byte : request(201, {})) {
        peer.send({byte});
        context_.poll();
    }
    EXPECT_EQ(kind_of(peer.next()), 0);
}

TEST_F(WispdPublisher, ClientThatDoesNotReadIsDroppedAndOthersGetEverything) {
    Peer sleeper = connect();
    sleeper.send(subscription(3, 3, "sleeper"));
    Peer reader = connect();
    reader.send(subscription(3, 3, "reader"));
    reader.until_answer();
    int next = 1;
    // More than the queue and both socket buffers can hold.
    for (int round = 0; round < 50000 && publisher_->clients().size() == 2; ++round) {
        tell(cluster_.node_down(3));
        tell(cluster_.node_up(3));
        for (const Record &event : reader.until_answer()) {
            ASSERT_EQ(sequence_of(event), next++);
        }
    }
    ASSERT_EQ(publisher_->clients().size(), 1u);
    EXPECT_EQ(publisher_->clients().at(0).subscriptions.at(0).name, "reader");
    // The records that the sleeper still receives are complete and in order. Then the stream ends.
    int seen = 0;
    for (Record event = sleeper.next(); !event.empty(); event = sleeper.next()) {
        ASSERT_EQ(sequence_of(event), ++seen);
    }
    EXPECT_LT(seen, next - 1);
    EXPECT_GT(seen, 0);
}

TEST_F(WispdPublisher, ManyClientsComeAndGo) {
    for (int round = 0; round < 20; ++round) {
        std::vector<std::unique_ptr<Peer>> peers;
        for (int i = 0; i < 20; ++i) {
            peers.push_back(std::make_unique<Peer>(context_, file_.path()));
            peers.back()->send(subscription(1, 7, "n"));
        }
        for (const auto &peer : peers) {
            EXPECT_EQ(kind_of(peer->next()), 7);
        }
        EXPECT_EQ(publisher_->clients().size(), 20u);
        peers.clear();
        EXPECT_TRUE(hb_test::wait_until([this] {
            context_.poll();
            return publisher_->clients().empty();
        }));
    }
}

TEST_F(WispdPublisher, StatusTellsWhoIsThere) {
    Peer peer = connect();
    peer.send(subscription(5, 3, "net", bits({3})));
    peer.until_answer();
    const std::vector<wispd::Client_Status> clients = publisher_->clients();
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_EQ(clients[0].pid, getpid());
    EXPECT_EQ(clients[0].uid, static_cast<long>(getuid()));
    EXPECT_EQ(clients[0].queued_bytes, 0u);
    ASSERT_EQ(clients[0].subscriptions.size(), 1u);
    EXPECT_EQ(clients[0].subscriptions[0].type, 5);
    EXPECT_EQ(clients[0].subscriptions[0].events, 3);
}

// ---- Turns ----

TEST_F(WispdPublisher, EventsOfATurnArriveAtItsEndEachOnceAndInOrder) {
    Peer peer = connect();
    Peer other = connect();
    for (Peer *each : {&peer, &other}) {
        each->send(subscription(3, 3, "all"));
        EXPECT_TRUE(each->until_answer().empty());
    }
    {
        const wispd::Turn::Part turn(publisher_->turn());
        for (int i = 0; i < 100; ++i) {
            const wispd::Turn::Part part(publisher_->turn());
            tell(i % 2 == 0 ? cluster_.adapter_down(4) : cluster_.adapter_up(4));
        }
        context_.poll();
        EXPECT_EQ(publisher_->clients().at(0).queued_bytes, 100u * 124u);
    }
    EXPECT_EQ(publisher_->clients().at(0).queued_bytes, 0u)
        << "a turn ends without another one of the event loop";
    for (Peer *each : {&peer, &other}) {
        const std::vector<Record> events = each->until_answer();
        ASSERT_EQ(events.size(), 100u);
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(sequence_of(events[static_cast<std::size_t>(i)]), i + 1);
            EXPECT_EQ(kind_of(events[static_cast<std::size_t>(i)]), i % 2 == 0 ? 2 : 3);
        }
    }
}

TEST_F(WispdPublisher, RoutesAreBroughtUpToDateBeforeTheEventsOfATurn) {
    Peer peer = connect();
    peer.send(subscription(3, 3, "all"));
    EXPECT_TRUE(peer.until_answer().empty());
    std::vector<std::size_t> queued;
    on_need_of_routes_ = [&] { queued.push_back(publisher_->clients().at(0).queued_bytes); };
    {
        const wispd::Turn::Part turn(publisher_->turn());
        tell(cluster_.adapter_down(4));
        tell(cluster_.adapter_up(4));
        EXPECT_THAT(queued, testing::IsEmpty()) << "once for all changes of the turn";
    }
    EXPECT_THAT(queued, ElementsAre(2u * 124u));
}

TEST_F(WispdPublisher, ATurnHoldsBackNoMoreThanAFewEvents) {
    Peer peer = connect();
    peer.send(subscription(3, 3, "all"));
    EXPECT_TRUE(peer.until_answer().empty());
    std::size_t most = 0;
    {
        const wispd::Turn::Part turn(publisher_->turn());
        for (int i = 0; i < 1000; ++i) {
            tell(i % 2 == 0 ? cluster_.adapter_down(4) : cluster_.adapter_up(4));
            most = std::max(most, publisher_->clients().at(0).queued_bytes);
        }
    }
    EXPECT_LT(most, 70000u) << "what the socket accepts is not held against the client";
    EXPECT_EQ(peer.until_answer().size(), 1000u);
}

TEST_F(WispdPublisher, AClientThatReadsNothingKeepsNoEventFromOthersOfTheTurn) {
    Peer silent = connect();
    Peer peer = connect();
    for (Peer *each : {&silent, &peer}) {
        each->send(subscription(3, 3, "all"));
        EXPECT_TRUE(each->until_answer().empty());
    }
    std::size_t events = 0;
    for (int round = 0; round < 1000 && publisher_->clients().at(0).queued_bytes < 100000; ++round) {
        const wispd::Turn::Part turn(publisher_->turn());
        tell(cluster_.adapter_down(4));
        tell(cluster_.adapter_up(4));
        events += 2;
    }
    // A round at a time: a socket's buffer is smaller than its sum of events.
    std::vector<Record> got = peer.until_answer();
    EXPECT_EQ(got.size(), events);
    EXPECT_EQ(sequence_of(got.back()), static_cast<int>(events));
    got = silent.until_answer();
    EXPECT_EQ(got.size(), events) << "a part of them waited in wispd";
}

TEST_F(WispdPublisher, AClientThatIsDisconnectedReceivesWhatTheTurnSentBefore) {
    Peer peer = connect();
    std::vector<char> requests = request(201, {});
    const std::vector<char> invalid = little(3);
    requests.insert(requests.end(), invalid.begin(), invalid.end());
    peer.send(requests);
    EXPECT_EQ(kind_of(peer.next()), 0) << "the answer";
    EXPECT_TRUE(peer.next().empty()) << "the end of the stream";
}

// Its socket takes bytes again and has a request at the same time. The event loop handles the one, and another handler
// disconnects the client before the loop handles the other.
TEST_F(WispdPublisher, AClientIsCountedOutOnceAlsoWithARequestOnTheWay) {
    Peer client = connect();
    client.send(subscription(3, 3, "all"));
    EXPECT_TRUE(client.until_answer().empty());
    const auto queued = [this] { return publisher_->clients().at(0).queued_bytes; };
    const auto tell_until = [&](const auto &is_enough) {
        for (int round = 0; round < 50000 && !is_enough(); ++round) {
            tell(cluster_.adapter_down(4));
            tell(cluster_.adapter_up(4));
        }
    };
    tell_until([&] { return queued() > QUEUE / 2; });
    client.drain_and_send(request(201, {}));
    context_.poll_one(); // what fits is written, and the request waits
    tell_until([&] { return queued() == 0; });
    context_.poll();
    EXPECT_TRUE(publisher_->clients().empty());
    for (const auto &[user, holding] : publisher_->users()) {
        EXPECT_EQ(holding, wispd::User_Holding{}) << user;
    }
    EXPECT_TRUE(connect().until_answer().empty()) << "the next one is accepted";
}

// Its whole queue is smaller than what a turn announces.
TEST_F(WispdPublisher, AClientThatReadsIsNotDisconnectedForWhatATurnHoldsBack) {
    publisher_->set_limits({1000, {}});
    Peer client = connect();
    client.send(subscription(3, 3, "all"));
    EXPECT_TRUE(client.until_answer().empty());
    {
        const wispd::Turn::Part turn(publisher_->turn());
        for (int round = 0; round < 20; ++round) {
            tell(cluster_.adapter_down(4));
            tell(cluster_.adapter_up(4));
        }
    }
    EXPECT_EQ(client.until_answer().size(), 40u);
}

} // namespace
