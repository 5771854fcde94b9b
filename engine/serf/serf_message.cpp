// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_message.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <msgpack.hpp>
#include <optional>
#include <set>
#include <utility>

#include "engine/serf/serf_visitor.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr int PROTOCOL_VERSION = 1;
constexpr std::string_view EVENTS = "member-join,member-leave,member-failed,member-update,member-reap";
constexpr std::size_t PIECE = 4 * 1024;  // decoded at a time
constexpr std::size_t BUFFER = 8 * 1024; // grows for longer texts

std::optional<Serf_Report::Kind> kind_of(std::string_view event) {
    using Kind = Serf_Report::Kind;
    constexpr std::pair<std::string_view, Kind> events[] = {{"member-join", Kind::join},
                                                            {"member-leave", Kind::leave},
                                                            {"member-failed", Kind::failed},
                                                            {"member-update", Kind::update},
                                                            {"member-reap", Kind::reap}};
    const auto *const found = std::find_if(std::begin(events), std::end(events),
                                           [&](const auto &known) { return known.first == event; });
    return found == std::end(events) ? std::nullopt : std::optional(found->second);
}

std::optional<Serf_Question> question_of(uint64_t number) {
    return number >= static_cast<uint64_t>(Serf_Question::handshake) &&
                   number <= static_cast<uint64_t>(Serf_Question::members)
               ? std::optional(static_cast<Serf_Question>(number))
               : std::nullopt;
}

bool has_body(Serf_Question question) {
    return question == Serf_Question::stats || question == Serf_Question::members;
}

using Packer = msgpack::packer<msgpack::sbuffer>;

void pack_text(Packer &packer, std::string_view text) {
    packer.pack_str(static_cast<uint32_t>(text.size()));
    packer.pack_str_body(text.data(), static_cast<uint32_t>(text.size()));
}

// The parser asks for this in case values refer to its buffer; none does.
struct Unused_Buffer {
    void operator()(char *) const {}
};
constexpr Unused_Buffer UNUSED_BUFFER;

class Value_Parser : public msgpack::parser<Value_Parser, const Unused_Buffer> {
  public:
    Value_Parser() : parser(UNUSED_BUFFER, BUFFER) {}

    Serf_Visitor &visitor() { return visitor_; }
    bool referenced() const { return false; }
    void set_referenced(bool) {}

    void add(std::string_view bytes) {
        reserve_buffer(bytes.size());
        std::memcpy(buffer(), bytes.data(), bytes.size());
        buffer_consumed(bytes.size());
    }

  private:
    Serf_Visitor visitor_;
};

} // namespace

std::string_view serf_word(Serf_Question question) {
    constexpr std::string_view words[] = {"handshake", "auth", "stats", "stream", "members"};
    return words[static_cast<uint64_t>(question) - static_cast<uint64_t>(Serf_Question::handshake)];
}

std::string serf_request(Serf_Question question, std::string_view auth_key) {
    msgpack::sbuffer bytes;
    Packer packer(bytes);
    packer.pack_map(2);
    pack_text(packer, "Command");
    pack_text(packer, serf_word(question));
    pack_text(packer, "Seq");
    packer.pack(static_cast<uint64_t>(question));
    switch (question) {
    case Serf_Question::handshake:
        packer.pack_map(1);
        pack_text(packer, "Version");
        packer.pack(PROTOCOL_VERSION);
        break;
    case Serf_Question::auth:
        packer.pack_map(1);
        pack_text(packer, "AuthKey");
        pack_text(packer, auth_key);
        break;
    case Serf_Question::stream:
        packer.pack_map(1);
        pack_text(packer, "Type");
        pack_text(packer, EVENTS);
        break;
    case Serf_Question::stats:
    case Serf_Question::members:
        break; // no body
    }
    return std::string(bytes.data(), bytes.size());
}

class Serf_Decoder::Impl {
  public:
    Impl() { parser_.emplace(); }

    void expect(Serf_Question question) { expected_.insert(question); }
    void decode(std::string_view bytes);
    std::vector<Serf_Answer> fetch() { return std::exchange(answers_, {}); }

  private:
    void add(std::string_view piece);
    void check_size() const;
    void release_long_buffer();
    Serf_Place next_place() const;
    void finish();
    void finish_header(Serf_Values &header);
    void finish_body(Serf_Values &body);
    void deliver(Serf_Answer answer);

