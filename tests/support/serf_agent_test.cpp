// SPDX-License-Identifier: Apache-2.0
// The simulated Serf agent, by the bytes that a client sends and receives.
#include <arpa/inet.h>
#include <chrono>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/deadline.h"
#include "tests/support/process_counters.h"
#include "tests/support/serf_agent.h"
#include "tests/support/unique_fd.h"

namespace {

using namespace hb_test;
using namespace std::string_literals;

const std::string HANDSHAKE = "\x82\xa7"s + "Command\xa9handshake\xa3Seq\x00\x81\xa7Version\x01"s;
const std::string HANDSHAKE_ANSWER = "\x82\xa3"s + "Seq\x00\xa5"s + "Error\xa0";
const std::string STREAM = "\x82\xa7"s + "Command\xa6stream\xa3Seq\x07\x81\xa4Type\xa1*";
const std::string STREAM_ANSWER = "\x82\xa3"s + "Seq\x07\xa5"s + "Error\xa0";
const std::string MEMBERS = "\x82\xa7"s + "Command\xa7members\xa3Seq\x05";
const std::string MEMBERS_ANSWER = "\x82\xa3"s + "Seq\x05\xa5"s + "Error\xa0\x81\xa7Members\x91";
const std::string MEMBER = "\x8b\xa4"s + "Name\xa2n1\xa4" + "Addr\xa4\x0a\x00\x00\x01\xa4"s +
                           "Port\xcd\x1f\x0a\xa4" + "Tags\x81\xa7hb_node\xa1" + "1\xa6" + "Status\xa5" +
                           "alive\xab" + "ProtocolMin\x01\xab" + "ProtocolMax\x05\xab" + "ProtocolCur\x02\xab" +
                           "DelegateMin\x02\xab" + "DelegateMax\x05\xab" + "DelegateCur\x04";

class Caller {
  public:
    explicit Caller(const Serf_Agent &agent) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(agent.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(socket_.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }

    void send(const std::string &bytes) {
        EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(bytes.size()));
    }

    // Returns so many bytes, or fewer at the end of the stream.
    std::string read(std::size_t size) {
        std::string bytes(size, '\0');
        std::size_t count = 0;
        const Deadline deadline;
        while (count < size && wait_readable(socket_.get(), deadline)) {
            const ssize_t more = recv(socket_.get(), bytes.data() + count, size - count, 0);
            if (more <= 0) {
                break;
            }
            count += static_cast<std::size_t>(more);
        }
        bytes.resize(count);
        return bytes;
    }

    std::string ask(const std::string &request, const std::string &expected_answer) {
        send(request);
        return read(expected_answer.size());
    }

    bool ends() { return read(1).empty(); }

