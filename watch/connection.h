/* SPDX-License-Identifier: Apache-2.0 */
/* A stream of records to and from the daemon.  No function waits. */
#pragma once

#include <stddef.h>

#include "watch/wire.h"

/* Room for what the daemon has not read yet: a question, and both subscriptions twice. */
enum { HBW_OUTPUT_ROOM = 5 * HBW_REQUEST_LONGEST };

typedef struct Hbw_Connection {
    int descriptor; /* -1: not connected */
    unsigned char *input;
    size_t input_room;
    size_t input_begin; /* what lies before it has been handed out */
    size_t input_end;
    unsigned char output[HBW_OUTPUT_ROOM];
    size_t output_size;
} Hbw_Connection;

/* What an attempt or a reading found.  The other results are numbers of errors. */
enum { HBW_DONE = 0, HBW_NOTHING_NOW = -1 };

void hbw_connection_init(Hbw_Connection *connection);
/* Closes the descriptor.  Keeps the memory for the next connection. */
void hbw_connection_close(Hbw_Connection *connection);
void hbw_connection_free(Hbw_Connection *connection);

/* Connects.  HBW_NOTHING_NOW: the daemon has too many connections to accept; try again. */
int hbw_connect(Hbw_Connection *connection, const char *path);

/* Sends a request, or keeps what the daemon does not read yet.  Returns HBW_DONE, or HB_ERROR_SEND_FAILED if the room is
 * full.  A connection that the daemon has closed is found by hbw_receive, after its last record. */
int hbw_send(Hbw_Connection *connection, const unsigned char *bytes, size_t size);
/* Sends what was kept. */
void hbw_flush(Hbw_Connection *connection);

/* Reads the next record.  HBW_NOTHING_NOW: it has not arrived yet. */
int hbw_receive(Hbw_Connection *connection, Hbw_Record *record);
/* Returns whether hbw_receive has a whole record without reading. */
int hbw_has_record(const Hbw_Connection *connection);
