// What an error number of the library means, in words.
#pragma once

#include <string>

namespace hbctl {

// "no such meaning is known" for a number that the library does not use.
std::string error_text(int number);

} // namespace hbctl
