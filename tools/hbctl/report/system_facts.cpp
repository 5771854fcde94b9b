// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/report/system_facts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <utility>

#include "common/socket_path.h"
#include "hb_client.h"

namespace hbctl {
namespace {

constexpr std::array PROJECT_VARIABLES{"HB_SERVER_SOCKET",  "HA_DOMAIN_NAME", "HA_SYSPAR_NAME",
                                       "HB_MOX_SIM_CONFIG", "QZ_TR_OUTPUT",   "QZ_TR_LEVELS",
                                       "QZ_TR_CATALOGUE"};

class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int number() const { return number_; }

  private:
    const int number_;
};

std::string read_all(int descriptor, std::size_t most_bytes) {
    std::string text;
    std::array<char, 65536> piece{};
    while (text.size() < most_bytes) {
        const ssize_t count = read(descriptor, piece.data(), std::min(piece.size(), most_bytes - text.size()));
        if (count > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return text;
}

std::string mode_text(mode_t mode) {
    const char *kind = S_ISDIR(mode)    ? "d"
                       : S_ISSOCK(mode) ? "s"
                       : S_ISLNK(mode)  ? "l"
                       : S_ISREG(mode)  ? "-"
                       : S_ISFIFO(mode) ? "p"
                                        : "?";
    std::array<char, 16> digits{};
    std::snprintf(digits.data(), digits.size(), "%04o", static_cast<unsigned>(mode & 07777U));
    return kind + std::string(digits.data());
}

std::string utc(time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text.data();
}

std::string owner_text(uid_t user, gid_t group) {
    const passwd *owner = getpwuid(user);
    const std::string name = owner != nullptr ? owner->pw_name : std::to_string(user);
    const struct group *members = getgrgid(group);
    return name + ":" + (members != nullptr ? members->gr_name : std::to_string(group));
}

std::string permission_line(const std::string &path) {
    struct stat state {};
    if (lstat(path.c_str(), &state) != 0) {
        return path + ": " + std::strerror(errno) + "\n";
    }
    return mode_text(state.st_mode) + " " + owner_text(state.st_uid, state.st_gid) + " " +
           std::to_string(state.st_size) + " " + utc(state.st_mtime) + " " + path + "\n";
}

} // namespace

std::string from_first_whole_line(std::string text) {
    const std::size_t end = text.find('\n');
    text.erase(0, end == std::string::npos ? end : end + 1);
    return text;
}

std::string up_to_last_whole_line(std::string text) {
    text.erase(text.rfind('\n') + 1);
    return text;
}

File_Text read_bounded(const std::string &path, std::size_t most_bytes, bool from_end) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat state {};
    if (file.number() < 0 || fstat(file.number(), &state) != 0) {
        return {"", "cannot read " + path + ": " + std::strerror(errno), false};
    }
    if (!S_ISREG(state.st_mode)) {
        return {"", path + " is not a regular file", false};
    }
    // Files of the kernel have no size.
    const bool is_cut = state.st_size > static_cast<off_t>(most_bytes);
    if (is_cut && from_end) {
        lseek(file.number(), -static_cast<off_t>(most_bytes), SEEK_END);
        return {from_first_whole_line(read_all(file.number(), most_bytes)), "", true};
    }
    std::string text = read_all(file.number(), most_bytes);
    return {is_cut ? up_to_last_whole_line(std::move(text)) : std::move(text), "", is_cut};
}

std::string permissions_of(const std::vector<std::string> &paths) {
    std::string text;
    std::set<std::string> seen;
    for (const std::string &path : paths) {
        for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
            const std::string part = path.substr(0, slash);
            if (!part.empty() && seen.insert(part).second) {
                text += permission_line(part);
            }
            if (slash == std::string::npos) {
                break;
            }
        }
    }
    return text;
}

std::optional<Listener> listener_of(const std::string &socket_path) {
    sockaddr_un address{};
    if (socket_path.size() > common::SOCKET_PATH_LONGEST) {
        return std::nullopt;
    }
    address.sun_family = AF_UNIX;
    socket_path.copy(address.sun_path, socket_path.size());
    const Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    ucred peer{};
    socklen_t size = sizeof peer;
    if (connect(connection.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        getsockopt(connection.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || peer.pid <= 0) {
        return std::nullopt;
    }
    return Listener{peer.pid, peer.uid == 0 || peer.uid == geteuid()};
}

std::vector<std::string> arguments_of_process(pid_t pid) {
    constexpr std::size_t most_bytes = 65536;
    std::istringstream stream(read_bounded("/proc/" + std::to_string(pid) + "/cmdline", most_bytes).text);
    std::vector<std::string> arguments;
    for (std::string argument; std::getline(stream, argument, '\0');) {
        arguments.push_back(argument);
    }
    return arguments;
}

std::string option_among(const std::vector<std::string> &arguments, const std::string &option) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == option && i + 1 < arguments.size()) {
            return arguments[i + 1];
        }
        if (arguments[i].starts_with(option + "=")) {
            return arguments[i].substr(option.size() + 1);
        }
    }
    return "";
}

std::string project_environment() {
    std::string text;
    for (const char *name : PROJECT_VARIABLES) {
        const char *value = std::getenv(name);
        text += std::string(name) + (value != nullptr ? "=" + std::string(value) : " is not set") + "\n";
    }
    return text;
}

std::string system_text() {
    utsname system{};
    uname(&system);
    std::array<gid_t, NGROUPS_MAX> groups{};
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    std::string text = std::string(system.sysname) + " " + system.release + " " + system.version + " " +
                       system.machine + "\nuser " + owner_text(geteuid(), getegid()) + ", further groups:";
    for (int i = 0; i < count; ++i) {
        const struct group *members = getgrgid(groups.at(static_cast<std::size_t>(i)));
        text += " " + (members != nullptr ? std::string(members->gr_name)
                                          : std::to_string(groups.at(static_cast<std::size_t>(i))));
    }
    return text + "\n";
}

std::string library_text() {
    Dl_info library{};
    if (dladdr(reinterpret_cast<const void *>(&hb_get_errno), &library) == 0 || library.dli_fname == nullptr) {
        return "unknown\n";
    }
    std::array<char, PATH_MAX> path{};
    return permission_line(realpath(library.dli_fname, path.data()) != nullptr ? path.data()
                                                                               : library.dli_fname);
}

std::string host_name() {
    utsname system{};
    uname(&system);
    std::string name = system.nodename;
    std::replace_if(
        name.begin(), name.end(),
        [](unsigned char c) { return std::isalnum(c) == 0 && c != '.' && c != '-' && c != '_'; }, '_');
    return name.empty() || name.front() == '.' ? "host" + name : name;
}

} // namespace hbctl
