// SPDX-License-Identifier: Apache-2.0
#include "exporter/cluster_file_watch.h"

#include <utility>

namespace exporter {
namespace {

bool is_same(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_size == other.st_size &&
           one.st_mtim.tv_sec == other.st_mtim.tv_sec && one.st_mtim.tv_nsec == other.st_mtim.tv_nsec &&
           one.st_mode == other.st_mode && one.st_uid == other.st_uid && one.st_gid == other.st_gid;
}

} // namespace

Cluster_File_Watch::Cluster_File_Watch(std::string socket_path) : socket_path_(std::move(socket_path)) {}

bool Cluster_File_Watch::poll() {
    if (!is_another_file()) {
        return false;
    }
    std::shared_ptr<const common::Cluster_File> content;
    if (std::optional<common::Cluster_File> file = common::read_cluster_file(socket_path_)) {
        content = std::make_shared<const common::Cluster_File>(*std::move(file));
    }
    const bool same = content && content_ ? *content == *content_ : content == content_;
    if (!same) {
        content_ = std::move(content);
    }
    return !same;
}

// wispd replaces the file by another one, so the number of its inode differs as well.
bool Cluster_File_Watch::is_another_file() {
    struct stat now {};
    const bool exists = lstat(common::cluster_file_path(socket_path_).c_str(), &now) == 0;
    if (exists == seen_.has_value() && (!exists || is_same(now, *seen_))) {
        return false;
    }
    seen_ = exists ? std::optional(now) : std::nullopt;
    return true;
}

} // namespace exporter
