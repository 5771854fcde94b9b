// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "daemon/publisher/record_reader.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using wispd::Record_Reader;
using wispd::Request;
using wispd_test::hex;
using wispd_test::join;
using wispd_test::zeros;

struct Taken {
    int32_t kind;
    int32_t pid;
    std::vector<char> body;

    bool operator==(const Taken &) const = default;
};

std::vector<char> request(std::string_view length, std::string_view kind, std::string_view len,
                          const std::vector<char> &body) {
    return join(hex(length), zeros(8), hex(kind), hex(len), zeros(48), hex("34120000"), zeros(8), body);
}

class WispdRecordReader : public testing::Test {
  protected:
    bool feed(const std::vector<char> &bytes) {
        return reader_.feed(bytes, [this](const Request &taken) {
            taken_.push_back({taken.kind, taken.pid, {taken.body.begin(), taken.body.end()}});
            return true;
        });
    }

    Record_Reader reader_;
    std::vector<Taken> taken_;
};

const std::vector<char> GET_CONFIG = request("4c000000", "c9000000", "00000000", {});
const std::vector<char> UNSUBSCRIBE = request("4f000000", "d2000000", "03000000", hex("61 62 00"));

TEST_F(WispdRecordReader, TakesARequestWithoutABody) {
    EXPECT_TRUE(feed(GET_CONFIG));
    EXPECT_EQ(taken_, (std::vector<Taken>{{201, 0x1234, {}}}));
}

TEST_F(WispdRecordReader, TakesSeveralRequestsAtOnce) {
    EXPECT_TRUE(feed(join(GET_CONFIG, UNSUBSCRIBE, GET_CONFIG)));
    EXPECT_EQ(taken_, (std::vector<Taken>{{201, 0x1234, {}}, {210, 0x1234, hex("616200")}, {201, 0x1234, {}}}));
}

TEST_F(WispdRecordReader, TakesRequestsByteByByte) {
    for (char byte : join(UNSUBSCRIBE, GET_CONFIG)) {
        EXPECT_TRUE(feed({byte}));
    }
    EXPECT_EQ(taken_, (std::vector<Taken>{{210, 0x1234, hex("616200")}, {201, 0x1234, {}}}));
    EXPECT_EQ(reader_.held(), 0u);
}

TEST_F(WispdRecordReader, WaitsForTheRest) {
    std::vector<char> cut = UNSUBSCRIBE;
    cut.pop_back();
    EXPECT_TRUE(feed(cut));
    EXPECT_TRUE(taken_.empty());
    EXPECT_EQ(reader_.held(), cut.size());
}

TEST_F(WispdRecordReader, TakesTheLongestSuspicion) {
    // 98,427 = 76 + 98,351
    EXPECT_TRUE(feed(request("7b800100", "ce000000", "2f800100", zeros(98351))));
    ASSERT_EQ(taken_.size(), 1u);
    EXPECT_EQ(taken_[0].kind, 206);
    EXPECT_EQ(taken_[0].body.size(), 98351u);
}

TEST_F(WispdRecordReader, RefusesLengthsOutOfRangeBeforeKeepingAnything) {
    for (const char *length : {"4b000000", "00000000", "ffffffff", "00000080", "7c800100", "ffffff7f"}) {
        Record_Reader reader;
        EXPECT_FALSE(reader.feed(hex(length), [](const Request &) { return true; })) << length;
        EXPECT_EQ(reader.held(), 0u);
        EXPECT_FALSE(reader.fault().empty());
    }
}

TEST_F(WispdRecordReader, RefusesALenThatIsNotTheBodys) {
    EXPECT_FALSE(feed(request("4f000000", "d2000000", "02000000", hex("616200"))));
    EXPECT_EQ(reader_.fault(), "a request that states a body of 2 bytes and carries 3");
    EXPECT_TRUE(taken_.empty());
}

TEST_F(WispdRecordReader, RefusesANegativeLen) {
    EXPECT_FALSE(feed(request("4c000000", "c9000000", "ffffffff", {})));
}

TEST_F(WispdRecordReader, TakesNothingAfterAFault) {
    EXPECT_FALSE(feed(hex("00000000")));
    EXPECT_FALSE(feed(GET_CONFIG));
    EXPECT_TRUE(taken_.empty());
}

TEST_F(WispdRecordReader, StopsWhenTheHandlerSaysSo) {
    int seen = 0;
    EXPECT_TRUE(reader_.feed(join(GET_CONFIG, GET_CONFIG), [&seen](const Request &) {
        ++seen;
        return false;
    }));
    EXPECT_EQ(seen, 1);
}

} // namespace
