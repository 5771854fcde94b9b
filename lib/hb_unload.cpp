// What the library gives back when it is unloaded, so that a program may load it again and again.

#include "lib/MOX_handlers.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/configuration_table.h"

namespace {

// Nothing is traced here: the trace library may have been unloaded already.
__attribute__((destructor)) void give_back() {
    MOX_delete_global_event_handlers();
    delete client_socket;
    client_socket = nullptr;
    delete client_select;
    client_select = nullptr;
    hb_detach_shared_memory();
    hb_release_table_lists(global_config_tbl);
}

} // namespace
