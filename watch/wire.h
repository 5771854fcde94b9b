/* SPDX-License-Identifier: Apache-2.0 */
/* The records that a watch exchanges with the daemon: docs/protocol.md describes each byte. */
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include "hb_client.h"

/* Kinds of records from the daemon. */
enum {
    HBW_CONFIGURATION = 0,
    HBW_ADAPTER_DEATH = 2,
    HBW_ADAPTER_JOIN = 3,
    HBW_ADAPTER_GROUP = 4,
    HBW_NODE_DEATH = 5,
    HBW_NODE_JOIN = 6,
    HBW_NODE_GROUP = 7,
    HBW_ROUTE = 8,
    HBW_CONFIGURATION_UPDATE = 9,
    HBW_FAILURE = 12
};

/* Sizes of records, without the length that precedes each. */
enum {
    HBW_LENGTH_SIZE = 4,
    HBW_HEADER_SIZE = 108,
    HBW_RECORD_LONGEST = 6298784,
    HBW_REQUEST_HEADER_SIZE = 76,
    HBW_SUBSCRIPTION_SIZE = 12348,
    HBW_REQUEST_LONGEST = HBW_LENGTH_SIZE + HBW_REQUEST_HEADER_SIZE + HBW_SUBSCRIPTION_SIZE
};

/* A record from the daemon.  The pointers are valid until the next record is read. */
typedef struct Hbw_Record {
    int32_t kind;
    uint32_t sequence;   /* 0: a reply */
    const char *failure; /* 43 bytes, with a NUL unless the daemon erred */
    const unsigned char *body;
    size_t size; /* of the body */
} Hbw_Record;

/* Reads the header.  Returns 0, or -1 if the record is shorter than a header. */
int hbw_read_record(const unsigned char *bytes, size_t size, Hbw_Record *record);

/* Returns the 32-bit number at the place of a body. */
int32_t hbw_number_at(const unsigned char *place);

/* Each writes a request with the length that precedes it, and returns how many bytes that are.  `out` holds
 * HBW_REQUEST_LONGEST bytes. */
size_t hbw_ask_configuration(unsigned char *out, pid_t pid);
size_t hbw_ask_route(unsigned char *out, pid_t pid, int node);
/* Subscribes to all nodes, or all adapters, with deaths, joins and the group of those that are up. */
size_t hbw_subscribe_all(unsigned char *out, pid_t pid, Hb_Subscription_Type type, const char *name);
