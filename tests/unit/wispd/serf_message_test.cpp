// SPDX-License-Identifier: Apache-2.0
// The bytes between wispd and a Serf agent.
#include <array>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/serf/serf_message.h"
#include "tests/support/process_counters.h"
#include "tests/unit/wispd/serf_bytes.h"

namespace {

using namespace wispd;
using namespace wispd_test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::array ALL_QUESTIONS = {Serf_Question::handshake, Serf_Question::auth, Serf_Question::stats,
                                      Serf_Question::stream, Serf_Question::members};

// Everything an agent sends to a client with a key, with events before and after the list.
const std::string SESSION = HANDSHAKE_ANSWER + AUTH_ANSWER + STATS_ANSWER + STREAM_ANSWER + FAILED_EVENT +
                            MEMBERS_ANSWER + USER_EVENT + FAILED_EVENT;

class SerfMessageTest : public testing::Test {
  protected:
    SerfMessageTest() {
        for (const Serf_Question question : ALL_QUESTIONS) {
            decoder_.expect(question);
        }
    }

    std::vector<Serf_Answer> decode(const std::string &bytes) {
        decoder_.decode(bytes);
        return decoder_.fetch();
    }

    Serf_Report report_of(const std::string &bytes) {
        const std::vector<Serf_Answer> answers = decode(bytes);
        EXPECT_THAT(answers, SizeIs(1));
        return std::get<Serf_Report>(answers.at(0).body);
    }

    // The error's text; empty: none.
    std::string rejection_of(const std::string &bytes) {
        try {
            decode(bytes);
        } catch (const Serf_Malformed &error) {
            return error.what();
        }
        return {};
    }

    Serf_Decoder decoder_;
};

std::string member(const std::string &more, const std::string &count = "83") {
    return answer_header("05") + raw("81 a7") + "Members" + raw("91") + raw(count) + raw("a4") + "Name" +
           raw("a1") + "x" + raw("a6") + "Status" + raw("a5") + "alive" + more;
}

void expect_the_two_members(const std::vector<Serf_Member> &members) {
    ASSERT_THAT(members, SizeIs(2));
    EXPECT_EQ(members[0].name, "n1");
    EXPECT_EQ(address_text(members[0].address), "10.1.0.1");
    EXPECT_EQ(members[0].status, Serf_Member::Status::alive);
    EXPECT_EQ(members[0].node_tag, "17");
    EXPECT_EQ(members[1].name, "n2");
    EXPECT_EQ(address_text(members[1].address), "fd00::2");
    EXPECT_EQ(members[1].status, Serf_Member::Status::failed);
    EXPECT_EQ(members[1].node_tag, std::nullopt);
}

TEST(SerfRequest, HandshakeHasAHeaderAndTheVersion) {
    EXPECT_EQ(serf_request(Serf_Question::handshake), raw("82 a7") + "Command" + raw("a9") + "handshake" +
                                                          raw("a3") + "Seq" + raw("01 81 a7") + "Version" +
                                                          raw("01"));
}

TEST(SerfRequest, AuthHasTheKey) {
    EXPECT_EQ(serf_request(Serf_Question::auth, "secret"), raw("82 a7") + "Command" + raw("a4") + "auth" +
                                                               raw("a3") + "Seq" + raw("02 81 a7") + "AuthKey" +
                                                               raw("a6") + "secret");
}

TEST(SerfRequest, StreamNamesTheEventsOfMembers) {
    EXPECT_EQ(serf_request(Serf_Question::stream),
              raw("82 a7") + "Command" + raw("a6") + "stream" + raw("a3") + "Seq" + raw("04 81 a4") + "Type" +
                  raw("d9 40") + "member-join,member-leave,member-failed,member-update,member-reap");
}

TEST(SerfRequest, StatsAndMembersAreAHeaderAlone) {
    EXPECT_EQ(serf_request(Serf_Question::stats),
              raw("82 a7") + "Command" + raw("a5") + "stats" + raw("a3") + "Seq" + raw("03"));
    EXPECT_EQ(serf_request(Serf_Question::members),
              raw("82 a7") + "Command" + raw("a7") + "members" + raw("a3") + "Seq" + raw("05"));
}

TEST_F(SerfMessageTest, AnAnswerWithoutABodyIsItsQuestionAlone) {
    const std::vector<Serf_Answer> answers = decode(HANDSHAKE_ANSWER);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0].question, Serf_Question::handshake);
    EXPECT_EQ(answers[0].error, "");
    EXPECT_TRUE(std::holds_alternative<std::monostate>(answers[0].body));
}

