// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/node_requests.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using wispd::Multicast;
using wispd::Node_Request;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::zeros;

Node_Request read(int kind, const std::vector<char> &body) {
    std::string fault;
    const auto request = wispd::read_node_request(*wispd::rule_of(kind), body, fault);
    EXPECT_EQ(fault, "");
    return request.value_or(Node_Request{});
}

std::string fault_of(int kind, const std::vector<char> &body) {
    std::string fault;
    EXPECT_FALSE(wispd::read_node_request(*wispd::rule_of(kind), body, fault).has_value());
    return fault;
}

TEST(WispdNodeRequests, EveryServedCodeHasARuleAndNoOtherHas) {
    std::vector<int> served;
    for (int kind = -1; kind < 300; ++kind) {
        if (wispd::rule_of(kind) != nullptr) {
            served.push_back(kind);
        }
    }
    EXPECT_THAT(served, ElementsAre(203, 204, 205, 206, 207, 208, 211, 212, 213, 214, 215, 216, 217, 218, 219,
                                    220, 221, 222, 223, 225, 226, 227));
}

TEST(WispdNodeRequests, OnlyQuestionsAndHeartbeatsAreForEverybody) {
    std::vector<int> for_everybody;
    for (int kind = 201; kind <= 227; ++kind) {
        const wispd::Request_Rule *rule = wispd::rule_of(kind);
        if (rule != nullptr && !rule->acts) {
            for_everybody.push_back(kind);
        }
    }
    EXPECT_THAT(for_everybody, ElementsAre(211, 222, 223));
}

TEST(WispdNodeRequests, AnswersAreOfTheAwaitedKind) {
    for (int kind : {214, 215, 218}) {
        EXPECT_EQ(wispd::rule_of(kind)->answer, 10) << kind;
        EXPECT_EQ(wispd::rule_of(kind)->when_not_permitted, 3) << kind;
    }
    EXPECT_EQ(wispd::rule_of(216)->answer, 11);
    EXPECT_EQ(wispd::rule_of(216)->when_not_permitted, 1);
    EXPECT_EQ(wispd::rule_of(223)->answer, 14);
    EXPECT_EQ(wispd::rule_of(211)->answer, 8);
    for (int kind : {203, 204, 205, 206, 207, 208, 212, 213, 217, 219, 220, 221, 222, 225, 226, 227}) {
        EXPECT_FALSE(wispd::rule_of(kind)->answer.has_value()) << kind;
    }
}

TEST(WispdNodeRequests, TheLogDescribesARequestByItsNameAndArguments) {
    const auto described = [](int kind, const std::vector<char> &body) {
        return wispd::description(*wispd::rule_of(kind), body);
    };
    EXPECT_EQ(described(203, zeros(3)), "node may be down (node 3)");
    EXPECT_EQ(described(204, zeros(3)), "node is down (node 3)");
    EXPECT_EQ(described(205, zeros(3)), "adapter may be down (adapter 3)");
    EXPECT_EQ(described(206, zeros(3)), "adapter is down (adapter 3)");
    EXPECT_EQ(described(207, hex("0100")), "enable adapter (network 1)");
    EXPECT_EQ(described(214, hex("0100 0000 0a020009")), "configure adapter (network 1, address 10.2.0.9)");
    EXPECT_EQ(described(216, hex("2f00 0000 05000000")), "adapter grace (network 47, 5 s)");
    EXPECT_EQ(described(217, hex("05000000")), "simulate death (5 s)");
    EXPECT_EQ(described(219, {}), "discard stale messages");
    EXPECT_EQ(described(225, hex("65746830")), "take manual control (interface eth0)");
    EXPECT_EQ(described(226, {}), "release manual control (all interfaces)");
    EXPECT_EQ(described(227, {}), "delayed shutdown");
    EXPECT_EQ(described(227, hex("00")), "delayed shutdown (invalid)");
    EXPECT_EQ(described(221, join(hex("23280000 14000000 01000000"), zeros(40),
                                  hex("02000000 03000000 05000000 02000000"), hex("6869"))),
              "multicast (port 9000, nodes: 3 5)");
    EXPECT_EQ(described(221, {}), "multicast (invalid)");
}

TEST(WispdNodeRequests, SuspicionsCarryTheNumberAsTheirLength) {
    EXPECT_EQ(read(204, zeros(3)).number, 3);
    EXPECT_EQ(read(203, {}).number, 0);
    EXPECT_EQ(read(205, zeros(98351)).number, 98351);
}

TEST(WispdNodeRequests, LocalAdaptersAreNamedByTheirNetwork) {
    EXPECT_EQ(read(207, hex("0100")).number, 1);
    EXPECT_EQ(read(208, hex("ffff")).number, -1);
    const Node_Request configure = read(214, hex("0100 0000 0a020009"));
    EXPECT_EQ(configure.number, 1);
    EXPECT_EQ(wispd::address_text(wispd::mapped(configure.address)), "10.2.0.9");
    const Node_Request grace = read(216, hex("2f00 0000 05000000"));
    EXPECT_EQ(grace.number, 47);
    EXPECT_EQ(grace.seconds, 5);
    EXPECT_EQ(read(216, hex("0000 0000 ffffffff")).seconds, -1);
}

