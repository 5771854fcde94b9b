// SPDX-License-Identifier: Apache-2.0
// Includes all headers of hb_global_data/ for tests. The library's own files include only the headers they
// need.
#pragma once

#include "lib/api/session.h"
#include "lib/base/address_text.h"
#include "lib/base/error_number.h"
#include "lib/base/mutex_cleanup.h"
#include "lib/hb_global_data/cluster_name.h"
#include "lib/hb_global_data/configuration_checks.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/group_record.h"
#include "lib/hb_global_data/message_events.h"
#include "lib/hb_global_data/mox_event.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/session_state.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_dump.h"
#include "lib/hb_global_data/table_swap.h"
