#include "tests/unit/mox_handlers/plain_service.h"

#include <cstring>

#include <sys/eventfd.h>

#include "qz_mox.h"

namespace hb_test {
namespace {

char name_space[32];
qz_mox_cluster_info_t cluster;
int given;
int released;

int get_cluster_info(const char *, qz_mox_cluster_info_t **info) {
    *info = &cluster;
    return 0;
}

int open_monitor(const char *, int *fd) {
    *fd = eventfd(0, EFD_CLOEXEC);
    return *fd >= 0 ? 0 : -1;
}

int read_event(int, int, qz_orb_event_metadata_t *event) {
    std::memset(event, 0, sizeof *event);
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
    given = 0;
    released = 0;
    table = {};
    table.get_cluster_info = get_cluster_info;
    table.open_monitor = open_monitor;
    table.read_event = read_event;
    table.release_event = release_event;
    qz_mox_install_service(&table);
}

Plain_Service::~Plain_Service() {
    qz_mox_install_service(nullptr);
}

int Plain_Service::events_given() const {
    return given;
}

int Plain_Service::events_released() const {
    return released;
}

} // namespace hb_test
