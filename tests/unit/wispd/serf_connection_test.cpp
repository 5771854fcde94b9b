// SPDX-License-Identifier: Apache-2.0
// A connection to a Serf agent: simulated ones, and a real one.
#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <memory>
#include <poll.h>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/serf/serf_connection.h"
#include "tests/support/child_process.h"
#include "tests/support/deadline.h"
#include "tests/support/serf_agent.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace {

using namespace wispd;
using hb_test::Serf_Agent;
using hb_test::simulated_members;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Clock = std::chrono::steady_clock;

Serf_Address address_of(const Serf_Agent &agent) {
    return {"127.0.0.1", agent.port()};
}

bool is_readable(int descriptor) {
    pollfd readable{descriptor, POLLIN, 0};
    return poll(&readable, 1, 0) == 1;
}

// A connection, and what it reported. Its clock can run ahead.
class Client {
  public:
    explicit Client(const Serf_Address &address, const std::string &auth_key = {})
        : connection_(address, auth_key, Clock::now()) {}
    explicit Client(const Serf_Agent &agent, const std::string &auth_key = {})
        : Client(address_of(agent), auth_key) {}

    Serf_Connection &connection() { return connection_; }
    const std::vector<Serf_Report> &reports() const { return reports_; }
    Clock::time_point now() const { return Clock::now() + ahead_; }
    void set_ahead(milliseconds ahead) { ahead_ = ahead; }

    void advance() {
        for (Serf_Report &report : connection_.advance(now())) {
            reports_.push_back(std::move(report));
        }
    }

    // Waits on the descriptor as a user does, and advances when it is readable or something is due.
    void advance_until(const std::function<bool()> &condition) {
        const hb_test::Deadline deadline;
        while (!condition() && !deadline.over()) {
            const auto due = connection_.next_due();
            const auto left = due <= now() ? milliseconds(0) : std::chrono::ceil<milliseconds>(due - now());
            pollfd readable{connection_.descriptor(), POLLIN, 0};
            poll(&readable, 1, static_cast<int>(std::min<int64_t>(left.count(), 100)));
            if ((readable.revents & POLLIN) != 0 || connection_.next_due() <= now()) {
                advance();
            }
        }
        EXPECT_TRUE(condition());
    }

    void become_ready() {
        advance_until([&] { return connection_.is_ready(); });
    }

    // Returns why the connection ended.
    std::string end() {
        try {
            advance_until([] { return false; });
        } catch (const Engine_Gone &gone) {
            return gone.what();
        }
        return {};
    }

  private:
    milliseconds ahead_{0};
    Serf_Connection connection_;
    std::vector<Serf_Report> reports_;
};

// Waits until the agent has received everything up to the number of requests.
void await_requests(const Serf_Agent &agent, const std::string &command, unsigned count) {
    EXPECT_TRUE(hb_test::wait_until([&] { return agent.requests(command) >= count; }));
}

TEST(SerfConnection, IsReadyWithTheCountsAndTheListOfAllMembers) {
    const Serf_Agent agent({.name = "n2", .members = simulated_members(3)});
    Client client(agent);
    EXPECT_FALSE(client.connection().is_ready());
    EXPECT_TRUE(client.connection().asked_since().has_value());
    client.become_ready();
    ASSERT_THAT(client.reports(), SizeIs(1));
    EXPECT_EQ(client.reports()[0].kind, Serf_Report::Kind::all);
    ASSERT_THAT(client.reports()[0].members, SizeIs(3));
    EXPECT_EQ(client.reports()[0].members[2].name, "n3");
    EXPECT_EQ(client.reports()[0].members[2].node_tag, "3");
    EXPECT_EQ(address_text(client.reports()[0].members[2].address), "10.0.0.3");
    ASSERT_TRUE(client.connection().counts().has_value());
    EXPECT_EQ(client.connection().counts()->agent, "n2");
    EXPECT_EQ(client.connection().counts()->members, 3U);
    EXPECT_EQ(client.connection().asked_since(), std::nullopt);
    EXPECT_EQ(agent.streams(), 1U);
    EXPECT_EQ(agent.requests("auth"), 0U);
}

