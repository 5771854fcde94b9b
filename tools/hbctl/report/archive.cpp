// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/report/archive.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace hbctl {
namespace {

constexpr mode_t OWNER_ONLY = 0700;

[[noreturn]] void fail(const std::string &doing, const std::string &path, int why) {
    throw std::runtime_error("cannot " + doing + " " + path + ": " + std::strerror(why));
}

[[noreturn]] void fail_as_present(const std::string &path) {
    throw std::runtime_error(path + " exists already; name another file with --output");
}

std::string directory_for_temporary_files() {
    const char *directory = std::getenv("TMPDIR");
    return directory != nullptr && *directory == '/' ? directory : "/tmp";
}

} // namespace

Collection_Directory::Collection_Directory(const std::string &name)
    : parent_(directory_for_temporary_files() + "/hb-report.XXXXXX") {
    if (mkdtemp(parent_.data()) == nullptr) {
        fail("create a directory", parent_, errno);
    }
    path_ = parent_ + "/" + name;
    if (mkdir(path_.c_str(), OWNER_ONLY) != 0) {
        const int why = errno;
        rmdir(parent_.c_str());
        fail("create", path_, why);
    }
}

Collection_Directory::~Collection_Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(parent_, ignored);
}

void Collection_Directory::write(const std::string &file, const std::string &text) const {
    const std::filesystem::path path = path_ + "/" + file;
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), ignored);
    std::ofstream stream(path, std::ios::binary);
    if (!(stream << text) || !stream.flush()) {
        fail("write", path.string(), errno);
    }
}

Complete_File::Complete_File(const std::string &path) : path_(path), other_path_(path + ".XXXXXX") {
    if (access(path.c_str(), F_OK) == 0) {
        fail_as_present(path);
    }
    descriptor_ = mkostemp(other_path_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        fail("create", path, errno);
    }
}

Complete_File::~Complete_File() {
    if (descriptor_ >= 0) {
        close(descriptor_);
        unlink(other_path_.c_str());
    }
}

// A link fails if the name exists. Not every file system has links, and then a rename has to do.
void Complete_File::complete() {
    if (fsync(descriptor_) != 0 && errno != EINVAL) {
        fail("write", path_, errno);
    }
    if (link(other_path_.c_str(), path_.c_str()) != 0) {
        if (errno == EEXIST) {
            fail_as_present(path_);
        }
        if (std::rename(other_path_.c_str(), path_.c_str()) != 0) {
            fail("create", path_, errno);
        }
    } else {
        unlink(other_path_.c_str());
    }
    close(descriptor_);
    descriptor_ = -1;
}

} // namespace hbctl
