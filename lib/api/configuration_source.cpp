// SPDX-License-Identifier: Apache-2.0
#include "lib/api/configuration_source.h"

#include "lib/hb_communication/configuration_request.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/table_update.h"

namespace {

Hb_Rc load_from_service() {
    Hb_Configuration_Internal built = {};
    const Hb_Rc result = hb_mox_update_global_tbl(&built, nullptr, nullptr);
    if (result == Hb_Success) {
        // Tables that wait for their markers are older than the answer that the service gives now.
        MOX_drop_waiting_tables();
        hb_move_config_table(built, global_config_tbl);
    }
    return result;
}

} // namespace

Hb_Rc hb_recv_config_info() {
    return IsMOX ? load_from_service() : hb_request_configuration();
}
