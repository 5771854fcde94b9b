// What cluster-event (MOX) mode keeps for the process and gives back at the end.
#ifndef HB_HANDLER_REGISTRY_H
#define HB_HANDLER_REGISTRY_H

extern char *orbfs_cluster_name; // new[], null until known

// Safe to call at any time and again.
void MOX_delete_global_event_handlers();

#endif
