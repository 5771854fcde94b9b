// Gathers the pairs of hb_communication/ for readers and tests; the library's own files include the one they need.
#ifndef HB_COMMUNICATION_H
#define HB_COMMUNICATION_H

#include "lib/hb_communication/configuration_load.h"
#include "lib/hb_communication/configuration_request.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_communication/control.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_communication/event_view.h"
#include "lib/hb_communication/int_compare.h"
#include "lib/hb_communication/node_table.h"
#include "lib/hb_communication/packet.h"
#include "lib/hb_communication/reply.h"
#include "lib/hb_communication/request.h"
#include "lib/hb_communication/route_section.h"
#include "lib/hb_communication/routes.h"
#include "lib/hb_communication/shared_segments.h"
#include "lib/hb_communication/snapshot_view.h"
#include "lib/hb_communication/socket_path.h"

#endif
