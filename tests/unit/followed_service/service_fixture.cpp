// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/followed_service/service_fixture.h"

#include <poll.h>

namespace hb_test {
namespace {

std::string word(qz_orb_event_type_t type) {
    return type == QZ_ORB_EVENT_UP ? "up " : type == QZ_ORB_EVENT_DOWN ? "down " : std::to_string(type) + " ";
}

} // namespace

std::string Read_Event::text() const {
    if (result_ != 0) {
        return std::to_string(result_);
    }
    switch (event_.category) {
    case 0: {
        const auto &record = *event_.event.p_node_liveness;
        return word(record.event_type) + std::to_string(record.node_number);
    }
    case 1: {
        const auto &record = *event_.event.p_adapter_liveness;
        return word(record.event_type) + std::to_string(record.node_number) + " " + record.p_interface_name;
    }
    case 2: {
        const auto &record = *event_.event.p_process_liveness;
        return word(record.event_type) + std::to_string(record.node_number) + " " + record.p_command_name;
    }
    case 100:
        return "reconfiguration";
    default:
        return "category " + std::to_string(event_.category);
    }
}

void Read_Event::release() {
    if (result_ == 0) {
        qz_orb_release_event(&event_);
        result_ = -999;
    }
}

Unique_Fd Followed_Service_Test::open(const char *monitor) {
    int fd = -1;
    EXPECT_EQ(0, qz_orb_open_monitor(monitor, &fd));
    return Unique_Fd(fd);
}

std::string Followed_Service_Test::read(const Unique_Fd &monitor, int category) {
    return Read_Event(monitor.get(), category).text();
}

bool Followed_Service_Test::is_readable(const Unique_Fd &monitor) {
    pollfd waiting = {monitor.get(), POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
}

std::string Followed_Service_Test::nodes() {
    qz_mox_node_info_t *list = nullptr;
    if (const int result = qz_mox_get_node_info(nullptr, &list); result != 0) {
        return std::to_string(result);
    }
    std::string text;
    for (const qz_mox_node_info_t *node = list; node != nullptr; node = node->p_next) {
        text += (text.empty() ? "" : ", ") + std::to_string(node->number) +
                (node->status == QZ_MOX_NODE_STATUS_UP ? " up" : " down");
    }
    qz_mox_release_node_info(list);
    return text;
}

std::string Followed_Service_Test::interfaces() {
    qz_mox_net_intf_info_t *list = nullptr;
    if (const int result = qz_mox_get_net_intf_info(nullptr, &list); result != 0) {
        return std::to_string(result);
    }
    std::string text;
    for (const qz_mox_net_intf_info_t *one = list; one != nullptr; one = one->p_next) {
        text += (text.empty() ? "" : ", ") + std::to_string(one->node_number) + " " + one->p_name +
                (one->status == QZ_MOX_INTF_STATUS_UP ? " up" : " down");
    }
    qz_mox_release_net_intf_info(list);
    return text;
}

int Followed_Service_Test::local_node() {
    qz_mox_cluster_info_t *info = nullptr;
    if (qz_mox_get_cluster_info(nullptr, &info) != 0) {
        return -1;
    }
    const int number = static_cast<int>(info->local_node_number);
    qz_mox_release_cluster_info(info);
    return number;
}

} // namespace hb_test
