// SPDX-License-Identifier: Apache-2.0
#include <atomic>

#include "qz_mox.h"

namespace {

std::atomic<const qz_mox_service_t *> installed{nullptr};

// Calls the installed service. Without a service errno stays unchanged, because callers report it beside the
// -1.
template <typename Function, typename... Arguments>
int query(Function *qz_mox_service_t::*function, Arguments... arguments) {
    const qz_mox_service_t *service = installed.load(std::memory_order_acquire);
    if (service == nullptr || service->*function == nullptr) {
        return -1;
    }
    return (service->*function)(arguments...);
}

template <typename Record> void release(void (*qz_mox_service_t::*function)(Record *), Record *record) {
    const qz_mox_service_t *service = installed.load(std::memory_order_acquire);
    if (service != nullptr && service->*function != nullptr) {
        (service->*function)(record);
    }
}

} // namespace

void qz_mox_install_service(const qz_mox_service_t *service) {
    installed.store(service, std::memory_order_release);
}

int qz_mox_service_present(void) {
    return installed.load(std::memory_order_acquire) != nullptr ? 1 : 0;
}

int qz_mox_get_cluster_info(const char *cluster_name, qz_mox_cluster_info_t **info) {
    return query(&qz_mox_service_t::get_cluster_info, cluster_name, info);
}

int qz_mox_get_node_info(const char *cluster_name, qz_mox_node_info_t **list) {
    return query(&qz_mox_service_t::get_node_info, cluster_name, list);
}

int qz_mox_get_node_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                     qz_mox_node_info_t **list) {
    return query(&qz_mox_service_t::get_node_info_after_event, cluster_name, event, list);
}

int qz_mox_get_net_intf_info(const char *cluster_name, qz_mox_net_intf_info_t **list) {
    return query(&qz_mox_service_t::get_net_intf_info, cluster_name, list);
}

int qz_mox_get_net_intf_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                         qz_mox_net_intf_info_t **list) {
    return query(&qz_mox_service_t::get_net_intf_info_after_event, cluster_name, event, list);
}

int qz_mox_get_local_node_uuid(const char *cluster_name, qz_mox_uuid_t *uuid) {
    return query(&qz_mox_service_t::get_local_node_uuid, cluster_name, uuid);
}

int qz_mox_get_local_site_info(const char *cluster_name, qz_mox_site_info_t *site) {
    return query(&qz_mox_service_t::get_local_site_info, cluster_name, site);
}

int qz_mox_get_site_merge_policy(const char *cluster_name, int *policy) {
    return query(&qz_mox_service_t::get_site_merge_policy, cluster_name, policy);
}

void qz_mox_release_cluster_info(qz_mox_cluster_info_t *info) {
    release(&qz_mox_service_t::release_cluster_info, info);
}

void qz_mox_release_node_info(qz_mox_node_info_t *list) {
    release(&qz_mox_service_t::release_node_info, list);
}

void qz_mox_release_net_intf_info(qz_mox_net_intf_info_t *list) {
    release(&qz_mox_service_t::release_net_intf_info, list);
}

int qz_orb_open_monitor(const char *fname, int *fd) {
    return query(&qz_mox_service_t::open_monitor, fname, fd);
}

int qz_orb_read_event(int fd, int category, qz_orb_event_metadata_t *event) {
    return query(&qz_mox_service_t::read_event, fd, category, event);
}

void qz_orb_release_event(qz_orb_event_metadata_t *event) {
    release(&qz_mox_service_t::release_event, event);
}
