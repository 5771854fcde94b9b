// Cuts what a client sends into request records. Takes bytes as they come, one or a thousand at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "lib/wire/hb_wire.h"

namespace wispd {

// A report of a suspicion carries its number as the length of its body, so the longest body is the highest
// adapter number.
inline constexpr int32_t REQUEST_BODY_LONGEST = HB_ADAPTER_SLOTS - 1;
inline constexpr int32_t REQUEST_RECORD_LONGEST = HB_REQUEST_HEADER_SIZE + REQUEST_BODY_LONGEST;

struct Request {
    int32_t kind = 0;
    int32_t pid = 0; // as the client says
    std::span<const char> body;
};

class Record_Reader {
  public:
    // Hands over each whole request, in order. False when the bytes are no such records: `fault` then says
    // why, and the reader takes no more. The handler returns false to stop early.
    bool feed(std::span<const char> bytes, const std::function<bool(const Request &)> &handler);

    const std::string &fault() const { return fault_; }
    // What is kept of a record that has not arrived whole.
    std::size_t held() const { return held_.size(); }

  private:
    bool fail(std::string why);

    std::vector<char> held_; // the prefix and what has arrived of the record behind it
    std::string fault_;
};

} // namespace wispd
