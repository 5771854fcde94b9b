/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/configuration.h"

#include <stdlib.h>
#include <string.h>

#include "watch/wire.h"

/* Offsets in the body of a configuration record, and sizes of its entries. */
enum {
    LOCAL_NODE_AT = 0,
    NODE_SLOTS_AT = 4,
    NODE_ADAPTERS_AT = 8,
    ADAPTERS_AT = 12,
    NETWORKS_AT = 16,
    ENTRIES_AT = 20
};

void hbw_configuration_free(Hbw_Configuration *configuration) {
    hbw_bits_free(&configuration->nodes);
    free(configuration->adapters);
    configuration->adapters = NULL;
    configuration->adapter_count = 0;
    configuration->adapter_room = 0;
    configuration->known = 0;
}

int hbw_configuration_begin(Hbw_Configuration *configuration, uint32_t node_slots, uint32_t adapter_slots,
                            size_t adapters) {
    if (hbw_bits_reserve(&configuration->nodes, node_slots) != 0) {
        return -1;
    }
    if (adapters > configuration->adapter_room) {
        Hb_Watch_Adapter *room = realloc(configuration->adapters, adapters * sizeof *room);
        if (room == NULL) {
            return -1;
        }
        configuration->adapters = room;
        configuration->adapter_room = adapters;
    }
    hbw_bits_clear(&configuration->nodes);
    memset(configuration->networks, 0, sizeof configuration->networks);
    configuration->adapter_count = 0;
    configuration->node_slots = node_slots;
    configuration->adapter_slots = adapter_slots;
    configuration->known = 1;
    return 0;
}

void hbw_configuration_add(Hbw_Configuration *configuration, const Hb_Watch_Adapter *adapter) {
    configuration->adapters[configuration->adapter_count++] = *adapter;
    hbw_bits_add(&configuration->nodes, (uint32_t)adapter->node);
}

static int by_number(const void *one, const void *other) {
    const Hb_Adapter_Number first = ((const Hb_Watch_Adapter *)one)->number;
    const Hb_Adapter_Number second = ((const Hb_Watch_Adapter *)other)->number;
    return (first > second) - (first < second);
}

static int is_sorted(const Hbw_Configuration *configuration) {
    for (size_t i = 1; i < configuration->adapter_count; ++i) {
        if (configuration->adapters[i - 1].number >= configuration->adapters[i].number) {
            return 0;
        }
    }
    return 1;
}

void hbw_configuration_end(Hbw_Configuration *configuration) {
    if (is_sorted(configuration)) {
        return;
    }
    Hb_Watch_Adapter *adapters = configuration->adapters;
    qsort(adapters, configuration->adapter_count, sizeof *adapters, by_number);
    size_t kept = 0;
    for (size_t i = 0; i < configuration->adapter_count; ++i) {
        if (kept == 0 || adapters[kept - 1].number != adapters[i].number) {
            adapters[kept++] = adapters[i];
        }
    }
    configuration->adapter_count = kept;
}

typedef struct Counts {
    int32_t node_slots;
    int32_t node_adapters;
    int32_t adapters;
    int32_t networks;
} Counts;

static int is_within(int32_t number, int32_t most) {
    return number >= 0 && number <= most;
}

/* Returns 0 if the counts are within the limits and match the size of the body. */
static int read_counts(const unsigned char *body, size_t size, Counts *counts) {
    if (size < ENTRIES_AT) {
        return -1;
    }
    counts->node_slots = hbw_number_at(body + NODE_SLOTS_AT);
    counts->node_adapters = hbw_number_at(body + NODE_ADAPTERS_AT);
    counts->adapters = hbw_number_at(body + ADAPTERS_AT);
    counts->networks = hbw_number_at(body + NETWORKS_AT);
    if (!is_within(counts->node_slots, HB_NODE_SLOTS) || !is_within(counts->node_adapters, HB_NETWORK_SLOTS) ||
        !is_within(counts->adapters, HB_ADAPTER_SLOTS) || !is_within(counts->networks, HB_NETWORK_SLOTS)) {
        return -1;
    }
    const size_t needed = ENTRIES_AT + (size_t)counts->adapters * sizeof(Hb_Adapter_Entry) +
                          (size_t)counts->networks * sizeof(Hb_Network_Entry);
    return size >= needed ? 0 : -1;
}

static int read_adapters(Hbw_Configuration *configuration, const unsigned char *entries, const Counts *counts) {
    for (int32_t i = 0; i < counts->adapters; ++i) {
        Hb_Adapter_Entry entry;
        memcpy(&entry, entries + (size_t)i * sizeof entry, sizeof entry);
        if (entry.Hb_adapter_num >= configuration->adapter_slots) {
            return -1;
        }
        Hb_Watch_Adapter adapter;
        memset(&adapter, 0, sizeof adapter);
        adapter.number = entry.Hb_adapter_num;
        adapter.node = (int16_t)(entry.Hb_adapter_num / (uint32_t)counts->node_adapters);
        adapter.network = entry.Hb_network;
        adapter.address = entry.Hb_ip_address;
        memcpy(adapter.type, entry.Hb_adapter_type, sizeof adapter.type - 1);
        hbw_configuration_add(configuration, &adapter);
    }
    return 0;
}

static void read_networks(Hbw_Configuration *configuration, const unsigned char *entries, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        Hb_Network_Entry *network = &configuration->networks[i];
        memcpy(network, entries + (size_t)i * sizeof *network, sizeof *network);
        network->Hb_network_name[sizeof network->Hb_network_name - 1] = '\0';
        network->Hb_network_type[sizeof network->Hb_network_type - 1] = '\0';
    }
}

int hbw_configuration_read(Hbw_Configuration *configuration, const unsigned char *body, size_t size) {
    Counts counts;
    if (read_counts(body, size, &counts) != 0) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    uint16_t local_node;
    memcpy(&local_node, body + LOCAL_NODE_AT, sizeof local_node);
    if (local_node >= HB_NODE_SLOTS) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    const uint32_t node_slots = (uint32_t)counts.node_slots;
    if (hbw_configuration_begin(configuration, node_slots, node_slots * (uint32_t)counts.node_adapters,
                                (size_t)counts.adapters) != 0) {
        return HB_ERROR_NO_MEMORY;
    }
    configuration->local_node = local_node;
    if (read_adapters(configuration, body + ENTRIES_AT, &counts) != 0) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    read_networks(configuration, body + ENTRIES_AT + (size_t)counts.adapters * sizeof(Hb_Adapter_Entry),
                  counts.networks);
    hbw_configuration_end(configuration);
    return 0;
}

int hbw_configurations_differ(const Hbw_Configuration *one, const Hbw_Configuration *other) {
    if (one->local_node != other->local_node || one->adapter_count != other->adapter_count ||
        memcmp(one->networks, other->networks, sizeof one->networks) != 0) {
        return 1;
    }
    return one->adapter_count > 0 &&
           memcmp(one->adapters, other->adapters, one->adapter_count * sizeof *one->adapters) != 0;
}

size_t hbw_configuration_place(const Hbw_Configuration *configuration, Hb_Adapter_Number from) {
    size_t low = 0;
    size_t high = configuration->adapter_count;
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (configuration->adapters[middle].number < from) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

const Hb_Watch_Adapter *hbw_configuration_find(const Hbw_Configuration *configuration,
                                               Hb_Adapter_Number number) {
    const size_t place = hbw_configuration_place(configuration, number);
    return place < configuration->adapter_count && configuration->adapters[place].number == number
               ? &configuration->adapters[place]
               : NULL;
}
