#include "lib/hb_global_data/session.h"

#include "lib/MOX_HBC_trace.h"
#include "lib/MOX_handlers.h"
#include "lib/hb_communication/configuration_request.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/node_table.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"

int client_initialized = 0;

Hb_Rc hb_init() {
    if (client_initialized == 1) {
        return Hb_Success;
    }
    hbc_initialize_trace_once();
    hb_clear_subscription_names();
    if (!IsMOX && (hb_init_communication() != Hb_Success || hb_init_shared_memory() != Hb_Success)) {
        return Hb_Failure;
    }
    // What an earlier session loaded is given back, so that opening again and again does not grow.
    hb_release_table_lists(global_config_tbl);
    if (hb_recv_config_info() != Hb_Success) {
        return Hb_Failure;
    }
    if (!IsMOX) {
        hb_init_global_node_tbl();
    }
    client_initialized = 1;
    return Hb_Success;
}

Hb_Rc hb_terminate() {
    if (client_initialized == 0) {
        return Hb_Success;
    }
    MOX_delete_global_event_handlers();
    client_initialized = 0;
    return hb_remove_socket();
}

Hb_Rc hb_ensure_connection() {
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    if (!IsMOX && client_socket == nullptr) {
        return hb_init_communication();
    }
    return Hb_Success;
}
