// SPDX-License-Identifier: Apache-2.0
// What an error number of the library means, in words: hb_error.h's, and better ones where hbctl knows more.
#pragma once

#include <string>

namespace hbctl {

// "unknown error number" for a number that the library does not use.
std::string error_text(int number);

// The same for a request about this node or its adapters, where some numbers have another meaning.
std::string request_error_text(int number);

} // namespace hbctl
