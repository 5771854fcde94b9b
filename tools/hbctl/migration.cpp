// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/migration.h"

#include "hb_client.h"
#include "tools/hbctl/error_text.h"

namespace hbctl {
namespace {

// When the local nodes differ, the library leaves the error number unchanged. No preparation sets this number.
void mark_error_number() {
    hb_get_my_node_number(nullptr);
}

Obstacle obstacle_of(int error) {
    switch (error) {
    case HB_ERROR_CLUSTER_QUERY_FAILED:
    case HB_ERROR_NODE_QUERY_FAILED:
    case HB_ERROR_INTERFACE_QUERY_FAILED:
        return Obstacle::service;
    case HB_ERROR_NO_MEMORY:
        return Obstacle::memory;
    case HB_ERROR_HANDLERS_NOT_CREATED:
        return Obstacle::handlers;
    case HB_ERROR_NODE_UNKNOWN_TO_SERVICE:
        return Obstacle::nodes;
    default: // also numbers that are not failures, such as a state that is neither up nor down
        return Obstacle::local_node;
    }
}

} // namespace

Preparation prepare_migration() {
    mark_error_number();
    if (hb_migrate_to_mox_prep() == Hb_Success) {
        return {};
    }
    const int error = hb_get_errno();
    hb_migrate_to_mox_abort();
    Preparation failed{obstacle_of(error), error};
    if (failed.obstacle == Obstacle::local_node) {
        failed.error.reset();
    }
    return failed;
}

std::string obstacle_text(const Preparation &preparation) {
    if (preparation.succeeded()) {
        return "";
    }
    if (!preparation.error) {
        return "the cluster service and the daemon give this node different numbers";
    }
    return error_text(*preparation.error) + " (error " + std::to_string(*preparation.error) + ")";
}

} // namespace hbctl
