// SPDX-License-Identifier: Apache-2.0
// The bytes between wispd and a Serf agent: encodes questions, and decodes the stream of answers.
//
// Both directions are msgpack maps, one after the other. A question is a header, and for some questions a body. An
// answer is a header with the question's number and an error text, and for some questions a body. After the question
// `stream` the agent sends further answers with its number: one for each event.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "engine/serf/serf_malformed.h"
#include "engine/serf/serf_report.h"

namespace wispd {

// The values are the numbers in the headers. They are constant, because each question is asked again only after it
// was answered.
enum class Serf_Question : uint64_t { handshake = 1, auth, stats, stream, members };

// Returns the agent's own word for the question.
std::string_view serf_word(Serf_Question question);

// Returns the bytes to send. Only auth uses the key.
std::string serf_request(Serf_Question question, std::string_view auth_key = {});

struct Serf_Answer {
    Serf_Question question = Serf_Question::handshake;
    std::string error;                                           // printable and short; empty: none
    std::variant<std::monostate, Serf_Report, Serf_Counts> body; // by question; nothing beside an error
};

// Decodes what one agent sends. It keeps no bytes but those of an unfinished text, and the members of an unfinished
// list.
class Serf_Decoder {
  public:
    Serf_Decoder();
    Serf_Decoder(const Serf_Decoder &) = delete;
    Serf_Decoder &operator=(const Serf_Decoder &) = delete;
    ~Serf_Decoder();

    // Permits the answer to a question that is sent now. Events are permitted from the answer to stream on.
    void expect(Serf_Question question);
    // Decodes the next bytes, which can end anywhere. Throws Serf_Malformed, and again on further calls.
    // Answers that were complete before can still be fetched.
    void decode(std::string_view bytes);
    // Removes and returns the complete answers. Events of unknown kinds, and unknown keys, are left out.
    std::vector<Serf_Answer> fetch();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd
