// SPDX-License-Identifier: Apache-2.0
// Runs a program with the restrictions of a service unit on a machine without a service manager.
//
//     confined [--writable DIRECTORY] UNIT PROGRAM [WORD]...
//
// It applies capabilities, no new privileges, umask, limits, the read-only file system, address families,
// namespaces, executable memory, scheduling, personality and the system-call filter. The groups of system calls
// are those of this machine's systemd-analyze.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <linux/capability.h>
#include <linux/mount.h>
#include <sched.h>
#include <seccomp.h>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#include "tests/security/unit_file.h"

namespace {

using hb_test::Unit_File;
using Names = std::vector<std::string>;

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

void demand(bool done, const std::string &what) {
    if (!done) {
        fail(what);
    }
}

// ---- File system ----

void set_read_only(const std::string &path, bool read_only, unsigned flags) {
    mount_attr attributes{};
    (read_only ? attributes.attr_set : attributes.attr_clr) = MOUNT_ATTR_RDONLY;
    demand(syscall(SYS_mount_setattr, AT_FDCWD, path.c_str(), flags, &attributes, sizeof attributes) == 0,
           "mount_setattr " + path);
}

void protect_file_system(const Names &writable) {
    demand(unshare(CLONE_NEWNS) == 0, "unshare");
    demand(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount /");
    for (const std::string &path : writable) {
        demand(mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) == 0, "mount " + path);
    }
    set_read_only("/", true, AT_RECURSIVE);
    for (const char *path : {"/dev", "/proc"}) {
        set_read_only(path, false, AT_RECURSIVE);
    }
    for (const std::string &path : writable) {
        set_read_only(path, false, 0);
    }
}

// ---- Privileges ----

int capability_number(const std::string &name) {
    const std::vector<std::pair<std::string, int>> known = {
        {"CAP_CHOWN", CAP_CHOWN},         {"CAP_DAC_OVERRIDE", CAP_DAC_OVERRIDE}, {"CAP_FOWNER", CAP_FOWNER},
        {"CAP_IPC_OWNER", CAP_IPC_OWNER}, {"CAP_SYS_RESOURCE", CAP_SYS_RESOURCE}, {"CAP_KILL", CAP_KILL},
    };
    for (const auto &[text, number] : known) {
        if (text == name) {
            return number;
        }
    }
    throw std::runtime_error("the capability " + name + " is unknown here");
}

void keep_capabilities(const Names &names) {
    std::set<int> kept;
    for (const std::string &name : names) {
        kept.insert(capability_number(name));
    }
    for (int number = 0; prctl(PR_CAPBSET_READ, number) >= 0; ++number) {
        demand(kept.contains(number) || prctl(PR_CAPBSET_DROP, number) == 0, "PR_CAPBSET_DROP");
    }
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    for (const int number : kept) {
        data[number / 32].effective |= 1U << (number % 32);
        data[number / 32].permitted |= 1U << (number % 32);
    }
    demand(syscall(SYS_capset, &header, data) == 0, "capset");
}

void set_limit(int which, const std::string &text) {
    if (!text.empty()) {
        rlimit limit = {};
        const auto resource = static_cast<__rlimit_resource>(which);
        demand(getrlimit(resource, &limit) == 0, "getrlimit");
        // A container may have a lower limit than the unit sets, and may not raise it.
        const rlim_t value = std::min<rlim_t>(std::stoul(text), limit.rlim_max);
        limit = {value, value};
        demand(setrlimit(resource, &limit) == 0, "setrlimit");
    }
}

// ---- System calls ----

// Returns the calls of one word of a filter, with groups resolved.
Names calls_of(const std::string &word) {
    if (word.front() != '@') {
        return {word};
    }
    Names calls;
    FILE *const list = popen(("systemd-analyze --no-pager syscall-filter " + word).c_str(), "re");
    demand(list != nullptr, "systemd-analyze");
    char line[256];
    while (std::fgets(line, sizeof line, list) != nullptr) {
        std::string call(line);
        call.erase(0, call.find_first_not_of(" \n"));
        call.erase(call.find_last_not_of(" \n") + 1);
        if (call.empty() || call.front() == '#' || call == word) {
            continue;
        }
        const Names inner = calls_of(call);
        calls.insert(calls.end(), inner.begin(), inner.end());
    }
    demand(pclose(list) == 0, "systemd-analyze syscall-filter " + word);
    return calls;
}

std::set<std::string> allowed_calls(const Names &lines) {
    std::set<std::string> allowed;
    for (const std::string &line : lines) {
        const bool denies = line.starts_with('~');
        for (const std::string &word : hb_test::words_of(denies ? line.substr(1) : line)) {
            for (const std::string &call : calls_of(word)) {
                denies ? static_cast<void>(allowed.erase(call)) : static_cast<void>(allowed.insert(call));
            }
        }
    }
    return allowed;
}

class Filter {
  public:
    Filter() : context_(seccomp_init(SCMP_ACT_ALLOW)) { demand(context_ != nullptr, "seccomp_init"); }
    Filter(const Filter &) = delete;
    Filter &operator=(const Filter &) = delete;
    ~Filter() { seccomp_release(context_); }

