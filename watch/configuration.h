/* SPDX-License-Identifier: Apache-2.0 */
/* Which nodes, adapters and networks are configured. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "hb_watch.h"
#include "watch/bits.h"

typedef struct Hbw_Configuration {
    int known; /* 0: nothing has been read yet */
    int local_node;
    uint32_t node_slots;        /* every node's number is below it */
    uint32_t adapter_slots;     /* every adapter's number is below it */
    Hbw_Bits nodes;             /* the nodes that own an adapter */
    Hb_Watch_Adapter *adapters; /* ascending; their states are not kept here */
    size_t adapter_count;
    size_t adapter_room;
    Hb_Network_Entry networks[HB_NETWORK_SLOTS]; /* an empty name: not configured */
} Hbw_Configuration;

void hbw_configuration_free(Hbw_Configuration *configuration);

/* Empties the configuration for up to `adapters` adapters.  Returns 0, or -1 without memory. */
int hbw_configuration_begin(Hbw_Configuration *configuration, uint32_t node_slots, uint32_t adapter_slots,
                            size_t adapters);
/* Adds an adapter and the node that owns it.  There must be room. */
void hbw_configuration_add(Hbw_Configuration *configuration, const Hb_Watch_Adapter *adapter);
/* Sorts what was added and drops an adapter whose number is there already. */
void hbw_configuration_end(Hbw_Configuration *configuration);

/* Reads the body of a configuration record.  Returns 0, HB_ERROR_UNEXPECTED_REPLY for a body that contradicts itself,
 * or HB_ERROR_NO_MEMORY. */
int hbw_configuration_read(Hbw_Configuration *configuration, const unsigned char *body, size_t size);

int hbw_configurations_differ(const Hbw_Configuration *one, const Hbw_Configuration *other);

/* Returns the index of the first adapter whose number is at least this. */
size_t hbw_configuration_place(const Hbw_Configuration *configuration, Hb_Adapter_Number from);
/* Returns null if the adapter is not configured. */
const Hb_Watch_Adapter *hbw_configuration_find(const Hbw_Configuration *configuration,
                                               Hb_Adapter_Number number);