TEST_F(SerfMessageTest, TheListHasNameAddressStatusAndTag) {
    const Serf_Report report = report_of(MEMBERS_ANSWER);
    EXPECT_EQ(report.kind, Serf_Report::Kind::all);
    expect_the_two_members(report.members);
}

TEST_F(SerfMessageTest, AnEventHasItsKindAndItsMembers) {
    decode(STREAM_ANSWER);
    const Serf_Report report = report_of(FAILED_EVENT);
    EXPECT_EQ(report.kind, Serf_Report::Kind::failed);
    expect_the_two_members(report.members);
}

TEST_F(SerfMessageTest, EachKindOfEventIsKnown) {
    decode(STREAM_ANSWER);
    using Kind = Serf_Report::Kind;
    const std::pair<std::string, Kind> kinds[] = {{"join", Kind::join},
                                                  {"leave", Kind::leave},
                                                  {"failed", Kind::failed},
                                                  {"update", Kind::update},
                                                  {"reap", Kind::reap}};
    for (const auto &[word, kind] : kinds) {
        const std::string event = "member-" + word;
        EXPECT_EQ(report_of(answer_header("04") + raw("82 a5") + "Event" + raw("d9") +
                            static_cast<char>(event.size()) + event + raw("a7") + "Members" + raw("90"))
                      .kind,
                  kind)
            << word;
    }
}

TEST_F(SerfMessageTest, AnEventOfAnotherKindIsSkipped) {
    decode(STREAM_ANSWER);
    EXPECT_THAT(decode(USER_EVENT), IsEmpty());
    EXPECT_EQ(report_of(FAILED_EVENT).kind, Serf_Report::Kind::failed);
}

TEST_F(SerfMessageTest, StatsAreTheAgentsNameAndItsCounts) {
    const std::vector<Serf_Answer> answers = decode(STATS_ANSWER);
    ASSERT_THAT(answers, SizeIs(1));
    const auto &counts = std::get<Serf_Counts>(answers[0].body);
    EXPECT_EQ(counts.agent, "n1");
    EXPECT_EQ(counts.members, 2049U);
    EXPECT_EQ(counts.failed, 1U);
    EXPECT_EQ(counts.left, 0U);
}

TEST_F(SerfMessageTest, AnErrorStandsInPlaceOfABody) {
    const std::string rejected =
        raw("82 a3") + "Seq" + raw("05 a5") + "Error" + raw("a6") + "no\n" + raw("1b") + "[A";
    const std::vector<Serf_Answer> answers = decode(rejected + HANDSHAKE_ANSWER);
    ASSERT_THAT(answers, SizeIs(2));
    EXPECT_EQ(answers[0].question, Serf_Question::members);
    EXPECT_EQ(answers[0].error, "no\\x0A\\x1B[A");
    EXPECT_EQ(answers[1].question, Serf_Question::handshake);
}

TEST_F(SerfMessageTest, ALongErrorIsCut) {
    const std::vector<Serf_Answer> answers =
        decode(raw("82 a3") + "Seq" + raw("05 a5") + "Error" + raw("da 07 d0") + std::string(2000, 'e'));
    EXPECT_EQ(answers.at(0).error, std::string(200, 'e'));
}

TEST_F(SerfMessageTest, AnAbsentOrEmptyAddressIsNone) {
    EXPECT_FALSE(is_address(report_of(member("", "82")).members.at(0).address));
    decoder_.expect(Serf_Question::members);
    EXPECT_FALSE(is_address(report_of(member(raw("a4") + "Addr" + raw("c0"))).members.at(0).address));
    decoder_.expect(Serf_Question::members);
    EXPECT_FALSE(is_address(report_of(member(raw("a4") + "Addr" + raw("c4 00"))).members.at(0).address));
}

TEST_F(SerfMessageTest, AnUnknownStatusIsNone) {
    const std::string other = answer_header("05") + raw("81 a7") + "Members" + raw("91 82 a4") + "Name" +
                              raw("a1") + "x" + raw("a6") + "Status" + raw("a4") + "lost";
    EXPECT_EQ(report_of(other).members.at(0).status, Serf_Member::Status::none);
}

