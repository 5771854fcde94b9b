// SPDX-License-Identifier: Apache-2.0
#include "tests/security/roles.h"

#include <filesystem>
#include <ostream>
#include <sys/stat.h>
#include <unistd.h>

namespace hb_test {
namespace {

namespace fs = std::filesystem;

std::string groups_of(Role role) {
    const std::string client = std::to_string(CLIENT_GROUP);
    const std::string act = std::to_string(ACT_GROUP);
    switch (role) {
    case Role::client:
    case Role::other_client:
        return client;
    case Role::actor:
        return client + "," + act;
    case Role::administrator:
        return client + "," + act + "," + std::to_string(CONTROL_GROUP);
    case Role::root:
    case Role::outsider:
        break;
    }
    return "";
}

} // namespace

int user_of(Role role) {
    switch (role) {
    case Role::root:
        return 0;
    case Role::outsider:
        return OUTSIDER_USER;
    case Role::client:
        return CLIENT_USER;
    case Role::other_client:
        return OTHER_CLIENT_USER;
    case Role::actor:
        return ACTOR_USER;
    case Role::administrator:
        break;
    }
    return ADMINISTRATOR_USER;
}

void PrintTo(const Ended &ended, std::ostream *out) {
    *out << "status " << ended.exit_status << ", output: " << ended.output << ", errors: " << ended.errors;
}

Public_Programs::Public_Programs(const Programs &programs) {
    EXPECT_EQ(chmod(directory_.path().c_str(), 0755), 0);
    for (const char *program : {"hb_attack", "hbctl", "wispctl", "wispd"}) {
        fs::copy(programs.path(program), directory_.path());
    }
    for (const auto &entry : fs::directory_iterator(fs::path(programs.directory).parent_path() / "lib")) {
        if (entry.path().extension() == ".so") {
            fs::copy(entry.path(), directory_.path());
        }
    }
}

std::unique_ptr<Child_Process> Public_Programs::start(Role role, const std::vector<std::string> &words) const {
    std::vector<std::string> line = {"env", "LD_LIBRARY_PATH=" + directory_.path()};
    if (role != Role::root) {
        const std::string user = std::to_string(user_of(role));
        line.insert(line.end(), {"setpriv", "--reuid", user, "--regid", user});
        const std::string groups = groups_of(role);
        groups.empty() ? line.push_back("--clear-groups")
                       : static_cast<void>(line.insert(line.end(), {"--groups", groups}));
    }
    line.push_back(fs::exists(path(words.front())) ? path(words.front()) : words.front());
    line.insert(line.end(), words.begin() + 1, words.end());
    return std::make_unique<Child_Process>(line);
}

Ended Public_Programs::run(Role role, const std::vector<std::string> &words) const {
    const std::unique_ptr<Child_Process> process = start(role, words);
    process->close_input();
    const std::optional<Child_End> end = process->wait();
    return {end && end->signal == 0 ? end->exit_status : -1, process->output(), process->error_output()};
}

std::string why_no_roles() {
    if (geteuid() != 0) {
        return "attacks from other accounts need root";
    }
    if (access("/usr/bin/setpriv", X_OK) != 0) {
        return "setpriv (package util-linux) is missing";
    }
    return "";
}

} // namespace hb_test
