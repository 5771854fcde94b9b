// SPDX-License-Identifier: Apache-2.0
// Releases everything when the library is unloaded, so that a program may load it again and again. At the end
// of the process nothing is released. Another thread may still be inside a call, and the system frees
// everything anyway.

#include "lib/base/process_exit.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/message_events.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/process_handlers.h"

namespace {

void drop_queued_events() {
    while (MOX_Event *ev = MOX_get_event_from_head()) {
        MOX_delete_event(ev);
    }
    MOX_drop_kept_message_events();
}

void drop_registry() {
    delete[] ORBFSHandler::handlerInstances;
    ORBFSHandler::handlerInstances = nullptr;
    ORBFSHandler::handlerListSlots = 0;
    ORBFSHandler::currentSlots = 0;
    ORBFSHandler::numbersOfFileDescriptors = 0;
}

// Nothing is traced here: the trace library may already be unloaded.
__attribute__((destructor)) void release_all() {
    if (hb_process_ends()) {
        return;
    }
    MOX_delete_global_event_handlers();
    drop_registry();
    drop_queued_events();
    hb_drop_connection();
    delete client_select;
    client_select = nullptr;
    hb_detach_shared_memory();
    hb_release_table_lists(global_config_tbl);
    MOX_drop_waiting_tables();
    MOX_drop_prepared_table();
}

} // namespace