    void refuse(int error, const char *call, std::vector<scmp_arg_cmp> when = {}) {
        const int number = seccomp_syscall_resolve_name(call);
        demand(number == __NR_SCMP_ERROR ||
                   seccomp_rule_add_array(context_, SCMP_ACT_ERRNO(static_cast<uint16_t>(error)), number,
                                          static_cast<unsigned>(when.size()), when.data()) == 0,
               std::string("seccomp rule for ") + call);
    }
    void load() { demand(seccomp_load(context_) == 0, "seccomp_load"); }

  private:
    scmp_filter_ctx context_;
};

void allow_only(const std::set<std::string> &allowed) {
    const scmp_filter_ctx context = seccomp_init(SCMP_ACT_ERRNO(EPERM));
    demand(context != nullptr, "seccomp_init");
    for (const std::string &call : allowed) {
        const int number = seccomp_syscall_resolve_name(call.c_str());
        if (number >= 0) {
            demand(seccomp_rule_add(context, SCMP_ACT_ALLOW, number, 0) == 0, "seccomp rule for " + call);
        }
    }
    demand(seccomp_load(context) == 0, "seccomp_load");
    seccomp_release(context);
}

int family_number(const std::string &name) {
    return name == "AF_UNIX"      ? AF_UNIX
           : name == "AF_NETLINK" ? AF_NETLINK
           : name == "AF_INET"    ? AF_INET
           : name == "AF_INET6"   ? AF_INET6
                                  : throw std::runtime_error("the address family " + name + " is unknown here");
}

void restrict_calls(const Unit_File &unit) {
    Filter filter;
    std::set<int> families;
    for (const std::string &name : unit.words("RestrictAddressFamilies")) {
        families.insert(family_number(name));
    }
    for (int family = 0; family < AF_MAX && !families.empty(); ++family) {
        if (!families.contains(family)) {
            filter.refuse(EAFNOSUPPORT, "socket", {SCMP_A0(SCMP_CMP_EQ, static_cast<scmp_datum_t>(family))});
        }
    }
    if (unit.is_on("RestrictNamespaces")) {
        filter.refuse(EPERM, "unshare");
        filter.refuse(EPERM, "setns");
    }
    if (unit.is_on("MemoryDenyWriteExecute")) {
        filter.refuse(EPERM, "mmap",
                      {SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC | PROT_WRITE, PROT_EXEC | PROT_WRITE)});
        filter.refuse(EPERM, "mprotect", {SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, PROT_EXEC)});
        filter.refuse(EPERM, "shmat", {SCMP_A2(SCMP_CMP_MASKED_EQ, 0100000, 0100000)}); // SHM_EXEC
    }
    if (unit.is_on("RestrictRealtime")) {
        filter.refuse(EPERM, "sched_setscheduler", {SCMP_A1(SCMP_CMP_NE, SCHED_OTHER)});
    }
    if (unit.is_on("LockPersonality")) {
        filter.refuse(EPERM, "personality");
    }
    filter.load();
    allow_only(allowed_calls(unit.lines("SystemCallFilter")));
}

// ---- Together ----

int run(int count, char **words) {
    Names writable;
    int next = 1;
    for (; next + 1 < count && std::string(words[next]) == "--writable"; next += 2) {
        writable.emplace_back(words[next + 1]);
    }
    if (next + 1 >= count) {
        throw std::runtime_error("usage: confined [--writable DIRECTORY]... UNIT PROGRAM [WORD]...");
    }
    const Unit_File unit(words[next]);
    if (unit.value("ProtectSystem") == "strict") {
        protect_file_system(writable);
    }
    if (const std::string mask = unit.value("UMask"); !mask.empty()) {
        umask(static_cast<mode_t>(std::stoul(mask, nullptr, 8)));
    }
    set_limit(RLIMIT_CORE, unit.value("LimitCORE"));
    set_limit(RLIMIT_NOFILE, unit.value("LimitNOFILE"));
    demand(!unit.is_on("NoNewPrivileges") || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0,
           "PR_SET_NO_NEW_PRIVS");
    keep_capabilities(unit.words("CapabilityBoundingSet"));
    restrict_calls(unit);
    execv(words[next + 1], words + next + 1);
    fail(words[next + 1]);
}

} // namespace

int main(int count, char **words) {
    try {
        return run(count, words);
    } catch (const std::exception &error) {
        std::cerr << "confined: " << error.what() << "\n";
        return 126;
    }
}
