// SPDX-License-Identifier: Apache-2.0
// The errors for an invalid file: what() reads "file:line:column: what is wrong and what was expected".
#pragma once

#include <stdexcept>

namespace wispd {

class Config_Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The error when the file itself is unsuitable, such as its owner. what() contains nothing of its content.
class File_Error : public Config_Error {
  public:
    using Config_Error::Config_Error;
};

} // namespace wispd
