#include "lib/MOX_migration.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <pthread.h>

#include "hb_client.h"
#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_ORBFSConfigurationHandler.h"
#include "lib/MOX_handler_creation.h"
#include "lib/MOX_handlers.h"
#include "lib/MOX_table_comparison.h"
#include "lib/MOX_table_update.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/error_number.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_uncancelled.h"

namespace {

// A table of the service's view, for as long as it is looked at. The nodes that the queries know stay those of
// the daemon meanwhile and afterwards, since the move may be given up.
struct Scratch_Table {
    Hb_Configuration_Internal table = {};
    Scratch_Table() { std::copy_n(global_node_tbl, HB_NODE_SLOTS, nodes_known_); }
    Scratch_Table(const Scratch_Table &) = delete;
    Scratch_Table &operator=(const Scratch_Table &) = delete;
    ~Scratch_Table() {
        empty_global_config_table(&table);
        std::copy_n(nodes_known_, HB_NODE_SLOTS, global_node_tbl);
        global_num_nodes = nodes_counted_;
    }

  private:
    Hb_Boolean nodes_known_[HB_NODE_SLOTS];
    int nodes_counted_ = global_num_nodes;
};

// Keeps SIGPIPE from this thread: the daemon that is told to end may have ended already, and the move goes on.
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

void tell_daemon_to_end() {
    const Without_Sigpipe guard;
    hb_mox_delayed_daemon_shutdown();
}

Hb_Rc give_up() {
    MOX_delete_global_event_handlers();
    return Hb_Failure;
}

} // namespace

Hb_Rc hb_migrate_to_mox_prep() {
    migrate_to_mox_prep = true;
    const Hb_Rc created = MOX_create_global_event_handlers();
    if (created != Hb_Success) {
        set_hb_errno(74);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_NO_HANDLERS, created, 74);
        return give_up();
    }
    Scratch_Table scratch;
    const Hb_Rc built = hb_mox_update_global_tbl(&scratch.table, nullptr, nullptr);
    if (built != Hb_Success) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_NO_TABLE, built);
        return Hb_Failure;
    }
    if (global_config_tbl.local_node_number != scratch.table.local_node_number) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_OTHER_NODE, int{global_config_tbl.local_node_number},
                        int{scratch.table.local_node_number});
        return give_up();
    }
    const Hb_Rc known = MOX_find_tbl1_node_in_tbl2(&global_config_tbl, &scratch.table);
    if (known != Hb_Success) {
        set_hb_errno(75);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_MIGRATION_UNKNOWN_NODE, known);
        return give_up();
    }
    return Hb_Success;
}

// While a move is being made everything is queued, so that no group is filled here.
void hb_migrate_construct_global_table_and_events() {
    auto *configuration = dynamic_cast<ORBFSConfigurationHandler *>(adapter_event_handler_p);
    if (configuration != nullptr) {
        int events = 0;
        Hb_Name name = {};
        unsigned long length = 0;
        configuration->update_global_table_and_construct_events(&events, name, nullptr, &length, nullptr);
    }
}

Hb_Rc hb_migrate_to_mox_commit() {
    tell_daemon_to_end();
    IsMOX = true;
    hb_remove_client_select();
    hb_remove_socket();
    migrate_to_mox_prep = true; // also when nothing was prepared: every difference is queued, and none lost
    hb_migrate_construct_global_table_and_events();
    migrate_to_mox_prep = false;
    return Hb_Success;
}

Hb_Rc hb_migrate_to_mox_abort() {
    MOX_delete_global_event_handlers();
    return Hb_Success;
}