    std::optional<Value_Parser> parser_; // replaced to release a buffer that has grown
    std::size_t message_start_ = 0;      // in the parser's count of bytes
    bool in_body_ = false;
    Serf_Question question_ = Serf_Question::handshake; // of the body
    bool streams_ = false;                              // stream was answered: events follow
    std::set<Serf_Question> expected_;
    std::vector<Serf_Answer> answers_;
    std::string failure_;
};

void Serf_Decoder::Impl::decode(std::string_view bytes) {
    if (!failure_.empty()) {
        throw Serf_Malformed(failure_);
    }
    try {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(PIECE, bytes.size()))) {
            add(bytes.substr(0, PIECE));
        }
    } catch (const msgpack::unpack_error &error) {
        failure_ = text("found ", error.what(), ", expected msgpack");
        throw Serf_Malformed(failure_);
    } catch (const Serf_Malformed &error) {
        failure_ = error.what();
        throw;
    }
}

void Serf_Decoder::Impl::add(std::string_view piece) {
    parser_->add(piece);
    while (parser_->next()) {
        check_size();
        finish();
        message_start_ = parser_->parsed_size();
    }
    // What the parser keeps back is a text that has not arrived completely.
    if (parser_->nonparsed_size() > SERF_TEXT_MAX) {
        Serf_Visitor::reject_longer_text();
    }
    check_size();
    release_long_buffer();
}

// The parser's buffer never shrinks, so a parser with a long one is replaced between two messages.
void Serf_Decoder::Impl::release_long_buffer() {
    if (parser_->buffer_capacity() > BUFFER && parser_->message_size() == message_start_) {
        parser_.emplace();
        parser_->visitor().begin(next_place());
        message_start_ = 0;
    }
}

void Serf_Decoder::Impl::check_size() const {
    if (parser_->parsed_size() - message_start_ > SERF_MESSAGE_MAX) {
        throw Serf_Malformed(text("found a longer message, expected at most ", SERF_MESSAGE_MAX, " bytes"));
    }
}

Serf_Place Serf_Decoder::Impl::next_place() const {
    if (!in_body_) {
        return Serf_Place::header;
    }
    return question_ == Serf_Question::stream  ? Serf_Place::event
           : question_ == Serf_Question::stats ? Serf_Place::stats
                                               : Serf_Place::members;
}

void Serf_Decoder::Impl::finish() {
    Serf_Values values = std::move(parser_->visitor().values());
    if (std::exchange(in_body_, false)) {
        finish_body(values);
    } else {
        finish_header(values);
    }
    parser_->visitor().begin(next_place());
}

void Serf_Decoder::Impl::finish_header(Serf_Values &header) {
    const std::optional<Serf_Question> question = question_of(header.number);
    const bool is_event = question == Serf_Question::stream && streams_;
    if (!question || !(is_event || expected_.contains(*question))) {
        throw Serf_Malformed(
            text("found the number ", header.number, " in a header, expected that of an open question"));
    }
    if (header.error.empty() && (is_event || has_body(*question))) {
        question_ = *question;
        in_body_ = true;
        return;
    }
    streams_ = streams_ || (question == Serf_Question::stream && header.error.empty());
    deliver({*question, std::move(header.error), {}});
}

void Serf_Decoder::Impl::finish_body(Serf_Values &body) {
    if (question_ == Serf_Question::stats) {
        deliver({question_, {}, std::move(body.counts)});
        return;
    }
    if (question_ == Serf_Question::members) {
        deliver({question_, {}, Serf_Report{Serf_Report::Kind::all, std::move(body.members)}});
        return;
    }
    if (const std::optional<Serf_Report::Kind> kind = kind_of(body.event)) {
        if (!body.has_list) {
            throw Serf_Malformed("found no Members, expected a list for it");
        }
        deliver({question_, {}, Serf_Report{*kind, std::move(body.members)}});
    }
}

void Serf_Decoder::Impl::deliver(Serf_Answer answer) {
    expected_.erase(answer.question);
    answers_.push_back(std::move(answer));
}

Serf_Decoder::Serf_Decoder() : impl_(std::make_unique<Impl>()) {}

Serf_Decoder::~Serf_Decoder() = default;

void Serf_Decoder::expect(Serf_Question question) {
    impl_->expect(question);
}

void Serf_Decoder::decode(std::string_view bytes) {
    impl_->decode(bytes);
}

std::vector<Serf_Answer> Serf_Decoder::fetch() {
    return impl_->fetch();
}

} // namespace wispd
