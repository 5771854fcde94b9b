// SPDX-License-Identifier: Apache-2.0
// Bytes between wispd and a Serf agent, written by hand from the format of msgpack: 8n is a map with n keys, 9n a list,
// an a text of n bytes with bits from 20 hexadecimal on, c4 n binary, 00 to 7f a number.
#pragma once

#include <string>
#include <string_view>

#include "tests/unit/wispd/bytes_by_hand.h"

namespace wispd_test {

inline std::string raw(std::string_view digits) {
    const std::vector<char> bytes = hex(digits);
    return {bytes.begin(), bytes.end()};
}

// The header of an answer without an error.
inline std::string answer_header(std::string_view number) {
    return raw("82 a3") + "Seq" + raw(number) + raw("a5") + "Error" + raw("a0");
}

inline const std::string HANDSHAKE_ANSWER = answer_header("01");
inline const std::string AUTH_ANSWER = answer_header("02");
inline const std::string STREAM_ANSWER = answer_header("04");

// Two members: n1 with an IPv4 address, the tag hb_node and another one; n2 with an IPv6 address and no tag.
inline const std::string TWO_MEMBERS =
    raw("92 8b a4") + "Name" + raw("a2") + "n1" + raw("a4") + "Addr" + raw("a4 0a 01 00 01 a4") + "Port" +
    raw("cd 1f 0a a4") + "Tags" + raw("82 a4") + "role" + raw("a2") + "db" + raw("a7") + "hb_node" + raw("a2") +
    "17" + raw("a6") + "Status" + raw("a5") + "alive" + raw("ab") + "ProtocolMin" + raw("01 ab") +
    "ProtocolMax" + raw("05 ab") + "ProtocolCur" + raw("02 ab") + "DelegateMin" + raw("02 ab") + "DelegateMax" +
    raw("05 ab") + "DelegateCur" + raw("04") +
    // The second member
    raw("85 a4") + "Name" + raw("c4 02") + "n2" + raw("a4") + "Addr" +
    raw("c4 10 fd 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02 a4") + "Port" + raw("cd 1f 0a a4") + "Tags" +
    raw("80 a6") + "Status" + raw("d9 06") + "failed";

inline const std::string MEMBERS_ANSWER = answer_header("05") + raw("81 a7") + "Members" + TWO_MEMBERS;

inline const std::string FAILED_EVENT = answer_header("04") + raw("82 a5") + "Event" + raw("ad") +
                                        "member-failed" + raw("a7") + "Members" + TWO_MEMBERS;

inline const std::string USER_EVENT = answer_header("04") + raw("85 a5") + "Event" + raw("a4") + "user" +
                                      raw("a5") + "LTime" + raw("07 a4") + "Name" + raw("a6") + "deploy" +
                                      raw("a7") + "Payload" + raw("c4 02 00 ff a8") + "Coalesce" + raw("c3");

inline const std::string STATS_ANSWER =
    answer_header("03") + raw("84 a5") + "agent" + raw("81 a4") + "name" + raw("a2") + "n1" + raw("a7") +
    "runtime" + raw("81 a2") + "os" + raw("a5") + "linux" + raw("a4") + "serf" + raw("84 a6") + "failed" +
    raw("a1") + "1" + raw("a4") + "left" + raw("a1") + "0" + raw("a7") + "members" + raw("a4") + "2049" +
    raw("ab") + "member_time" + raw("a2") + "12" + raw("a4") + "tags" + raw("80");

} // namespace wispd_test
