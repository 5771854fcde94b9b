// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/lock_holder.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "common/printable.h"
#include "host/text.h"
#include "host/trusted_user.h"

namespace wispd {

namespace {

std::string name_in_list(const struct stat &file) {
    char name[64];
    std::snprintf(name, sizeof name, "%02x:%02x:%llu", major(file.st_dev), minor(file.st_dev),
                  static_cast<unsigned long long>(file.st_ino));
    return name;
}

bool has_ended(pid_t pid) {
    return kill(pid, 0) != 0 && errno == ESRCH;
}

Lock_Holder holder_with(pid_t pid) {
    Lock_Holder holder{pid, {}, {}};
    const std::string directory = text("/proc/", pid);
    std::ifstream command(directory + "/comm");
    std::getline(command, holder.command);
    std::ifstream status(directory + "/status");
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string key;
        uid_t user = 0;
        if (words >> key && key == "Uid:") {
            while (holder.users.size() < 3 && words >> user) {
                holder.users.push_back(user);
            }
        }
    }
    return holder;
}

} // namespace

// Some systems hide the processes of other users. A wispd that cannot be dumped is then hidden from its own
// user as well.
bool Lock_Holder::may_be_wispd() const {
    if (users.empty()) {
        return !has_ended(pid);
    }
    return std::all_of(users.begin(), users.end(), [](uid_t user) { return is_trusted_user(user); });
}

std::string description(const Lock_Holder &holder) {
    if (holder.users.empty()) {
        return text("process id ", holder.pid, has_ended(holder.pid) ? " (ended)" : " (hidden by the system)");
    }
    return text("process id ", holder.pid, " (", terminal::printable(holder.command), ") of user ",
                holder.users.front());
}

std::vector<Lock_Holder> lock_holders(int file) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        return {};
    }
    const std::string wanted = name_in_list(status);
    std::vector<Lock_Holder> holders;
    std::ifstream list("/proc/locks");
    for (std::string line; std::getline(list, line);) {
        std::istringstream words(line);
        std::string number, kind, duty, access, name;
        pid_t pid = 0;
        // Processes that wait for a lock have an arrow in front; only holders match here.
        if (words >> number >> kind >> duty >> access >> pid >> name && kind == "FLOCK" && name == wanted) {
            holders.push_back(holder_with(pid));
        }
    }
    return holders;
}

} // namespace wispd
