// The move of a running client from the daemon to the cluster service; the three entries are in hb_client.h.
#ifndef MOX_MIGRATION_H
#define MOX_MIGRATION_H

// Builds the working table from the service, or uses the prepared one when the service does not answer, and queues
// what differs from the live one, with one marker. Does nothing without handlers.
void hb_migrate_construct_global_table_and_events();

#endif
