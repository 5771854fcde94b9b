// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/handler_creation.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

#include "lib/base/errno_keeper.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/mox/handlers/MOX_ORBFSAdapterEventHandler.h"
#include "lib/mox/handlers/MOX_ORBFSEventPipeHandler.h"
#include "lib/mox/handlers/MOX_ORBFSIPChangeEventHandler.h"
#include "lib/mox/handlers/MOX_ORBFSNewGroupEventHandler.h"
#include "lib/mox/handlers/MOX_ORBFSNodeListHandler.h"
#include "lib/mox/handlers/MOX_ORBFSNodeLivenessHandler.h"
#include "lib/mox/handlers/MOX_ORBFSPeerGSLivenessHandler.h"
#include "lib/mox/handlers/MOX_ORBFSReconfigEventHandler.h"
#include "lib/mox/handlers/MOX_ORBFSSiteConfigEventHandler.h"
#include "lib/mox/handlers/event_pipe.h"
#include "lib/mox/handlers/process_handlers.h"
#include "lib/mox/service_lists.h"

namespace {

// A handler without a descriptor would never be called. Neither would one that was not registered because
// memory was short.
bool is_registered(const ORBFSHandler &handler, int registered_before) {
    if (handler.getFileDescriptor() == -1) {
        errno = handler.getOpenFileError();
        return false;
    }
    if (ORBFSHandler::getNumbersOfFileDescriptors() == registered_before) {
        errno = ENOMEM;
        return false;
    }
    return true;
}

// The handler's constructor needs a writable name, and copies it.
template <typename Handler> bool make_monitor(ORBFSHandler *&handler, const char *monitor) {
    if (handler != nullptr) {
        return true;
    }
    char name[32] = {};
    std::strncpy(name, monitor, sizeof name - 1);
    const int registered = ORBFSHandler::getNumbersOfFileDescriptors();
    handler = new (std::nothrow) Handler(name);
    if (handler == nullptr) {
        errno = ENOMEM;
        return false;
    }
    return is_registered(*handler, registered);
}

// Neither end blocks. A program that signals more than it reads receives HB_ERROR_WAKE_UP_FAILED (59), and a
// handler that is called while nothing is readable returns.
template <typename Handler> bool make_pipe(ORBFSPipeHandler *&handler, const char *pipe_name) {
    if (handler != nullptr) {
        return true;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    char name[32] = {};
    std::strncpy(name, pipe_name, sizeof name - 1);
    const int registered = ORBFSHandler::getNumbersOfFileDescriptors();
    handler = new (std::nothrow) Handler(ends, name);
    if (handler == nullptr) {
        close(ends[0]);
        close(ends[1]);
        errno = ENOMEM;
        return false;
    }
    return is_registered(*handler, registered);
}

// A cluster without a name remains the default cluster.
bool load_cluster_name() {
    if (orbfs_cluster_name != nullptr) {
        return true;
    }
    MOX_Owned<qz_mox_cluster_info_t> cluster;
    const int result =
        MOX_query(cluster, [](qz_mox_cluster_info_t **info) { return qz_mox_get_cluster_info(nullptr, info); });
    if (result != 0 || !cluster) {
        return false;
    }
    const char *name = cluster->p_cluster_name;
    if (name == nullptr || name[0] == '\0') {
        return true;
    }
    const std::size_t size = std::strlen(name) + 1;
    orbfs_cluster_name = new (std::nothrow) char[size];
    if (orbfs_cluster_name == nullptr) {
        errno = ENOMEM;
        return false;
    }
    std::memcpy(orbfs_cluster_name, name, size);
    return true;
}

} // namespace

Hb_Rc MOX_create_global_event_handlers_internal() {
    if (qz_mox_service_present() == 0) {
        return Hb_Success;
    }
    MOX_keep_queue_usable_after_fork();
    const bool had_pipe = event_pipe_handler_p != nullptr;
    const bool made =
        make_monitor<ORBFSAdapterEventHandler>(adapter_event_handler_p, "adapter_liveness") &&
        make_pipe<ORBFSEventPipeHandler>(event_pipe_handler_p, "event pipe") &&
        make_monitor<ORBFSNodeLivenessHandler>(node_liveness_handler_p, "node_liveness") &&
        make_monitor<ORBFSNodeListHandler>(node_list_handler_p, "node_list") &&
        make_monitor<ORBFSPeerGSLivenessHandler>(peer_GS_liveness_handler_p, "peer_gs_liveness") &&
        make_pipe<ORBFSNewGroupEventHandler>(new_group_event_handler_p, "new-group pipe") &&
        make_monitor<ORBFSIPChangeEventHandler>(ip_change_handler_p, "ip_change") &&
        make_monitor<ORBFSReconfigEventHandler>(cluster_reconfig_handler_p, "cluster_reconfig") &&
        make_monitor<ORBFSSiteConfigEventHandler>(site_config_handler_p, "site_cfg") && load_cluster_name();
    if (made && !had_pipe) {
        MOX_wake_for_queued_events();
    }
    return made ? Hb_Success : Hb_Failure;
}

Hb_Rc MOX_create_global_event_handlers() {
    // Handlers that already deliver events, and those that an earlier preparation kept, must survive a
    // failure of this call.
    const MOX_Handler_Set before = IsMOX ? MOX_existing_handlers() : MOX_Handler_Set{};
    const Hb_Rc result = MOX_create_global_event_handlers_internal();
    if (result != Hb_Success) {
        const Hb_Errno_Keeper kept;
        MOX_delete_handlers_except(before);
    }
    return result;
}
