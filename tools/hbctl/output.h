// Lines on standard output. Who reads them may go away at any time: that ends the command without a word.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace hbctl {

// Nobody reads standard output any more.
struct OutputClosed {};

// Standard output cannot be written, for instance because the disk is full.
class OutputFailed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What could steer a terminal stands in a line as \xNN, whatever wrote it. They throw the two above. put_line leaves the
// line in the buffer; say_line sends it out at once.
void put_line(const std::string &line);
void put_lines(const std::vector<std::string> &lines);
void say_line(const std::string &line);
void flush_output();

// One line on standard error, with the program's name.
void complain(const std::string &line);

} // namespace hbctl
