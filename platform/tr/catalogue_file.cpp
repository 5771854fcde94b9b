// SPDX-License-Identifier: Apache-2.0
#include "catalogue_file.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "output.h"

namespace qz_tr {

namespace {

constexpr std::size_t MAX_CATALOGUE_SIZE = 1024 * 1024;
constexpr std::size_t MAX_REPORTED_LINES = 10;

constexpr char INSTALLED[] = QZ_TR_INSTALLED_CATALOGUE;
constexpr char BESIDE_LIBRARY[] = "/../share/hb_client/hbc.catalogue";

// Returns 0, or the error number.
int read_descriptor(int fd, std::string &text) {
    struct stat status {};
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    for (;;) {
        char piece[8192];
        const ssize_t count = read(fd, piece, sizeof piece);
        if (count == 0) {
            return 0;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        text.append(piece, static_cast<std::size_t>(count));
        if (text.size() > MAX_CATALOGUE_SIZE) {
            return EFBIG;
        }
    }
}

int read_file(const std::string &path, std::string &text) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        return errno;
    }
    const int error = read_descriptor(fd, text);
    close(fd);
    return error;
}

std::string path_beside_library() {
    static const char anchor = 0;
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    const char *slash = std::strrchr(info.dli_fname, '/');
    return slash == nullptr ? std::string() : std::string(info.dli_fname, slash) + BESIDE_LIBRARY;
}

void report_unreadable(const std::string &path, int error) {
    const char *meaning = strerrordesc_np(error);
    report(
        "cannot read the message catalogue \"" + path + "\": " + (meaning != nullptr ? meaning : "error") +
        "; records are written without their texts. Set QZ_TR_CATALOGUE to a readable catalogue, or unset it.");
}

void report_faults(const std::string &path, const std::vector<Catalogue_Fault> &faults) {
    for (std::size_t i = 0; i < faults.size() && i < MAX_REPORTED_LINES; ++i) {
        report(path + ":" + std::to_string(faults[i].line) + ": " + faults[i].what);
    }
    if (faults.size() > MAX_REPORTED_LINES) {
        report(path + ": " + std::to_string(faults.size() - MAX_REPORTED_LINES) + " more faulty lines");
    }
}

} // namespace

Catalogue load_catalogue(const char *named) {
    std::string path;
    std::string text;
    int error = ENOENT;
    if (named != nullptr && *named != '\0') {
        path = named;
        error = read_file(path, text);
    } else {
        for (const std::string &candidate : {path_beside_library(), std::string(INSTALLED)}) {
            if (!candidate.empty() && error == ENOENT) {
                path = candidate;
                error = read_file(path, text);
            }
        }
        if (error == ENOENT) {
            return {};
        }
    }
    if (error != 0) {
        report_unreadable(path, error);
        return {};
    }
    std::vector<Catalogue_Fault> faults;
    Catalogue catalogue = parse_catalogue(text, faults);
    report_faults(path, faults);
    return catalogue;
}

} // namespace qz_tr
