// Lines on standard output. The reader may disconnect at any time, which ends the command silently.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace hbctl {

// Standard output has lost its reader.
struct Output_Closed {};

// Standard output cannot be written, for instance because the disk is full.
class Output_Failed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Control characters, from whatever source, are printed as \xNN. All functions throw the two exceptions above.
// put_line leaves the line in the buffer; say_line sends it at once.
void put_line(const std::string &line);
void put_lines(const std::vector<std::string> &lines);
void say_line(const std::string &line);
// Prints lines that are safe already, and leaves their colours in place.
void put_prepared(const std::vector<std::string> &lines);
void flush_output();

// Prints one line on standard error, with the program's name.
void complain(const std::string &line);

} // namespace hbctl
