// The connection to the daemon and its wait set; made by hb_init_communication, dropped by
// hb_remove_socket and hb_remove_client_select of hb_client.h.
#ifndef HB_CONNECTION_H
#define HB_CONNECTION_H

#include <sys/types.h>

#include "lib/vexo/Hb_Csock.h"
#include "lib/vexo/Hb_Select.h"

extern pid_t client_pid;
extern Hb_Csock *client_socket;  // null when there is no connection
extern Hb_Select *client_select; // null when there is none

#endif
