// SPDX-License-Identifier: Apache-2.0
// The file that the daemon logs to, opened safely.
#pragma once

#include <string>

#include "host/descriptor.h"

namespace wispd {

class Log_File {
  public:
    // Opens the file, or creates it: writable by its owner, readable by its group. Throws std::runtime_error
    // for a link, a device, a file of another user, or a file with several hard links. Also throws for a file
    // in a directory where another user could replace it.
    explicit Log_File(const std::string &path);

    // Returns a path that leads to this file while the object exists.
    std::string path_by_descriptor() const;

  private:
    Descriptor file_;
};

} // namespace wispd
