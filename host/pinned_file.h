// SPDX-License-Identifier: Apache-2.0
// A reference to one file that stays valid even when another process replaces the file at its path.
#pragma once

#include <string>
#include <sys/stat.h>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

class Pinned_File {
  public:
    // Refers to the path itself, even when it is a link, without opening it for reading or writing. When the
    // file does not exist, exists() is false and errno holds the reason.
    explicit Pinned_File(const std::string &path);

    bool exists() const { return file_.get() >= 0; }
    const struct stat &status() const { return status_; }
    // Returns whether the path names this file.
    bool is_at(const std::string &path) const;
    // Returns false, with the reason in errno, when the change fails. A group of -1 leaves the group unchanged.
    bool set_group(gid_t group) const;
    bool set_mode(mode_t mode) const;
    // Returns a path that leads to exactly this file while the object exists.
    std::string path_by_descriptor() const;

  private:
    Descriptor file_;
    struct stat status_ {};
};

} // namespace wispd