TEST_F(SerfMessageTest, AnUnknownKeyIsSkippedWithAllInsideIt) {
    const std::string more = raw("a5") + "Extra" + raw("83 01 93 c2 ca 00 00 00 00 d6 01 00 00 00 00 a4") +
                             "Name" + raw("82 a4") + "Name" +
                             raw("05 93 01 02 03 80 20 cb 00 00 00 00 00 00 00 00");
    EXPECT_EQ(report_of(member(more)).members.at(0).name, "x");
}

TEST_F(SerfMessageTest, EachAnswerArrivesByteByByte) {
    std::vector<Serf_Answer> answers;
    for (const char byte : SESSION) {
        for (Serf_Answer &answer : decode({byte})) {
            answers.push_back(std::move(answer));
        }
    }
    ASSERT_THAT(answers, SizeIs(7));
    expect_the_two_members(std::get<Serf_Report>(answers[4].body).members);
    EXPECT_EQ(answers[5].question, Serf_Question::members);
    expect_the_two_members(std::get<Serf_Report>(answers[5].body).members);
    expect_the_two_members(std::get<Serf_Report>(answers[6].body).members);
}

TEST_F(SerfMessageTest, AnAnswerWithoutAQuestionIsRejected) {
    decode(HANDSHAKE_ANSWER);
    EXPECT_THAT(rejection_of(HANDSHAKE_ANSWER), HasSubstr("found the number 1 in a header"));
}

TEST_F(SerfMessageTest, ANumberOfNoQuestionIsRejected) {
    for (const char *number : {"00", "06", "7f", "cf ff ff ff ff ff ff ff ff"}) {
        Serf_Decoder decoder;
        decoder.expect(Serf_Question::handshake);
        EXPECT_THROW(decoder.decode(answer_header(number)), Serf_Malformed) << number;
    }
}

TEST_F(SerfMessageTest, AnEventBeforeTheStreamWasAnsweredIsRejected) {
    EXPECT_THAT(rejection_of(FAILED_EVENT), HasSubstr("found no Seq"));
}

struct Malformed_Case {
    const char *name;
    std::string bytes;
    const char *error;
};

class SerfMalformedTest : public SerfMessageTest, public testing::WithParamInterface<Malformed_Case> {};

TEST_P(SerfMalformedTest, IsRejectedWithWhatWasExpected) {
    decode(STREAM_ANSWER);
    EXPECT_EQ(rejection_of(GetParam().bytes), GetParam().error);
}

