// SPDX-License-Identifier: Apache-2.0
// hb/text.hpp - hb::fixed_text<Size>: a short text that allocates nothing
#ifndef HB_TEXT_HPP
#define HB_TEXT_HPP

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "hb_client.h"

namespace hb {

// A text of at most Size - 1 bytes, stored in the object and ended by a NUL.
template <std::size_t Size> class fixed_text {
  public:
    // An empty text.
    constexpr fixed_text() noexcept = default;

    // Copies the text up to its NUL. A longer one is cut.
    constexpr explicit fixed_text(std::string_view text) noexcept {
        for (std::size_t i = 0; i < text.size() && i + 1 < Size && text[i] != '\0'; ++i) {
            bytes_[i] = text[i];
        }
    }

    const char *c_str() const noexcept { return bytes_; }
    std::string_view view() const noexcept { return {bytes_, std::strlen(bytes_)}; }
    std::string str() const { return bytes_; }
    bool empty() const noexcept { return bytes_[0] == '\0'; }
    operator std::string_view() const noexcept { return view(); }

    // Returns the bytes for a call of the C interface that writes a text of at most Size bytes.
    char *data() noexcept { return bytes_; }

    friend bool operator==(const fixed_text &left, const fixed_text &right) noexcept {
        return left.view() == right.view();
    }
    friend bool operator!=(const fixed_text &left, const fixed_text &right) noexcept {
        return !(left == right);
    }
    friend bool operator==(const fixed_text &left, std::string_view right) noexcept {
        return left.view() == right;
    }
    friend bool operator!=(const fixed_text &left, std::string_view right) noexcept {
        return left.view() != right;
    }

  private:
    char bytes_[Size] = {};
};

// Writes the text to a stream.
template <class Stream, std::size_t Size>
auto operator<<(Stream &stream, const fixed_text<Size> &text) -> decltype(stream << std::string_view()) {
    return stream << text.view();
}

using subscription_name = fixed_text<HB_NAME_SIZE>;
using network_name = fixed_text<HB_NETWORK_NAME_SIZE>;
using network_type = fixed_text<HB_NETWORK_TYPE_SIZE>;
using adapter_type = fixed_text<HB_ADAPTER_TYPE_SIZE>; // for instance the name of an interface
using failure_id = fixed_text<HB_FFDC_ID_SIZE>;        // names one failure, to find it in logs

} // namespace hb

#endif
