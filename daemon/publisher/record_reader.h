// SPDX-License-Identifier: Apache-2.0
// Splits the bytes that a client sends into request records. Bytes can arrive one at a time or in large blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "lib/wire/hb_wire.h"

namespace wispd {

// A reported suspicion carries its number as the length of its body. The longest body is therefore the highest
// adapter number.
inline constexpr int32_t REQUEST_BODY_LONGEST = HB_ADAPTER_SLOTS - 1;
inline constexpr int32_t REQUEST_RECORD_LONGEST = HB_REQUEST_HEADER_SIZE + REQUEST_BODY_LONGEST;

struct Request {
    int32_t kind = 0;
    int32_t pid = 0; // as stated by the client
    std::span<const char> body;
};

class Record_Reader {
  public:
    // Passes each complete request to the handler, in order. Returns false if the bytes are not valid records;
    // `fault` then states the reason, and the reader accepts no more bytes. The handler returns false to stop
    // early.
    bool feed(std::span<const char> bytes, const std::function<bool(const Request &)> &handler);

    const std::string &fault() const { return fault_; }
    // Returns the number of bytes kept of an incomplete record.
    std::size_t held() const { return held_.size(); }

  private:
    bool fail(std::string why);

    std::vector<char> held_; // the prefix and the bytes of the incomplete record
    std::string fault_;
};

} // namespace wispd
