// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mox_handlers/plain_service.h"

#include <cstring>
#include <sys/eventfd.h>

namespace hb_test {
namespace {

char name_space[32];
qz_mox_cluster_info_t cluster;
qz_orb_event_metadata_t next_event;
int given;
int released;
std::vector<int> asked_after;

int get_cluster_info(const char *, qz_mox_cluster_info_t **info) {
    *info = &cluster;
    return 0;
}

int get_node_info(const char *, qz_mox_node_info_t **list) {
    *list = nullptr;
    return 0;
}

int get_node_info_after_event(const char *, const qz_orb_event_metadata_t *, qz_mox_node_info_t **list) {
    *list = nullptr;
    return 0;
}

int get_net_intf_info(const char *, qz_mox_net_intf_info_t **list) {
    *list = nullptr;
    return 0;
}

int get_net_intf_info_after_event(const char *, const qz_orb_event_metadata_t *event,
                                  qz_mox_net_intf_info_t **list) {
    asked_after.push_back(event->category);
    *list = nullptr;
    return 0;
}

int open_monitor(const char *, int *fd) {
    *fd = eventfd(0, EFD_CLOEXEC);
    return *fd >= 0 ? 0 : -1;
}

int read_event(int, int, qz_orb_event_metadata_t *event) {
    *event = next_event;
    ++given;
    return 0;
}

void release_event(qz_orb_event_metadata_t *) {
    ++released;
}

qz_mox_service_t table;

} // namespace

Plain_Service::Plain_Service(const char *cluster_name) {
    cluster = {};
    if (cluster_name != nullptr) {
        std::strncpy(name_space, cluster_name, sizeof name_space - 1);
        cluster.p_cluster_name = name_space;
    }
    cluster.local_node_number = 1;
    next_event = {};
    given = 0;
    released = 0;
    asked_after.clear();
    table = {};
    table.get_cluster_info = get_cluster_info;
    table.get_node_info = get_node_info;
    table.get_node_info_after_event = get_node_info_after_event;
    table.get_net_intf_info = get_net_intf_info;
    table.get_net_intf_info_after_event = get_net_intf_info_after_event;
    table.open_monitor = open_monitor;
    table.read_event = read_event;
    table.release_event = release_event;
    qz_mox_install_service(&table);
}

Plain_Service::~Plain_Service() {
    qz_mox_install_service(nullptr);
}

void Plain_Service::give(const qz_orb_event_metadata_t &event) {
    next_event = event;
}

int Plain_Service::events_given() const {
    return given;
}

int Plain_Service::events_released() const {
    return released;
}

std::vector<int> Plain_Service::interfaces_asked_after() const {
    return asked_after;
}

} // namespace hb_test
