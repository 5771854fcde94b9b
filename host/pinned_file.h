// A file that stays the same one, whatever another process puts at its path meanwhile.
#pragma once

#include <string>
#include <sys/stat.h>
#include <sys/types.h>

#include "host/descriptor.h"

namespace wispd {

class Pinned_File {
  public:
    // The file itself, also when it is a link; it is not opened for reading or writing. Not there: exists() is false,
    // with the reason in errno.
    explicit Pinned_File(const std::string &path);

    bool exists() const { return file_.get() >= 0; }
    const struct stat &status() const { return status_; }
    // Whether the path names this file.
    bool is_at(const std::string &path) const;
    // False, with the reason in errno, when it cannot be changed. A group of -1 stays as it is.
    bool set_group(gid_t group) const;
    bool set_mode(mode_t mode) const;
    // A path that leads to this file and no other, for as long as this object lives.
    std::string path_by_descriptor() const;

  private:
    Descriptor file_;
    struct stat status_ {};
};

} // namespace wispd
