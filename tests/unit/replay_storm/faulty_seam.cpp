// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/faulty_seam.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

// The linker redirects the test program's calls of qz_mox_install_service to the first of these functions, so
// that the service is installed behind the seam.
extern "C" {
void __wrap_qz_mox_install_service(const qz_mox_service_t *service);
void __real_qz_mox_install_service(const qz_mox_service_t *service);
}

namespace hb_test::replay_storm::faulty_seam {
namespace {

struct Failure {
    int skip = 0;
    int times = 0;
};

const qz_mox_service_t *behind = nullptr;
std::array<Failure, 3> failures;
bool reading_fails = false;
int queries_failed = 0;
int readings_failed = 0;
int lists = 0;
int events = 0;
std::vector<Reading> readings;

bool fails(Query query) {
    Failure &failure = failures[static_cast<std::size_t>(query)];
    if (failure.times == 0) {
        return false;
    }
    if (failure.skip > 0) {
        --failure.skip;
        return false;
    }
    --failure.times;
    ++queries_failed;
    errno = EIO;
    return true;
}

template <typename List> int counted(int result, List **list) {
    lists += result == 0 && *list != nullptr ? 1 : 0;
    return result;
}

int get_cluster_info(const char *name, qz_mox_cluster_info_t **info) {
    return fails(Query::cluster) ? -1 : counted(behind->get_cluster_info(name, info), info);
}
int get_node_info(const char *name, qz_mox_node_info_t **list) {
    return fails(Query::nodes) ? -1 : counted(behind->get_node_info(name, list), list);
}
int get_node_info_after_event(const char *name, const qz_orb_event_metadata_t *event,
                              qz_mox_node_info_t **list) {
    return fails(Query::nodes) ? -1 : counted(behind->get_node_info_after_event(name, event, list), list);
}
int get_net_intf_info(const char *name, qz_mox_net_intf_info_t **list) {
    return fails(Query::interfaces) ? -1 : counted(behind->get_net_intf_info(name, list), list);
}
int get_net_intf_info_after_event(const char *name, const qz_orb_event_metadata_t *event,
                                  qz_mox_net_intf_info_t **list) {
    return fails(Query::interfaces) ? -1
                                    : counted(behind->get_net_intf_info_after_event(name, event, list), list);
}
void release_cluster_info(qz_mox_cluster_info_t *info) {
    lists -= info != nullptr ? 1 : 0;
    behind->release_cluster_info(info);
}
void release_node_info(qz_mox_node_info_t *list) {
    lists -= list != nullptr ? 1 : 0;
    behind->release_node_info(list);
}
void release_net_intf_info(qz_mox_net_intf_info_t *list) {
    lists -= list != nullptr ? 1 : 0;
    behind->release_net_intf_info(list);
}

void keep(const qz_orb_event_metadata_t &event) {
    if (event.category == QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS) {
        readings.push_back({event.category, event.event.p_node_liveness->event_type,
                            static_cast<int>(event.event.p_node_liveness->node_number)});
    } else if (event.category == QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS) {
        readings.push_back({event.category, event.event.p_process_liveness->event_type,
                            static_cast<int>(event.event.p_process_liveness->node_number)});
    }
}

int read_event(int fd, int category, qz_orb_event_metadata_t *event) {
    if (std::exchange(reading_fails, false)) {
        ++readings_failed;
        errno = EIO;
        return -5;
    }
    const int result = behind->read_event(fd, category, event);
    if (result == 0) {
        ++events;
        keep(*event);
    }
    return result;
}
void release_event(qz_orb_event_metadata_t *event) {
    events -= event != nullptr ? 1 : 0;
    behind->release_event(event);
}

qz_mox_service_t seam;

} // namespace

void fail(Query query, int skip, int times) {
    failures[static_cast<std::size_t>(query)] = {skip, times};
}
void fail_reading() {
    reading_fails = true;
}
void heal() {
    failures = {};
    reading_fails = false;
}
int failed_queries() {
    return queries_failed;
}
int failed_readings() {
    return readings_failed;
}
std::vector<Reading> take_readings() {
    return std::exchange(readings, {});
}
int lists_out() {
    return lists;
}
int events_out() {
    return events;
}

} // namespace hb_test::replay_storm::faulty_seam

using namespace hb_test::replay_storm::faulty_seam; // for the function below, which C names

void __wrap_qz_mox_install_service(const qz_mox_service_t *service) {
    behind = service;
    if (service == nullptr) {
        __real_qz_mox_install_service(nullptr);
        return;
    }
    seam = *service;
    seam.get_cluster_info = get_cluster_info;
    seam.get_node_info = get_node_info;
    seam.get_node_info_after_event = get_node_info_after_event;
    seam.get_net_intf_info = get_net_intf_info;
    seam.get_net_intf_info_after_event = get_net_intf_info_after_event;
    seam.release_cluster_info = release_cluster_info;
    seam.release_node_info = release_node_info;
    seam.release_net_intf_info = release_net_intf_info;
    seam.read_event = read_event;
    seam.release_event = release_event;
    __real_qz_mox_install_service(&seam);
}
