// SPDX-License-Identifier: Apache-2.0
// Reads the file with names again when wispd has written another one.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>

#include "common/cluster_file.h"

namespace exporter {

class Cluster_File_Watch {
  public:
    explicit Cluster_File_Watch(std::string socket_path);

    // Returns whether the content differs from that of the last call. It is cheap while the file stays the same.
    bool poll();
    // Null: the file is absent or cannot be used.
    const std::shared_ptr<const common::Cluster_File> &content() const { return content_; }

  private:
    bool is_another_file();

    const std::string socket_path_;
    std::optional<struct stat> seen_;
    std::shared_ptr<const common::Cluster_File> content_;
};

} // namespace exporter
