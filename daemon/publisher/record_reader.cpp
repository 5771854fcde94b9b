// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/record_reader.h"

#include <algorithm>
#include <cstring>

#include "host/text.h"

namespace wispd {

namespace {

constexpr std::size_t PREFIX_SIZE = sizeof(int32_t);

int32_t int_at(const char *bytes) {
    int32_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

} // namespace

bool Record_Reader::fail(std::string why) {
    fault_ = std::move(why);
    held_ = {};
    return false;
}

bool Record_Reader::feed(std::span<const char> bytes, const std::function<bool(const Request &)> &handler) {
    while (fault_.empty() && !bytes.empty()) {
        std::size_t wanted = PREFIX_SIZE;
        if (held_.size() >= PREFIX_SIZE) {
            wanted += static_cast<std::size_t>(int_at(held_.data()));
        }
        const std::size_t taken = std::min(wanted - held_.size(), bytes.size());
        held_.insert(held_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
        bytes = bytes.subspan(taken);
        if (held_.size() < wanted) {
            return true;
        }
        if (wanted == PREFIX_SIZE) {
            const int32_t length = int_at(held_.data());
            if (length < HB_REQUEST_HEADER_SIZE || length > REQUEST_RECORD_LONGEST) {
                return fail(text("a record of length ", length, "; expected ", HB_REQUEST_HEADER_SIZE, " to ",
                                 REQUEST_RECORD_LONGEST));
            }
            continue;
        }
        const char *record = held_.data() + PREFIX_SIZE;
        const std::size_t body_size = held_.size() - PREFIX_SIZE - HB_REQUEST_HEADER_SIZE;
        const int32_t said = int_at(record + offsetof(packet_t, len));
        if (said < 0 || static_cast<std::size_t>(said) != body_size) {
            return fail(text("a request that states a body of ", said, " bytes and carries ", body_size));
        }
        Request request;
        request.kind = int_at(record + offsetof(packet_t, kind));
        request.pid = int_at(record + offsetof(packet_t, origin));
        request.body = {record + HB_REQUEST_HEADER_SIZE, body_size};
        const bool go_on = handler(request);
        held_ = {};
        if (!go_on) {
            return true;
        }
    }
    return fault_.empty();
}

} // namespace wispd
