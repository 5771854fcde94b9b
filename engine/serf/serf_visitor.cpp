// SPDX-License-Identifier: Apache-2.0
#include "engine/serf/serf_visitor.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include "cluster/address.h"
#include "common/printable.h"
#include "engine/serf/serf_malformed.h"
#include "host/text.h"

namespace wispd {

struct Serf_Key {
    enum class Value {
        number,
        error,
        event,
        members,
        name,
        address,
        status,
        tags,
        node_tag,
        agent,
        agent_name,
        counts,
        all,
        failed,
        left,
        none
    };

    Serf_Place in;
    std::string_view word;
    Serf_Visitor::Form form;
    Value value;
    bool is_required = false;
    Serf_Place inside = Serf_Place::skipped; // what a map or list is
    bool can_be_nothing = false;

    static const Serf_Key ALL[];
    static const Serf_Key ANSWER, KEY, ITEM; // for values without a key
};

namespace {

constexpr std::size_t ERROR_MAX = 200;

[[noreturn]] void reject(const std::string &found, std::string_view expected) {
    throw Serf_Malformed(text("found ", found, ", expected ", expected));
}

Serf_Member::Status status_of(std::string_view word) {
    using Status = Serf_Member::Status;
    constexpr std::pair<std::string_view, Status> words[] = {{"alive", Status::alive},
                                                             {"leaving", Status::leaving},
                                                             {"left", Status::left},
                                                             {"failed", Status::failed}};
    const auto *const found = std::find_if(std::begin(words), std::end(words),
                                           [&](const auto &known) { return known.first == word; });
    return found == std::end(words) ? Status::none : found->second;
}

Hb_IP_address6 address_of(std::string_view bytes) {
    Hb_IP_address6 address{};
    Hb_IP_address4 ipv4{};
    if (bytes.size() == sizeof ipv4) {
        std::memcpy(&ipv4, bytes.data(), sizeof ipv4);
        return mapped(ipv4);
    }
    if (bytes.size() == sizeof address) {
        std::memcpy(&address, bytes.data(), sizeof address);
    } else if (!bytes.empty()) {
        reject(text("an address of ", bytes.size(), " bytes"), "4 or 16 bytes");
    }
    return address;
}

std::string limited(std::string_view word, std::string_view bytes, std::size_t limit) {
    if (bytes.size() > limit) {
        reject(text(word, " of ", bytes.size(), " bytes"), text("at most ", limit));
    }
    return std::string(bytes);
}

} // namespace

// The keys that are not here are skipped with their values.
const Serf_Key Serf_Key::ALL[] = {
    {Serf_Place::header, "Seq", Serf_Visitor::Form::number, Value::number, true},
    {Serf_Place::header, "Error", Serf_Visitor::Form::text, Value::error, true},
    {Serf_Place::members, "Members", Serf_Visitor::Form::list, Value::members, true, Serf_Place::list, true},
    {Serf_Place::event, "Event", Serf_Visitor::Form::text, Value::event, true},
    {Serf_Place::event, "Members", Serf_Visitor::Form::list, Value::members, false, Serf_Place::list, true},
    {Serf_Place::member, "Name", Serf_Visitor::Form::text, Value::name, true},
    {Serf_Place::member, "Addr", Serf_Visitor::Form::text, Value::address, false, Serf_Place::skipped, true},
    {Serf_Place::member, "Status", Serf_Visitor::Form::text, Value::status, true},
    {Serf_Place::member, "Tags", Serf_Visitor::Form::map, Value::tags, false, Serf_Place::tags, true},
    {Serf_Place::tags, "hb_node", Serf_Visitor::Form::text, Value::node_tag},
    {Serf_Place::stats, "agent", Serf_Visitor::Form::map, Value::agent, true, Serf_Place::agent},
    {Serf_Place::stats, "serf", Serf_Visitor::Form::map, Value::counts, true, Serf_Place::counts},
    {Serf_Place::agent, "name", Serf_Visitor::Form::text, Value::agent_name, true},
    {Serf_Place::counts, "members", Serf_Visitor::Form::text, Value::all, true},
    {Serf_Place::counts, "failed", Serf_Visitor::Form::text, Value::failed, true},
    {Serf_Place::counts, "left", Serf_Visitor::Form::text, Value::left, true}};
const Serf_Key Serf_Key::ANSWER = {Serf_Place::skipped, "an answer", Serf_Visitor::Form::map, Value::none};
const Serf_Key Serf_Key::KEY = {Serf_Place::skipped, "a key", Serf_Visitor::Form::text, Value::none};
const Serf_Key Serf_Key::ITEM = {Serf_Place::skipped, "a member", Serf_Visitor::Form::map,
                                 Value::none,         false,      Serf_Place::member};

void Serf_Visitor::reject_longer_text() {
    reject("a longer text", wispd::text("at most ", SERF_TEXT_MAX, " bytes"));
}

void Serf_Visitor::begin(Serf_Place top) {
    top_ = top;
    levels_.clear();
    values_ = {};
}

const char *Serf_Visitor::name_of(Form form) {
    constexpr const char *names[] = {"text", "a number", "a map", "a list", "nothing", "another value"};
    return names[static_cast<int>(form)];
}

const Serf_Key *Serf_Visitor::accept(Form found) {
    const Serf_Key *key = &Serf_Key::ANSWER;
    if (!levels_.empty()) {
        const Level &level = levels_.back();
        if (level.place == Serf_Place::skipped) {
            return nullptr;
        }
        key = level.place == Serf_Place::list ? &Serf_Key::ITEM : level.in_key ? &Serf_Key::KEY : level.key;
    }
    if (key && key->form != found && !(found == Form::nothing && key->can_be_nothing)) {
        reject(text(name_of(found), " for ", key->word), name_of(key->form));
    }
    return key;
}

void Serf_Visitor::enter(Serf_Place place) {
    if (levels_.size() == SERF_DEPTH_MAX) {
        reject("deeper nesting", text("at most ", SERF_DEPTH_MAX, " maps and lists inside each other"));
    }
    levels_.push_back({.place = place});
}

void Serf_Visitor::set_key(std::string_view word) {
    Level &level = levels_.back();
    const auto *const found =
        std::find_if(std::begin(Serf_Key::ALL), std::end(Serf_Key::ALL),
                     [&](const Serf_Key &key) { return key.in == level.place && key.word == word; });
    level.key = found == std::end(Serf_Key::ALL) ? nullptr : found;
    if (level.key) {
        const uint32_t bit = uint32_t{1} << (found - std::begin(Serf_Key::ALL));
        if (level.seen & bit) {
            reject(text("a second ", word), "one");
        }
        level.seen |= bit;
    }
}

void Serf_Visitor::set_count(unsigned &count, std::string_view digits) {
    const char *const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, count);
    if (error != std::errc() || rest != end) {
        reject(text("other text for ", levels_.back().key->word), "a number in digits");
    }
}

