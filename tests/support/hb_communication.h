// SPDX-License-Identifier: Apache-2.0
// Includes all headers of hb_communication/ for tests. The library's own files include only the headers they
// need.
#pragma once

#include "lib/api/configuration_source.h"
#include "lib/api/control.h"
#include "lib/api/routes.h"
#include "lib/base/int_compare.h"
#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/configuration_request.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_communication/route_section.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_global_data/node_table.h"
#include "lib/vexo/socket_path.h"
#include "lib/wire/event_view.h"
#include "lib/wire/packet.h"
#include "lib/wire/snapshot_view.h"
