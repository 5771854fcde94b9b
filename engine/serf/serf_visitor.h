// SPDX-License-Identifier: Apache-2.0
// Collects what matters from the msgpack values of an answer, one value at a time, and rejects values of other forms.
#pragma once

#include <cstdint>
#include <msgpack.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "engine/serf/serf_report.h"

namespace wispd {

// The maps and lists whose contents are known. Everything inside of `skipped` is skipped.
enum class Serf_Place { header, members, event, list, member, tags, stats, agent, counts, skipped };

// What the values of one header or body were; which members are set depends on the place.
struct Serf_Values {
    uint64_t number = 0;   // the question's number
    std::string error;     // printable and short
    std::string event;     // the event's kind
    bool has_list = false; // a list of members, also an empty one
    std::vector<Serf_Member> members;
    Serf_Counts counts;
};

struct Serf_Key; // a row in the table of known keys

// The parser calls the functions that it shares with null_visitor.
class Serf_Visitor : public msgpack::null_visitor {
  public:
    // States what the next map is.
    void begin(Serf_Place top);
    // Throws the error for a text longer than SERF_TEXT_MAX.
    [[noreturn]] static void reject_longer_text();
    // Returns what was collected since begin().
    Serf_Values &values() { return values_; }

    bool visit_nil();
    bool visit_boolean(bool value);
    bool visit_positive_integer(uint64_t value);
    bool visit_negative_integer(int64_t value);
    bool visit_float32(float value);
    bool visit_float64(double value);
    bool visit_str(const char *bytes, uint32_t size);
    bool visit_bin(const char *bytes, uint32_t size);
    bool visit_ext(const char *bytes, uint32_t size);
    bool start_array(uint32_t count);
    bool end_array();
    bool start_map(uint32_t count);
    bool start_map_key();
    bool end_map_key();
    bool end_map();
    [[noreturn]] void parse_error(std::size_t parsed, std::size_t error);

  private:
    enum class Form { text, number, map, list, nothing, other };
    struct Level {
        Serf_Place place = Serf_Place::skipped;
        bool in_key = false;
        const Serf_Key *key = nullptr; // of the next value; null: an unknown one
        uint32_t seen = 0;             // a bit for each row of the table
    };

    static const char *name_of(Form form);
    // Returns the key of the value that begins now, or null when the value is skipped. Throws when the
    // value's form is not that of its key.
    const Serf_Key *accept(Form found);
    void enter(Serf_Place place);
    void set_key(std::string_view word);
    void on_text(std::string_view text);
    void on_other();
    void leave();
    void set_count(unsigned &count, std::string_view digits);

    Serf_Place top_ = Serf_Place::header;
    std::vector<Level> levels_;
    Serf_Values values_;

    friend struct Serf_Key;
};

} // namespace wispd
