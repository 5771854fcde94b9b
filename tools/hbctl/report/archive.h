// SPDX-License-Identifier: Apache-2.0
// The archive of a report, and the directory that its parts are collected in.
#pragma once

#include <string>

namespace hbctl {

// A directory for this process alone, removed with everything in it.
class Collection_Directory {
  public:
    // Makes a directory of that name in a new one. Throws std::runtime_error.
    explicit Collection_Directory(const std::string &name);
    Collection_Directory(const Collection_Directory &) = delete;
    Collection_Directory &operator=(const Collection_Directory &) = delete;
    ~Collection_Directory();

    const std::string &parent() const { return parent_; }
    // Writes a file below the directory: "wispd/log.txt". Throws std::runtime_error.
    void write(const std::string &file, const std::string &text) const;

  private:
    std::string parent_;
    std::string path_;
};

// A file that appears under its name when it is complete, with the mode 0600. Until then it has another name in the same
// directory; the destructor removes it.
class Complete_File {
  public:
    // Throws std::runtime_error if the file exists, or if it cannot be created.
    explicit Complete_File(const std::string &path);
    Complete_File(const Complete_File &) = delete;
    Complete_File &operator=(const Complete_File &) = delete;
    ~Complete_File();

    int descriptor() const { return descriptor_; }
    // Throws std::runtime_error, also if another program has created the file meanwhile.
    void complete();

  private:
    std::string path_;
    std::string other_path_;
    int descriptor_ = -1;
};

} // namespace hbctl
