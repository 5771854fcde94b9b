// SPDX-License-Identifier: Apache-2.0
// Writes the file with the names of the nodes beside the client socket: see common/cluster_file.h.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "common/cluster_file.h"
#include "host/socket_file.h"

namespace wispd {

// Clients work without the file, so a failure is only logged.
class Cluster_File_Writer {
  public:
    Cluster_File_Writer(const std::string &socket_path, const Access &access);
    Cluster_File_Writer(const Cluster_File_Writer &) = delete;
    Cluster_File_Writer &operator=(const Cluster_File_Writer &) = delete;
    // Removes the file.
    ~Cluster_File_Writer();

    // Replaces the file as a whole, unless it has this content already. Old names would be worse than none: if the
    // file cannot be written, the previous one is removed.
    void write(const common::Cluster_File &content);

  private:
    // Each returns why it failed; empty after success.
    std::string replace(const std::string &content) const;
    std::string fill(int file, const std::string &content) const;
    void remove();

    const std::string path_;
    const std::string aside_; // the new file until it is complete
    const gid_t group_;
    const mode_t mode_;
    std::optional<common::Cluster_File> written_;
    std::string logged_; // the last failure
};

} // namespace wispd