TEST(SerfConnection, ReportsEventsInTheirOrder) {
    Serf_Agent agent({.members = simulated_members(3)});
    Client client(agent);
    client.become_ready();
    agent.change("member-failed", {"n2", "n3"});
    agent.send_event("user", {});
    agent.change("member-join", {"n2"});
    agent.change("member-leave", {"n3"});
    agent.change("member-reap", {"n3"});
    client.advance_until([&] { return client.reports().size() == 5; });
    using Kind = Serf_Report::Kind;
    EXPECT_EQ(client.reports()[1].kind, Kind::failed);
    ASSERT_THAT(client.reports()[1].members, SizeIs(2));
    EXPECT_EQ(client.reports()[1].members[1].status, Serf_Member::Status::failed);
    EXPECT_EQ(client.reports()[2].kind, Kind::join);
    EXPECT_EQ(client.reports()[3].kind, Kind::leave);
    EXPECT_EQ(client.reports()[4].kind, Kind::reap);
}

TEST(SerfConnection, SendsTheAuthenticationKey) {
    const Serf_Agent agent({.members = simulated_members(1), .auth_key = "secret"});
    Client client(agent, "secret");
    client.become_ready();
    EXPECT_EQ(agent.requests("auth"), 1U);
}

TEST(SerfConnection, SendsAKeyThatIsLongerThanTheSocketsBuffer) {
    const std::string key(16 * 1024 * 1024, 'k');
    const Serf_Agent agent({.members = simulated_members(1), .auth_key = key});
    Client client(agent, key);
    client.become_ready();
}

TEST(SerfConnection, NamesARejectedKey) {
    const Serf_Agent agent({.auth_key = "secret"});
    Client client(agent, "wrong");
    EXPECT_EQ(client.end(), "Serf agent " + agent.address() +
                                " rejected the authentication key: \"Invalid authentication token\"");
}

TEST(SerfConnection, NamesAMissingKey) {
    const Serf_Agent agent({.auth_key = "secret"});
    Client client(agent);
    EXPECT_EQ(client.end(),
              "Serf agent " + agent.address() + " rejected stats: \"Authentication required\" (set auth_key)");
}

TEST(SerfConnection, QuotesARejectionPrintably) {
    Serf_Agent agent;
    agent.reject("members", "no\n\x1b[2J");
    Client client(agent);
    EXPECT_EQ(client.end(), "Serf agent " + agent.address() + " rejected members: \"no\\x0A\\x1B[2J\"");
}

TEST(SerfConnection, NamesAnAgentThatIsNotThere) {
    Serf_Agent agent;
    agent.refuse();
    std::string why;
    try {
        Client client(agent);
        why = client.end();
    } catch (const Engine_Gone &gone) {
        why = gone.what();
    }
    EXPECT_EQ(why, "Serf agent " + agent.address() + " is unreachable: Connection refused");
    agent.accept();
    Client(agent).become_ready();
}

TEST(SerfConnection, RejectsAnAddressThatIsAName) {
    try {
        Client client({"localhost", 7373});
        FAIL();
    } catch (const Engine_Gone &gone) {
        EXPECT_STREQ(gone.what(),
                     "Serf agent localhost:7373 has an invalid address: not an IPv4 or IPv6 address");
    }
}

TEST(SerfConnection, WritesAnIpv6AddressInBrackets) {
    try {
        Client client({"::1%nowhere", 7373});
        FAIL();
    } catch (const Engine_Gone &gone) {
        EXPECT_THAT(gone.what(), HasSubstr("Serf agent [::1%nowhere]:7373 "));
    }
}

