// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "daemon/publisher/send_queue.h"

namespace {

using wispd::Body;
using wispd::Packet_Head;
using wispd::Send_Queue;

Body body(std::string_view text) {
    return std::make_shared<const std::vector<char>>(text.begin(), text.end());
}

Packet_Head head(char fill) {
    Packet_Head bytes;
    bytes.fill(fill);
    return bytes;
}

std::string front(const Send_Queue &queue, std::size_t most) {
    std::string bytes;
    std::vector<iovec> pieces(most);
    pieces.resize(queue.front(pieces));
    for (const iovec &piece : pieces) {
        bytes.append(static_cast<const char *>(piece.iov_base), piece.iov_len);
    }
    return bytes;
}

TEST(WispdSendQueue, GivesPacketsInOrder) {
    Send_Queue queue(1000);
    EXPECT_TRUE(queue.push(head('a'), body("first")));
    EXPECT_TRUE(queue.push(head('b'), body("second")));
    EXPECT_EQ(front(queue, 64), std::string(112, 'a') + "first" + std::string(112, 'b') + "second");
    EXPECT_EQ(queue.bytes(), 235u);
}

TEST(WispdSendQueue, GoesOnWhereAWriteStopped) {
    Send_Queue queue(1000);
    queue.push(head('a'), body("first"));
    queue.push(head('b'), body("second"));
    const std::string whole = front(queue, 64);
    std::string got;
    for (std::size_t step = 1; !queue.empty(); step = step % 7 + 1) {
        const std::string next = front(queue, 64);
        const std::size_t written = std::min(step, next.size());
        got += next.substr(0, written);
        queue.consume(written);
        EXPECT_EQ(queue.bytes(), whole.size() - got.size());
    }
    EXPECT_EQ(got, whole);
}

TEST(WispdSendQueue, GivesNoMorePiecesThanAskedFor) {
    Send_Queue queue(100000);
    for (int i = 0; i < 100; ++i) {
        queue.push(head('h'), body("b"));
    }
    std::vector<iovec> pieces(65);
    EXPECT_EQ(queue.front(pieces), 64u) << "a packet has two pieces";
}

TEST(WispdSendQueue, EmptyBodiesGiveNoPiece) {
    Send_Queue queue(1000);
    queue.push(head('a'), body(""));
    std::vector<iovec> pieces(64);
    EXPECT_EQ(queue.front(pieces), 1u);
    queue.consume(112);
    EXPECT_TRUE(queue.empty());
}

TEST(WispdSendQueue, RefusesWhatGoesBeyondItsLimitAndStaysAsItWas) {
    Send_Queue queue(112 + 5);
    EXPECT_TRUE(queue.push(head('a'), body("first")));
    EXPECT_FALSE(queue.push(head('b'), body("")));
    EXPECT_EQ(queue.bytes(), 117u);
    EXPECT_EQ(front(queue, 64), std::string(112, 'a') + "first");
    queue.consume(117);
    EXPECT_FALSE(queue.push(head('c'), body("longer")));
    EXPECT_TRUE(queue.push(head('d'), body("right")));
}

TEST(WispdSendQueue, SharesBodies) {
    const Body shared = body("one body for everybody");
    Send_Queue first(1000);
    Send_Queue second(1000);
    first.push(head('a'), shared);
    second.push(head('b'), shared);
    std::vector<iovec> of_first(2);
    std::vector<iovec> of_second(2);
    ASSERT_EQ(first.front(of_first), 2u);
    ASSERT_EQ(second.front(of_second), 2u);
    EXPECT_EQ(of_first[1].iov_base, of_second[1].iov_base);
}

} // namespace
