// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/serf_message.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "common/printable.h"
#include "engine/serf/serf_message.h"

namespace {

using namespace wispd;

constexpr std::size_t PIECE_SIZES = 4;

struct Outcome {
    std::vector<Serf_Answer> answers;
    std::string error; // empty: nothing malformed so far
};

class Session {
  public:
    Session() {
        for (const auto question : {Serf_Question::handshake, Serf_Question::auth, Serf_Question::stats,
                                    Serf_Question::stream, Serf_Question::members}) {
            decoder_.expect(question);
        }
    }

    void decode(std::string_view bytes) {
        try {
            decoder_.decode(bytes);
        } catch (const Serf_Malformed &malformed) {
            outcome_.error = malformed.what();
        }
        for (Serf_Answer &answer : decoder_.fetch()) {
            outcome_.answers.push_back(std::move(answer));
        }
    }

    const Outcome &outcome() const { return outcome_; }

  private:
    Serf_Decoder decoder_;
    Outcome outcome_;
};

Outcome decoded_at_once(std::string_view bytes) {
    Session session;
    session.decode(bytes);
    return session.outcome();
}

// The piece after a malformed one must have the same error.
Outcome decoded_in_pieces(std::string_view bytes, const uint8_t *sizes) {
    Session session;
    for (std::size_t piece = 0; !bytes.empty(); ++piece) {
        const std::size_t size = std::min<std::size_t>(sizes[piece % PIECE_SIZES] + 1U, bytes.size());
        session.decode(bytes.substr(0, size));
        bytes.remove_prefix(size);
    }
    return session.outcome();
}

bool are_same(const Serf_Member &a, const Serf_Member &b) {
    return a.name == b.name && a.status == b.status && a.node_tag == b.node_tag &&
           std::memcmp(&a.address, &b.address, sizeof a.address) == 0;
}

bool are_same(const Serf_Answer &a, const Serf_Answer &b) {
    if (a.question != b.question || a.error != b.error || a.body.index() != b.body.index()) {
        return false;
    }
    if (const auto *counts = std::get_if<Serf_Counts>(&a.body)) {
        const auto &other = std::get<Serf_Counts>(b.body);
        return counts->agent == other.agent && counts->members == other.members &&
               counts->failed == other.failed && counts->left == other.left;
    }
    if (const auto *report = std::get_if<Serf_Report>(&a.body)) {
        const auto &other = std::get<Serf_Report>(b.body);
        return report->kind == other.kind &&
               std::equal(report->members.begin(), report->members.end(), other.members.begin(),
                          other.members.end(),
                          [](const Serf_Member &one, const Serf_Member &two) { return are_same(one, two); });
    }
    return true;
}

bool are_same(const Outcome &a, const Outcome &b) {
    return a.error == b.error &&
           std::equal(a.answers.begin(), a.answers.end(), b.answers.begin(), b.answers.end(),
                      [](const Serf_Answer &one, const Serf_Answer &two) { return are_same(one, two); });
}

// What every user of an answer relies on.
bool is_sound(const Serf_Answer &answer) {
    if (!answer.error.empty()) {
        return std::holds_alternative<std::monostate>(answer.body) &&
               terminal::printable(answer.error) == answer.error;
    }
    const auto *report = std::get_if<Serf_Report>(&answer.body);
    return !report ||
           (report->members.size() <= SERF_MEMBERS_MAX &&
            std::all_of(report->members.begin(), report->members.end(), [](const Serf_Member &member) {
                return !member.name.empty() && member.name.size() <= SERF_NAME_MAX;
            }));
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    if (size < PIECE_SIZES) {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char *>(data) + PIECE_SIZES, size - PIECE_SIZES);
    const Outcome whole = decoded_at_once(bytes);
    if (!are_same(whole, decoded_in_pieces(bytes, data)) ||
        !std::all_of(whole.answers.begin(), whole.answers.end(), is_sound)) {
        std::abort();
    }
    return 0;
}