TEST(WispdNodeRequests, WordsAndNames) {
    EXPECT_EQ(read(217, hex("3c000000")).seconds, 60);
    EXPECT_EQ(read(225, hex("65746830")).interface, "eth0");
    EXPECT_EQ(read(226, {}).interface, "");
    EXPECT_EQ(read(219, {}).kind, 219);
    std::string fault;
    EXPECT_EQ(wispd::read_sequence(hex("04030201"), fault), 0x01020304u);
}

TEST(WispdNodeRequests, BodiesOfAnotherSizeAreRefused) {
    EXPECT_EQ(fault_of(207, hex("01")), "a body of 1 bytes; expected 2");
    EXPECT_EQ(fault_of(207, hex("0100 00")), "a body of 3 bytes; expected 2");
    EXPECT_EQ(fault_of(214, hex("0100")), "a body of 2 bytes; expected 8");
    EXPECT_EQ(fault_of(216, zeros(7)), "a body of 7 bytes; expected 8");
    EXPECT_EQ(fault_of(217, {}), "a body of 0 bytes; expected 4");
    EXPECT_EQ(fault_of(227, zeros(1)), "a body of 1 bytes; expected 0");
    EXPECT_THAT(fault_of(225, zeros(36)), HasSubstr("36 bytes; expected at most 35"));
    EXPECT_THAT(fault_of(225, std::vector<char>(16384, 'e')), HasSubstr("16384 bytes; expected at most 35"));
    EXPECT_EQ(read(225, std::vector<char>(35, 'e')).interface, std::string(35, 'e'));
    for (const char *bad : {"65 0a", "00", "65 1b", "65 20 30", "65 7f", "65 c3 b6"}) {
        EXPECT_THAT(fault_of(225, hex(bad)), HasSubstr("other than letters")) << bad;
    }
    std::string fault;
    EXPECT_FALSE(wispd::read_sequence(zeros(3), fault).has_value());
    EXPECT_EQ(fault, "a body of 3 bytes; expected 4");
}

// ---- Multicasts ----

// To port 9000 (0x2328) of these nodes.
std::vector<char> head(const char *count) {
    return join(hex("23280000 14000000 01000000"), zeros(36), hex("00000000"), hex(count));
}

std::string multicast_fault(const std::vector<char> &body) {
    std::string fault;
    EXPECT_FALSE(wispd::read_multicast(body, fault).has_value());
    return fault;
}

TEST(WispdMulticast, IsReadFromItsBytes) {
    std::string fault;
    const auto multicast = wispd::read_multicast(
        join(head("02000000"), hex("03000000 05000000"), hex("04000000"), hex("70696e67")), fault);
    ASSERT_TRUE(multicast.has_value()) << fault;
    EXPECT_EQ(multicast->port, 9000);
    EXPECT_EQ(multicast->ttl, 20);
    EXPECT_FALSE(multicast->daemons_only);
    EXPECT_THAT(multicast->nodes, ElementsAre(3, 5));
    EXPECT_EQ(std::string(multicast->payload.begin(), multicast->payload.end()), "ping");
}

TEST(WispdMulticast, MayCarryNothing) {
    std::string fault;
    const auto multicast =
        wispd::read_multicast(join(head("01000000"), hex("03000000"), hex("00000000")), fault);
    ASSERT_TRUE(multicast.has_value()) << fault;
    EXPECT_TRUE(multicast->payload.empty());
}

TEST(WispdMulticast, TakesThousandsOfNodesAndBytes) {
    std::string fault;
    EXPECT_TRUE(
        wispd::read_multicast(join(head("01080000"), zeros(4 * 2049), hex("10270000"), zeros(10000)), fault)
            .has_value())
        << fault;
    EXPECT_THAT(multicast_fault(join(head("02080000"), zeros(4 * 2050), hex("00000000"))),
                HasSubstr("2050 nodes; expected 1 to 2049"));
    EXPECT_THAT(multicast_fault(join(head("01000000"), zeros(4), hex("11270000"), zeros(10001))),
                HasSubstr("10001 bytes"));
}

TEST(WispdMulticast, LengthsThatDoNotAgreeAreRefused) {
    const std::vector<char> whole = join(head("01000000"), hex("03000000 02000000"), hex("7878"));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_NE(multicast_fault({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), "")
            << size;
    }
    EXPECT_THAT(multicast_fault(join(whole, zeros(1))), HasSubstr("states 2 bytes and carries 3"));
    EXPECT_NE(multicast_fault(join(head("00000000"), hex("00000000"))), "");
    EXPECT_NE(multicast_fault(join(head("ffffffff"), zeros(100))), "");
    EXPECT_NE(multicast_fault(join(head("00000040"), zeros(100))), "");
    EXPECT_NE(multicast_fault(join(head("01000000"), hex("03000000 ffffffff"), zeros(8))), "");
}

TEST(WispdMulticast, OtherVersionsAndPortsAreRefused) {
    const std::vector<char> rest = join(zeros(40), hex("01000000 03000000 00000000"));
    EXPECT_THAT(multicast_fault(join(hex("23280000 14000000 02000000"), rest)), HasSubstr("version 2"));
    EXPECT_THAT(multicast_fault(join(hex("23280100 14000000 01000000"), rest)), HasSubstr("to port"));
}

} // namespace
