// The file that the daemon logs to.
#pragma once

#include <string>

#include "host/descriptor.h"

namespace wispd {

class Log_File {
  public:
    // Opens it, or makes one that its owner can write and its group can read. Throws std::runtime_error for a file that is
    // none of the daemon's own: a link, a device, one of another user or with a second name, or one in a directory where
    // another user could exchange it.
    explicit Log_File(const std::string &path);

    // Leads to this file for as long as the object lives.
    std::string path_by_descriptor() const;

  private:
    Descriptor file_;
};

} // namespace wispd