// The kernel ignores further connections when a listener's queue is full.
TEST(SerfConnection, EndsWhenItIsNotConnectedWithin2Seconds) {
    const hb_test::Unique_Fd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    ASSERT_EQ(bind(listener.get(), generic, sizeof address), 0);
    ASSERT_EQ(listen(listener.get(), 0), 0);
    ASSERT_EQ(getsockname(listener.get(), generic, &length), 0);
    std::vector<hb_test::Unique_Fd> queue;
    for (int i = 0; i < 4; ++i) {
        queue.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        connect(queue.back().get(), generic, sizeof address);
    }
    const Clock::time_point start = Clock::now();
    Serf_Connection connection({"127.0.0.1", ntohs(address.sin_port)}, "", start);
    EXPECT_EQ(connection.asked_since(), start);
    EXPECT_EQ(connection.next_due(), start + seconds(2));
    EXPECT_THAT(connection.advance(start + milliseconds(1999)), IsEmpty());
    try {
        connection.advance(start + seconds(2));
        FAIL();
    } catch (const Engine_Gone &gone) {
        EXPECT_THAT(gone.what(), EndsWith(" is unreachable: no connection within 2 s"));
    }
}

TEST(SerfConnection, EndsWhenTheAgentDisconnects) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    agent.disconnect();
    EXPECT_THAT(client.end(), testing::StartsWith("Serf agent " + agent.address() + " disconnected"));
}

TEST(SerfConnection, ReturnsTheReportsThatArrivedBeforeTheDisconnect) {
    Serf_Agent agent({.members = simulated_members(2)});
    Client client(agent);
    client.become_ready();
    agent.change("member-failed", {"n2"});
    agent.disconnect();
    EXPECT_THAT(client.end(), HasSubstr(" disconnected"));
    EXPECT_THAT(client.reports(), SizeIs(2));
    EXPECT_LE(client.connection().next_due(), client.now());
    EXPECT_THROW(client.advance(), Engine_Gone);
}

TEST(SerfConnection, AQuestionToADisconnectedAgentRaisesNoSignal) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    agent.disconnect();
    client.connection().ask_members();
    EXPECT_LE(client.connection().next_due(), client.now());
    EXPECT_THAT(client.end(), HasSubstr(" disconnected"));
}

TEST(SerfConnection, EndsWhenAQuestionIsUnansweredFor2Seconds) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    agent.stop_answering();
    client.connection().ask_members();
    client.advance();
    const std::optional<Clock::time_point> asked = client.connection().asked_since();
    ASSERT_TRUE(asked.has_value());
    EXPECT_LE(client.connection().next_due(), *asked + seconds(2));
    EXPECT_NO_THROW(client.connection().advance(*asked + milliseconds(1999)));
    try {
        client.connection().advance(*asked + seconds(2));
        FAIL();
    } catch (const Engine_Gone &gone) {
        EXPECT_EQ(gone.what(), "Serf agent " + agent.address() + " did not answer members within 2 s");
    }
}

TEST(SerfConnection, ContinuesWhenALateAnswerArrives) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    agent.stop_answering();
    client.connection().ask_members();
    client.advance();
    await_requests(agent, "members", 2);
    agent.continue_answering();
    client.advance_until([&] { return client.reports().size() == 2; });
    EXPECT_EQ(client.connection().asked_since(), std::nullopt);
}

// A process that was stopped reads the answer before it checks the clock.
TEST(SerfConnection, AnAnswerThatIsThereCountsHoweverLateItIsRead) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    client.connection().ask_members();
    client.advance();
    EXPECT_TRUE(hb_test::wait_until([&] { return is_readable(client.connection().descriptor()); }));
    client.set_ahead(seconds(60));
    client.advance();
    EXPECT_THAT(client.reports(), SizeIs(2));
}

TEST(SerfConnection, AsksForTheCountsOnceASecond) {
    Serf_Agent agent({.members = simulated_members(2)});
    Client client(agent);
    client.become_ready();
    EXPECT_EQ(agent.requests("stats"), 1U);
    agent.set_members(simulated_members(5));
    const Clock::time_point due = client.connection().next_due();
    EXPECT_GT(due, Clock::now() - seconds(1));
    client.connection().advance(due - milliseconds(1));
    EXPECT_EQ(client.connection().asked_since(), std::nullopt);
    client.set_ahead(seconds(1));
    client.advance_until([&] { return client.connection().counts()->members == 5; });
    EXPECT_EQ(agent.requests("stats"), 2U);
    EXPECT_GT(client.connection().next_due(), client.now());
}