std::string many(const char *digits, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += raw(digits);
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, SerfMalformedTest,
    testing::Values(
        Malformed_Case{"NoMap", "GET / HTTP/1.1\r\n", "found a number for an answer, expected a map"},
        Malformed_Case{"UnusedByte", raw("c1"), "found a byte that begins no value, expected msgpack"},
        Malformed_Case{"NumberAsText", raw("82 a3") + "Seq" + raw("a1") + "1",
                       "found text for Seq, expected a number"},
        Malformed_Case{"NegativeNumber", raw("82 a3") + "Seq" + raw("ff"),
                       "found another value for Seq, expected a number"},
        Malformed_Case{"ErrorAsNothing", raw("82 a5") + "Error" + raw("c0"),
                       "found nothing for Error, expected text"},
        Malformed_Case{"KeyAsNumber", raw("82 01"), "found a number for a key, expected text"},
        Malformed_Case{"KeyTwice", raw("83 a3") + "Seq" + raw("01 a3") + "Seq",
                       "found a second Seq, expected one"},
        Malformed_Case{"NoError", raw("81 a3") + "Seq" + raw("01"), "found no Error, expected text for it"},
        Malformed_Case{"EmptyMap", raw("80"), "found no Seq, expected a number for it"},
        Malformed_Case{"NoMembers", answer_header("05") + raw("80"),
                       "found no Members, expected a list for it"},
        Malformed_Case{"MembersAsMap", answer_header("05") + raw("81 a7") + "Members" + raw("80"),
                       "found a map for Members, expected a list"},
        Malformed_Case{"TooManyMembers", answer_header("05") + raw("81 a7") + "Members" + raw("dd 00 01 00 01"),
                       "found 65537 members, expected at most 65536"},
        Malformed_Case{"MemberAsText", answer_header("05") + raw("81 a7") + "Members" + raw("91 a1") + "x",
                       "found text for a member, expected a map"},
        Malformed_Case{"MemberWithoutName", answer_header("05") + raw("81 a7") + "Members" + raw("91 80"),
                       "found no Name, expected text for it"},
        Malformed_Case{"EmptyName",
                       answer_header("05") + raw("81 a7") + "Members" + raw("91 82 a4") + "Name" + raw("a0"),
                       "found an empty name, expected the member's name"},
        Malformed_Case{"LongName",
                       answer_header("05") + raw("81 a7") + "Members" + raw("91 82 a4") + "Name" +
                           raw("da 01 00") + std::string(256, 'n'),
                       "found a name of 256 bytes, expected at most 255"},
        Malformed_Case{"AddressOfFiveBytes", member(raw("a4") + "Addr" + raw("a5 01 02 03 04 05")),
                       "found an address of 5 bytes, expected 4 or 16 bytes"},
        Malformed_Case{
            "LongTag",
            member(raw("a4") + "Tags" + raw("81 a7") + "hb_node" + raw("da 02 01") + std::string(513, '1')),
            "found a tag of 513 bytes, expected at most 512"},
        Malformed_Case{"TagAsNumber", member(raw("a4") + "Tags" + raw("81 a7") + "hb_node" + raw("05")),
                       "found a number for hb_node, expected text"},
        Malformed_Case{"EventWithoutMembers",
                       answer_header("04") + raw("81 a5") + "Event" + raw("ab") + "member-join",
                       "found no Members, expected a list for it"},
        Malformed_Case{"CountNotInDigits",
                       answer_header("03") + raw("81 a4") + "serf" + raw("81 a6") + "failed" + raw("a2") + "1x",
                       "found other text for failed, expected a number in digits"},
        Malformed_Case{"CountTooLarge",
                       answer_header("03") + raw("81 a4") + "serf" + raw("81 a6") + "failed" + raw("aa") +
                           "4294967296",
                       "found other text for failed, expected a number in digits"},
        Malformed_Case{"DeepNesting", raw("81 a1") + "x" + many("91", 16),
                       "found deeper nesting, expected at most 16 maps and lists inside each other"},
        Malformed_Case{"LongText", raw("81 a1") + "x" + raw("db 00 01 00 01") + std::string(65537, 'x'),
                       "found a longer text, expected at most 65536 bytes"},
        Malformed_Case{"LongTextThatDoesNotEnd",
                       raw("81 a1") + "x" + raw("db ff ff ff ff") + std::string(65537, 'x'),
                       "found a longer text, expected at most 65536 bytes"},
        Malformed_Case{"LongExtension", raw("81 a1") + "x" + raw("c9 00 01 00 00 01") + std::string(65536, 'x'),
                       "found a longer text, expected at most 65536 bytes"}),
    [](const testing::TestParamInfo<Malformed_Case> &test) { return test.param.name; });

TEST_F(SerfMessageTest, ANameOf255BytesAndNestingOf16LevelsAreAccepted) {
    const std::string longest = answer_header("05") + raw("82 a1") + "x" + many("91", 14) + raw("90 a7") +
                                "Members" + raw("91 82 a4") + "Name" + raw("d9 ff") + std::string(255, 'n') +
                                raw("a6") + "Status" + raw("a4") + "left";
    EXPECT_THAT(report_of(longest).members.at(0).name, SizeIs(255));
}

TEST_F(SerfMessageTest, AMessageOf64MiBAndMoreIsRejected) {
    decode(raw("81 a1") + "x" + raw("dd ff ff ff ff"));
    const std::string nothing(1024 * 1024, '\xc0');
    for (int i = 0; i < 63; ++i) {
        ASSERT_EQ(rejection_of(nothing), "");
    }
    EXPECT_EQ(rejection_of(nothing), "found a longer message, expected at most 67108864 bytes");
}

TEST_F(SerfMessageTest, AnswersBeforeAMalformedOneCanBeFetched) {
    EXPECT_NE(rejection_of(HANDSHAKE_ANSWER + raw("c1")), "");
    EXPECT_THAT(decoder_.fetch(), SizeIs(1));
    EXPECT_THAT(rejection_of(AUTH_ANSWER), HasSubstr("a byte that begins no value"));
}

