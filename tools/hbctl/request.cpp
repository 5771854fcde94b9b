// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/request.h"

#include <cerrno>
#include <unistd.h>

#include "common/complaint.h"
#include "common/socket_path.h"
#include "tools/hbctl/error_text.h"

namespace hbctl {
namespace {

bool is_too_long(const std::string &path) {
    return path.size() > common::SOCKET_PATH_LONGEST;
}

bool may_not_use(const std::string &path) {
    return access(path.c_str(), W_OK) != 0 && errno == EACCES;
}

std::string unreachable_line(const std::string &path) {
    if (is_too_long(path)) {
        return "the socket path " + path + " has " + std::to_string(path.size()) + " bytes, more than " +
               std::to_string(common::SOCKET_PATH_LONGEST) +
               ": set a shorter one with HB_SERVER_SOCKET or --socket";
    }
    if (may_not_use(path)) {
        return common::no_access_line(path, "group");
    }
    return common::no_daemon_line(path);
}

} // namespace

std::string failure_line(const std::string &doing, int number) {
    return "cannot " + doing + ": " + error_text(number) + " (error " + std::to_string(number) + ")";
}

std::string request_failure_line(const std::string &doing, int number) {
    return "cannot " + doing + ": " + request_error_text(number) + " (error " + std::to_string(number) + ")";
}

std::string open_failure_line(const std::string &path, int number) {
    if (number == HB_ERROR_CONNECT_FAILED) {
        return unreachable_line(path);
    }
    std::string line = failure_line("use the heartbeat daemon at " + path, number);
    if (number == HB_ERROR_SEGMENT_ABSENT || number == HB_ERROR_SEMAPHORE_ABSENT) {
        line += "; it is starting or stopping, or is not a heartbeat daemon";
    }
    if (number == HB_ERROR_DISCONNECTED || number == HB_ERROR_CONFIG_READ_FAILED) {
        line += "; it is stopping, or rejected this user's connection (see its log)";
    }
    return line;
}

bool means_loss(int error) {
    return error == HB_ERROR_RECEIVE_FAILED || error == HB_ERROR_DISCONNECTED || error == HB_ERROR_SEND_IO ||
           error == HB_ERROR_SEND_FAILED;
}

bool is_absence(const Request_Failed &failure) {
    return dynamic_cast<const Daemon_Absent *>(&failure) != nullptr || means_loss(failure.number());
}

void require(Hb_Rc result, const std::string &doing) {
    if (result != Hb_Success) {
        const int number = hb_get_errno();
        throw Request_Failed(failure_line(doing, number), number);
    }
}

void require_request(Hb_Rc result, const std::string &doing) {
    if (result != Hb_Success) {
        const int number = hb_get_errno();
        throw Request_Failed(request_failure_line(doing, number), number);
    }
}

void open_library() {
    if (hb_init() != Hb_Success) {
        const int number = hb_get_errno();
        const std::string path = common::socket_path_from_environment();
        const std::string line = open_failure_line(path, number);
        if (number == HB_ERROR_CONNECT_FAILED && (is_too_long(path) || may_not_use(path))) {
            throw Request_Failed(line, number);
        }
        throw Daemon_Absent(line, number);
    }
}

} // namespace hbctl
