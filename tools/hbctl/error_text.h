// The meaning of the library's error numbers, in words.
#pragma once

#include <string>

namespace hbctl {

// "no such meaning is known" for a number that the library does not use.
std::string error_text(int number);

// The same for a request about this node or its adapters, where some numbers have another meaning.
std::string request_error_text(int number);

} // namespace hbctl
