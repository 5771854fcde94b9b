// SPDX-License-Identifier: Apache-2.0
#include "lib/api/MOX_migration.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <pthread.h>
#include <utility>

#include "hb_client.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/base/uncancelled.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/known_nodes.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session_state.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/event_reading.h"
#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"
#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"
#include "lib/mox/table_comparison.h"
#include "lib/mox/table_update.h"

namespace {

// Blocks SIGPIPE in this thread. The daemon may have stopped before it receives the request to shut down, and
// the migration must go on.
class Without_Sigpipe {
  public:
    Without_Sigpipe() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        was_pending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    Without_Sigpipe(const Without_Sigpipe &) = delete;
    Without_Sigpipe &operator=(const Without_Sigpipe &) = delete;
    ~Without_Sigpipe() {
        sigset_t pending;
        if (!was_pending_ && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1) {
            const Hb_Uncancelled guard; // waiting is a cancellation point
            const timespec at_once = {};
            sigtimedwait(&pipe_, nullptr, &at_once);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t pipe_;
    sigset_t before_;
    bool was_pending_;
};

void request_daemon_shutdown() {
    const Without_Sigpipe guard;
    hb_mox_delayed_daemon_shutdown();
}

using Skip_Unread = std::initializer_list<std::pair<const ORBFSHandler *, int>>;

bool skip_unread(Skip_Unread monitors) {
    bool any = false;
    for (const auto &[handler, category] : monitors) {
        if (handler != nullptr) {
            any = MOX_skip_unread_events(handler->getFileDescriptor(), category) || any;
        }
    }
    return any;
}

// A commit reports the whole configuration itself. Configuration events that are still unread would report it
// a second time.
bool skip_unread_configuration() {
    return skip_unread({{node_list_handler_p, QZ_ORB_EVENT_CATEGORY_NODE_LIST},
                        {cluster_reconfig_handler_p, QZ_ORB_MONITOR_CLUSTER_RECONFIG}});
}

// Until the first commit the daemon has reported everything since the monitors were opened. Reading those
// events first makes the service's answers current, so nothing is reported twice.
bool skip_events_the_daemon_reported() {
    const Skip_Unread liveness = {{node_liveness_handler_p, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS},
                                  {adapter_event_handler_p, QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS}};
    bool any = skip_unread(liveness);
    any = skip_unread_configuration() || any;
    // The liveness of a node that joined becomes readable only after its join event has been read.
    return skip_unread(liveness) || any;
}

void queue_differences(bool leaves_daemon) {
    auto *configuration = dynamic_cast<ORBFSConfigurationHandler *>(adapter_event_handler_p);
    if (configuration != nullptr) {
        configuration->queue_all_differences(MOX_prepared_table, leaves_daemon ? skip_events_the_daemon_reported
                                                                               : skip_unread_configuration);
    }
}

// In cluster-event mode the handlers that already deliver events stay. Only those that this preparation made
// are deleted.
Hb_Rc abandon_preparation(const MOX_Handler_Set &before) {
    MOX_delete_handlers_except(before);
    MOX_drop_prepared_table();
    return Hb_Failure;
}

} // namespace

Hb_Rc hb_migrate_to_mox_prep() {
    MOX_drop_prepared_table();
    migrate_to_mox_prep = true;
    if (!hb_is_open()) {
        return hb_fail(HB_ERROR_NOT_OPEN);
    }
    const MOX_Handler_Set before = IsMOX ? MOX_existing_handlers() : MOX_Handler_Set{};
    const Hb_Rc created = MOX_create_global_event_handlers();
    if (created != Hb_Success) {
        set_hb_errno(HB_ERROR_HANDLERS_NOT_CREATED);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_NO_HANDLERS, created, HB_ERROR_HANDLERS_NOT_CREATED);
        return abandon_preparation(before);
    }
    const MOX_Known_Nodes nodes;
    const Hb_Rc built = hb_mox_update_global_tbl(&MOX_prepared_table, nullptr, nullptr);
    if (built != Hb_Success) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_NO_TABLE, built);
        return Hb_Failure;
    }
    if (global_config_tbl.local_node_number != MOX_prepared_table.local_node_number) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_OTHER_NODE, int{global_config_tbl.local_node_number},
                        int{MOX_prepared_table.local_node_number});
        return abandon_preparation(before);
    }
    const Hb_Rc known = MOX_find_tbl1_node_in_tbl2(&global_config_tbl, &MOX_prepared_table);
    if (known != Hb_Success) {
        set_hb_errno(HB_ERROR_NODE_UNKNOWN_TO_SERVICE);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_UNKNOWN_NODE, known);
        return abandon_preparation(before);
    }
    return Hb_Success;
}

void hb_migrate_construct_global_table_and_events() {
    queue_differences(false);
}

Hb_Rc hb_migrate_to_mox_commit() {
    request_daemon_shutdown();
    const bool leaves_daemon = !IsMOX;
    IsMOX = true;
    hb_remove_client_select();
    hb_remove_socket();
    migrate_to_mox_prep = true; // without a preparation too, so that every difference is queued
    queue_differences(leaves_daemon);
    MOX_drop_prepared_table();
    migrate_to_mox_prep = false;
    return Hb_Success;
}

Hb_Rc hb_migrate_to_mox_abort() {
    MOX_delete_global_event_handlers();
    MOX_drop_prepared_table();
    return Hb_Success;
}
