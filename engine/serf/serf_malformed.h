// SPDX-License-Identifier: Apache-2.0
// The limits of what wispd accepts from a Serf agent, and the error for anything else.
#pragma once

#include <cstddef>
#include <stdexcept>

namespace wispd {

// The error for bytes that are not a well-formed answer; what() names what was found and what was expected.
class Serf_Malformed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr std::size_t SERF_MESSAGE_MAX = 64 * 1024 * 1024;
inline constexpr std::size_t SERF_MEMBERS_MAX = 65536;
inline constexpr std::size_t SERF_DEPTH_MAX = 16;
inline constexpr std::size_t SERF_TEXT_MAX = 64 * 1024; // any text
inline constexpr std::size_t SERF_NAME_MAX = 255;
inline constexpr std::size_t SERF_TAG_MAX = 512; // Serf's own limit for all tags of a member

} // namespace wispd
