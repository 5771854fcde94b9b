// A file that wispd cannot take: what() reads "file:line:column: what is wrong and what was expected".
#pragma once

#include <stdexcept>

namespace wispd {

class Config_Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What is wrong is the file itself, such as its owner: what() holds nothing of its content.
class File_Error : public Config_Error {
  public:
    using Config_Error::Config_Error;
};

} // namespace wispd
