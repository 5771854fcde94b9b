// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/namespace_sweep.h"

#include <csignal>
#include <filesystem>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/support/unique_fd.h"

namespace hb_test {
namespace {

// The descriptor protects a later process with the same number. A process that has ended but was not waited for
// is in no namespace, so it is ignored.
void kill_one_of(pid_t process, const std::set<std::string> &namespaces) {
    if (process <= 1) {
        return;
    }
    const Unique_Fd handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    if (handle && namespaces.count(network_namespace(process)) != 0) {
        syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0);
    }
}

} // namespace

std::string network_namespace(pid_t process) {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/ns/net", ignored).string();
}

std::vector<pid_t> processes_in(const std::set<std::string> &namespaces) {
    std::vector<pid_t> found;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            const pid_t process = static_cast<pid_t>(std::stol(name));
            if (namespaces.count(network_namespace(process)) != 0) {
                found.push_back(process);
            }
        }
    }
    return found;
}

bool end_processes_in(const std::set<std::string> &namespaces, const std::set<pid_t> &spared,
                      const Deadline &deadline) {
    return wait_until(
        [&] {
            bool none = true;
            for (const pid_t process : processes_in(namespaces)) {
                if (spared.count(process) == 0) {
                    none = false;
                    kill_one_of(process, namespaces);
                }
            }
            return none;
        },
        deadline);
}

} // namespace hb_test