TEST(SerfConnection, AsksForOneListAtATime) {
    Serf_Agent agent({.members = simulated_members(2)});
    Client client(agent);
    client.connection().ask_members(); // the first list is expected anyway
    client.become_ready();
    agent.stop_answering();
    for (int i = 0; i < 3; ++i) {
        client.connection().ask_members();
        client.advance();
    }
    agent.continue_answering();
    client.advance_until([&] { return client.reports().size() == 2; });
    EXPECT_EQ(client.reports()[1].kind, Serf_Report::Kind::all);
    EXPECT_EQ(agent.requests("members"), 2U);
}

TEST(SerfConnection, NamesMalformedBytes) {
    Serf_Agent agent({.members = simulated_members(1)});
    Client client(agent);
    client.become_ready();
    agent.change("member-failed", {"n1"});
    agent.send_bytes("HTTP/1.1 400 Bad Request\r\n");
    EXPECT_EQ(client.end(), "Serf agent " + agent.address() +
                                " sent a malformed answer: found a number for an answer, expected a map");
    EXPECT_THAT(client.reports(), SizeIs(2));
}

TEST(SerfConnection, NamesAnAnswerWithTheNumberOfNoQuestion) {
    Serf_Agent agent;
    agent.answer_with_number("members", 99);
    Client client(agent);
    EXPECT_THAT(client.end(), HasSubstr(" sent a malformed answer: found the number 99 in a header"));
}

TEST(SerfConnection, EndsWhereverTheAgentCutsAnAnswer) {
    for (const char *command : {"handshake", "stats", "stream", "members"}) {
        for (const std::size_t size : {0U, 1U, 10U}) {
            Serf_Agent agent({.members = simulated_members(1)});
            agent.cut(command, size);
            Client client(agent);
            EXPECT_EQ(client.end(),
                      "Serf agent " + agent.address() + " disconnected before it answered " + command);
        }
    }
}

TEST(SerfConnection, ReportsNothingOfAnEventThatWasCut) {
    Serf_Agent agent({.members = simulated_members(1)});
    agent.cut("event", 40);
    Client client(agent);
    client.become_ready();
    agent.change("member-failed", {"n1"});
    EXPECT_EQ(client.end(), "Serf agent " + agent.address() + " disconnected");
    EXPECT_THAT(client.reports(), SizeIs(1));
}

TEST(SerfConnection, ReadsAnswersThatArriveByteByByte) {
    Serf_Agent agent({.members = simulated_members(3)});
    agent.trickle(std::chrono::microseconds(10));
    Client client(agent);
    client.become_ready();
    EXPECT_THAT(client.reports().at(0).members, SizeIs(3));
}

TEST(SerfConnection, AFloodDoesNotKeepTheThread) {
    Serf_Agent agent({.members = simulated_members(2)});
    Client client(agent);
    client.become_ready();
    agent.flood(true);
    // Each call ends although the agent never stops sending.
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(hb_test::wait_until([&] { return is_readable(client.connection().descriptor()); }));
        client.advance();
    }
    agent.change("member-failed", {"n2"});
    client.advance_until([&] { return client.reports().size() == 2; });
    EXPECT_EQ(client.reports()[1].kind, Serf_Report::Kind::failed);
}