  private:
    Unique_Fd socket_;
};

TEST(SerfAgent, AnswersWithTheMembersThatWereSet) {
    Serf_Agent agent;
    agent.set_members(simulated_members(1));
    Caller caller(agent);
    EXPECT_EQ(caller.ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
    EXPECT_EQ(caller.ask(MEMBERS, MEMBERS_ANSWER + MEMBER), MEMBERS_ANSWER + MEMBER);
    EXPECT_EQ(agent.connections(), 1U);
    EXPECT_EQ(agent.requests("members"), 1U);
}

TEST(SerfAgent, SendsEventsToStreamsAlone) {
    Serf_Agent agent({.members = simulated_members(1)});
    Caller streaming(agent);
    Caller other(agent);
    streaming.ask(HANDSHAKE, HANDSHAKE_ANSWER);
    EXPECT_EQ(streaming.ask(STREAM, STREAM_ANSWER), STREAM_ANSWER);
    EXPECT_EQ(other.ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
    EXPECT_EQ(agent.streams(), 1U);
    agent.change("member-join", {"n1"});
    const std::string event = STREAM_ANSWER + "\x82\xa5" + "Event\xab" + "member-join\xa7Members\x91" + MEMBER;
    EXPECT_EQ(streaming.read(event.size()), event);
    EXPECT_EQ(other.ask(MEMBERS, MEMBERS_ANSWER), MEMBERS_ANSWER);
}

TEST(SerfAgent, ChangesItsMembersWithTheEvent) {
    Serf_Agent agent({.members = simulated_members(2)});
    Caller caller(agent);
    caller.ask(HANDSHAKE, HANDSHAKE_ANSWER);
    agent.change("member-reap", {"n2"});
    EXPECT_EQ(caller.ask(MEMBERS, MEMBERS_ANSWER + MEMBER), MEMBERS_ANSWER + MEMBER);
}

TEST(SerfAgent, RejectsWhatComesBeforeTheHandshakeOrWithoutTheKey) {
    const Serf_Agent agent({.auth_key = "secret"});
    const std::string too_soon = "\x82\xa3"s + "Seq\x05\xa5"s + "Error\xb2Handshake required";
    const std::string no_key = "\x82\xa3"s + "Seq\x05\xa5"s + "Error\xb7" + "Authentication required";
    Caller caller(agent);
    EXPECT_EQ(caller.ask(MEMBERS, too_soon), too_soon);
    caller.ask(HANDSHAKE, HANDSHAKE_ANSWER);
    EXPECT_EQ(caller.ask(MEMBERS, no_key), no_key);
}

TEST(SerfAgent, DisconnectsAfterAnUnknownCommand) {
    const Serf_Agent agent;
    Caller caller(agent);
    caller.ask(HANDSHAKE, HANDSHAKE_ANSWER);
    const std::string answer = "\x82\xa3"s + "Seq\x01\xa5"s + "Error\xb3Unsupported command";
    EXPECT_EQ(caller.ask("\x82\xa7"s + "Command\xa4moan\xa3Seq\x01", answer), answer);
    EXPECT_TRUE(caller.ends());
}

TEST(SerfAgent, AnswersWhatWasAskedWhileItDidNotAnswer) {
    Serf_Agent agent;
    agent.stop_answering();
    Caller caller(agent);
    caller.send(HANDSHAKE);
    EXPECT_TRUE(wait_until([&] { return agent.requests("handshake") == 1; }));
    agent.continue_answering();
    EXPECT_EQ(caller.read(HANDSHAKE_ANSWER.size()), HANDSHAKE_ANSWER);
}

TEST(SerfAgent, CutsAnAnswerAndDisconnects) {
    Serf_Agent agent;
    agent.cut("handshake", 4);
    Caller caller(agent);
    EXPECT_EQ(caller.ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER.substr(0, 4));
    EXPECT_TRUE(caller.ends());
}

TEST(SerfAgent, AnswersByteByByte) {
    Serf_Agent agent;
    agent.trickle(std::chrono::microseconds(1));
    Caller caller(agent);
    EXPECT_EQ(caller.ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
}

TEST(SerfAgent, DisconnectsAndRefusesUntilItAccepts) {
    Serf_Agent agent;
    Caller caller(agent);
    caller.ask(HANDSHAKE, HANDSHAKE_ANSWER);
    const uint16_t port = agent.port();
    agent.refuse();
    EXPECT_TRUE(caller.ends());
    EXPECT_EQ(agent.open_connections(), 0U);
    const Unique_Fd other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_NE(connect(other.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    agent.accept();
    EXPECT_EQ(agent.port(), port);
    EXPECT_EQ(Caller(agent).ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
}

TEST(SerfAgent, ManyAgentsShareOneThread) {
    const int before = running_threads();
    std::vector<std::unique_ptr<Serf_Agent>> agents;
    for (int i = 0; i < 48; ++i) {
        agents.push_back(std::make_unique<Serf_Agent>());
        EXPECT_EQ(Caller(*agents.back()).ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
    }
    EXPECT_EQ(running_threads(), before + 1);
    agents.erase(agents.begin(), agents.begin() + 47);
    EXPECT_EQ(Caller(*agents.back()).ask(HANDSHAKE, HANDSHAKE_ANSWER), HANDSHAKE_ANSWER);
    agents.clear();
    EXPECT_TRUE(wait_until([&] { return running_threads() == before; }));
}

} // namespace
