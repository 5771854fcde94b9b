// Making the handlers of cluster-event mode.
#ifndef MOX_HANDLER_CREATION_H
#define MOX_HANDLER_CREATION_H

#include "hb_client.h"

// With a cluster service installed: both pipes, the nine handlers and the cluster's name; all or nothing. A
// monitor that cannot be opened is a failure, since its events would be missed for ever. Handlers that are
// there already stay; in cluster-event mode also when it fails. Without a service it makes nothing and succeeds.
// errno says what failed.
Hb_Rc MOX_create_global_event_handlers();

// The same, which leaves what it had made when it fails.
Hb_Rc MOX_create_global_event_handlers_internal();

#endif
