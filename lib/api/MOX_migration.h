// SPDX-License-Identifier: Apache-2.0
// The migration of a running client from the daemon to the cluster service. hb_client.h declares the three
// public functions.
#pragma once

// Builds the working table from the service and queues its differences from the live table, with one marker.
// When the service does not answer, the prepared table is used. Without handlers it does nothing.
void hb_migrate_construct_global_table_and_events();
