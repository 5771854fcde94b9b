// SPDX-License-Identifier: Apache-2.0
#include "common/complaint.h"

namespace common {

std::string no_daemon_line(const std::string &path) {
    return "no heartbeat daemon listens at " + path + " (HB_SERVER_SOCKET or --socket changes the path)";
}

std::string no_access_line(const std::string &path, const std::string &group) {
    return "permission denied for the daemon's socket " + path + ": run as root or as a member of wispd's " +
           group;
}

std::string unknown_word_line(const std::string &program, const std::string &word) {
    const std::string kind = word.starts_with("-") ? "option" : "command";
    return "unknown " + kind + " '" + word + "'; " + program + " --help lists them";
}

std::string no_command_line(const std::string &program) {
    return "a command is required; " + program + " --help lists them";
}

} // namespace common
