// SPDX-License-Identifier: Apache-2.0
// Makes the handlers of cluster-event mode.
#pragma once

#include "hb_client.h"

// With a cluster service it makes both pipes, the nine handlers and the cluster's name: all or nothing. A
// monitor that cannot be opened is a failure, because its events would be missed for ever. Existing handlers
// stay; in cluster-event mode they stay after a failure too. Without a service it makes nothing and succeeds.
// On failure errno holds the reason.
Hb_Rc MOX_create_global_event_handlers();

// The same, but a failure leaves what was made.
Hb_Rc MOX_create_global_event_handlers_internal();