// The answers before the end, or nothing when the bytes were rejected.
std::optional<std::size_t> count_of(const std::string &bytes) {
    Serf_Decoder decoder;
    for (const Serf_Question question : ALL_QUESTIONS) {
        decoder.expect(question);
    }
    try {
        decoder.decode(bytes);
    } catch (const Serf_Malformed &) {
        return std::nullopt;
    }
    return decoder.fetch().size();
}

TEST(SerfStream, CutAtAnyByteItHasTheAnswersBeforeTheCut) {
    const std::size_t ends[] = {HANDSHAKE_ANSWER.size(), AUTH_ANSWER.size(),  STATS_ANSWER.size(),
                                STREAM_ANSWER.size(),    FAILED_EVENT.size(), MEMBERS_ANSWER.size(),
                                USER_EVENT.size(),       FAILED_EVENT.size()};
    for (std::size_t size = 0; size <= SESSION.size(); ++size) {
        std::size_t complete = 0;
        std::size_t end = 0;
        for (std::size_t i = 0; i < std::size(ends); ++i) {
            end += ends[i];
            complete += size >= end && i != 6 ? 1 : 0; // the seventh is the user's event
        }
        EXPECT_EQ(count_of(SESSION.substr(0, size)), complete) << "cut at " << size;
    }
}

// An exception costs a sanitizer a thousand times as much.
#if defined(HB_ADDRESS_SANITIZER)
constexpr std::size_t STEP = 31;
#else
constexpr std::size_t STEP = 1;
#endif

TEST(SerfStream, WithAnyByteChangedItIsDecodedOrRejected) {
    std::size_t rejected = 0;
    for (std::size_t at = 0; at < SESSION.size(); at += STEP) {
        for (int value = 0; value < 256; ++value) {
            std::string changed = SESSION;
            changed[at] = static_cast<char>(value);
            const std::optional<std::size_t> count = count_of(changed);
            rejected += count ? 0 : 1;
            ASSERT_LE(count.value_or(0), 8U);
        }
    }
    EXPECT_GT(rejected, SESSION.size() / STEP);
}

std::string list_of_members(unsigned count) {
    std::string all = answer_header("05") + raw("81 a7") + "Members" + raw("dd");
    for (int shift = 24; shift >= 0; shift -= 8) {
        all += static_cast<char>(count >> shift & 0xFF);
    }
    for (unsigned i = 0; i < count; ++i) {
        all += raw("83 a4") + "Name" + raw("d9 c8") + std::string(200, 'n') + raw("a6") + "Status" + raw("a5") +
               "alive" + raw("a4") + "Addr" + raw("a4 0a 01 00 01");
    }
    return all;
}

TEST(SerfStream, ALongListIsDecodedInPiecesOfEachSize) {
    const std::string bytes = list_of_members(2049);
    for (const std::size_t piece : {1U, 7U, 1000U, 65536U}) {
        Serf_Decoder decoder;
        decoder.expect(Serf_Question::members);
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            decoder.decode(std::string_view(bytes).substr(at, piece));
        }
        const std::vector<Serf_Answer> answers = decoder.fetch();
        ASSERT_THAT(answers, SizeIs(1));
        EXPECT_THAT(std::get<Serf_Report>(answers[0].body).members, SizeIs(2049));
    }
}

// One list of 48 networks with 2,049 members each is large; what remains of each must not be.
TEST(SerfStream, NothingRemainsOfLongListsAndTextsThatWereFetched) {
    const std::string list = list_of_members(2049);
    const std::string long_text = raw("83 a3") + "Seq" + raw("01 a5") + "Error" + raw("a0 a1") + "x" +
                                  raw("db 00 01 00 00") + std::string(65536, 'x');
    std::array<Serf_Decoder, 48> decoders;
    const std::size_t before = hb_test::allocated_bytes();
    for (Serf_Decoder &decoder : decoders) {
        decoder.expect(Serf_Question::members);
        decoder.decode(list);
        decoder.expect(Serf_Question::handshake);
        decoder.decode(long_text);
        EXPECT_THAT(decoder.fetch(), SizeIs(2));
    }
    EXPECT_LT(hb_test::allocated_bytes(), before + 48 * 1024);
    for (Serf_Decoder &decoder : decoders) {
        decoder.expect(Serf_Question::stats);
        decoder.decode(STATS_ANSWER);
        EXPECT_THAT(decoder.fetch(), SizeIs(1));
    }
}

} // namespace