TEST(SerfConnection, ItsDescriptorsAreNotInherited) {
    const Serf_Agent agent;
    Client client(agent);
    EXPECT_EQ(fcntl(client.connection().descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(client.connection().descriptor() + 1, F_GETFD), FD_CLOEXEC); // the socket
}

TEST(SerfConnection, FortyEightAgentsOf2049MembersAreAllReported) {
    std::vector<std::unique_ptr<Serf_Agent>> agents;
    std::vector<std::unique_ptr<Client>> clients;
    for (int network = 0; network < 48; ++network) {
        const auto members = simulated_members(2049, network);
        agents.push_back(std::make_unique<Serf_Agent>(hb_test::Serf_Agent_Plan{.members = members}));
        clients.push_back(std::make_unique<Client>(*agents.back()));
    }
    for (int network = 0; network < 48; ++network) {
        Client &client = *clients[static_cast<std::size_t>(network)];
        client.become_ready();
        ASSERT_THAT(client.reports().at(0).members, SizeIs(2049));
        EXPECT_EQ(address_text(client.reports()[0].members[2048].address),
                  "10." + std::to_string(network) + ".8.1");
    }
}

// A port that was free a moment ago.
std::string free_port() {
    const Serf_Agent agent;
    return std::to_string(agent.port());
}

TEST(SerfConnection, FollowsARealAgent) {
    if (std::system("serf version >/dev/null 2>&1") != 0) { // NOLINT(cert-env33-c)
        GTEST_SKIP() << "no serf (package serf)";
    }
    const std::string port = free_port();
    const std::string rpc = free_port();
    const hb_test::Temp_Dir directory;
    const std::string settings = directory.file("serf.json"); // a key cannot be an option
    std::ofstream(settings) << R"({"rpc_auth": "secret", "leave_on_terminate": true})";
    const auto start = [&](const std::string &name, const std::string &bind, const std::string &rpc_address,
                           const std::string &tag) {
        return std::make_unique<hb_test::Child_Process>(std::vector<std::string>{
            "serf", "agent", "-node=" + name, "-bind=" + bind, "-rpc-addr=" + rpc_address,
            "-config-file=" + settings, "-tag=hb_node=" + tag, "-join=127.0.0.1:" + port, "-profile=local",
            "-log-level=err"});
    };
    const auto first = start("one", "127.0.0.1:" + port, "127.0.0.1:" + rpc, "1");
    ASSERT_TRUE(first->read_until("Serf agent running"));

    std::unique_ptr<Client> client;
    const Serf_Address address{"127.0.0.1", static_cast<uint16_t>(std::stoi(rpc))};
    ASSERT_TRUE(hb_test::wait_until([&] {
        try {
            client = std::make_unique<Client>(address, "secret");
            client->become_ready();
            return true;
        } catch (const Engine_Gone &) {
            return false;
        }
    }));
    EXPECT_EQ(client->connection().counts()->agent, "one");
    ASSERT_THAT(client->reports().at(0).members, SizeIs(1));
    EXPECT_EQ(client->reports()[0].members[0].node_tag, "1");
    EXPECT_EQ(address_text(client->reports()[0].members[0].address), "127.0.0.1");
    EXPECT_EQ(client->reports()[0].members[0].status, Serf_Member::Status::alive);

    auto second = start("two", "127.0.0.1:" + free_port(), "127.0.0.1:" + free_port(), "2");
    // An agent gathers events for a second: one can name both members.
    const auto has = [&](Serf_Report::Kind kind) {
        return std::any_of(client->reports().begin(), client->reports().end(), [&](const Serf_Report &report) {
            return report.kind == kind &&
                   std::any_of(report.members.begin(), report.members.end(),
                               [](const Serf_Member &it) { return it.name == "two" && it.node_tag == "2"; });
        });
    };
    ASSERT_TRUE(second->read_until("Serf agent running"));
    client->advance_until([&] { return has(Serf_Report::Kind::join); });
    second->send_signal(SIGTERM);
    client->advance_until([&] { return has(Serf_Report::Kind::leave); });

    Client other(address, "wrong");
    EXPECT_THAT(other.end(), HasSubstr(" rejected the authentication key: \"Invalid authentication token\""));
    Client without_key(address);
    EXPECT_THAT(without_key.end(), HasSubstr(" rejected stats: \"Authentication required\" (set auth_key)"));
}

} // namespace