void Serf_Visitor::on_text(std::string_view text) {
    if (text.size() > SERF_TEXT_MAX) {
        reject_longer_text();
    }
    const Serf_Key *const key = accept(Form::text);
    if (!key) {
        return;
    }
    if (key == &Serf_Key::KEY) {
        set_key(text);
        return;
    }
    using Value = Serf_Key::Value;
    switch (key->value) {
    case Value::error:
        values_.error = terminal::printable(text.substr(0, ERROR_MAX));
        break;
    case Value::event:
        values_.event = text;
        break;
    case Value::name:
        values_.members.back().name = limited("a name", text, SERF_NAME_MAX);
        if (text.empty()) {
            reject("an empty name", "the member's name");
        }
        break;
    case Value::address:
        values_.members.back().address = address_of(text);
        break;
    case Value::status:
        values_.members.back().status = status_of(text);
        break;
    case Value::node_tag:
        values_.members.back().node_tag = limited("a tag", text, SERF_TAG_MAX);
        break;
    case Value::agent_name:
        values_.counts.agent = limited("a name", text, SERF_NAME_MAX);
        break;
    case Value::all:
        set_count(values_.counts.members, text);
        break;
    case Value::failed:
        set_count(values_.counts.failed, text);
        break;
    case Value::left:
        set_count(values_.counts.left, text);
        break;
    default:
        break; // the other keys have no text
    }
}

void Serf_Visitor::on_other() {
    accept(Form::other);
}

void Serf_Visitor::leave() {
    const Level level = levels_.back();
    levels_.pop_back();
    for (std::size_t row = 0; row < std::size(Serf_Key::ALL); ++row) {
        const Serf_Key &key = Serf_Key::ALL[row];
        if (key.in == level.place && key.is_required && !(level.seen >> row & 1)) {
            reject(text("no ", key.word), text(name_of(key.form), " for it"));
        }
    }
}

bool Serf_Visitor::visit_nil() {
    const Serf_Key *const key = accept(Form::nothing);
    values_.has_list = values_.has_list || (key && key->value == Serf_Key::Value::members);
    return true;
}

bool Serf_Visitor::visit_boolean(bool) {
    on_other();
    return true;
}

bool Serf_Visitor::visit_positive_integer(uint64_t value) {
    if (accept(Form::number)) {
        values_.number = value;
    }
    return true;
}

bool Serf_Visitor::visit_negative_integer(int64_t) {
    on_other();
    return true;
}

bool Serf_Visitor::visit_float32(float) {
    on_other();
    return true;
}

bool Serf_Visitor::visit_float64(double) {
    on_other();
    return true;
}

bool Serf_Visitor::visit_str(const char *bytes, uint32_t size) {
    on_text({bytes, size});
    return true;
}

// Serf writes texts as raw bytes, which are text to one version of msgpack and binary to another.
bool Serf_Visitor::visit_bin(const char *bytes, uint32_t size) {
    on_text({bytes, size});
    return true;
}

bool Serf_Visitor::visit_ext(const char *, uint32_t size) {
    if (size > SERF_TEXT_MAX) {
        reject_longer_text();
    }
    on_other();
    return true;
}

bool Serf_Visitor::start_array(uint32_t count) {
    const Serf_Key *const key = accept(Form::list);
    if (key && count > SERF_MEMBERS_MAX) {
        reject(text(count, " members"), text("at most ", SERF_MEMBERS_MAX));
    }
    values_.has_list = values_.has_list || key;
    enter(key ? key->inside : Serf_Place::skipped);
    return true;
}

bool Serf_Visitor::end_array() {
    levels_.pop_back();
    return true;
}

bool Serf_Visitor::start_map(uint32_t) {
    const Serf_Key *const key = accept(Form::map);
    if (key == &Serf_Key::ITEM) {
        values_.members.emplace_back();
    }
    enter(key == &Serf_Key::ANSWER ? top_ : key ? key->inside : Serf_Place::skipped);
    return true;
}

bool Serf_Visitor::start_map_key() {
    levels_.back().in_key = true;
    return true;
}

bool Serf_Visitor::end_map_key() {
    levels_.back().in_key = false;
    return true;
}

bool Serf_Visitor::end_map() {
    leave();
    return true;
}

void Serf_Visitor::parse_error(std::size_t, std::size_t) {
    reject("a byte that begins no value", "msgpack");
}

} // namespace wispd
