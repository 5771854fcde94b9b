/* SPDX-License-Identifier: Apache-2.0 */
/* Who is up, and what of that has been reported.
 *
 * Each record from the daemon or the cluster service changes the account.  All differences between the account and the
 * reports are then reported, before the next record changes the account.  So no event is merged with another one, and
 * none needs a queue. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "hb_watch.h"
#include "watch/bits.h"
#include "watch/configuration.h"

typedef enum Hbw_Sort { HBW_NODE, HBW_ADAPTER, HBW_SORTS } Hbw_Sort;

/* The nodes, or the adapters. */
typedef struct Hbw_Members {
    Hbw_Bits up;
    Hbw_Bits reported;
    Hbw_Bits returned; /* up again after a death that had no event: the death is reported first */
    Hbw_Bits removed;  /* died because it was removed */
    int known;         /* the members that are up have been received */
} Hbw_Members;

typedef struct Hbw_Account {
    Hbw_Configuration configuration;
    Hbw_Configuration next; /* being read */
    int configuration_changed;
    Hbw_Members members[HBW_SORTS];
    uint32_t *incarnations; /* of each adapter that is up, by number */
    uint32_t incarnation_room;
    int same_source; /* incarnations can be compared with the earlier ones */
    /* Of the record that the differences come from. */
    uint32_t flags;
    int64_t time;
    int64_t since;
    Hb_FFDC_Id failure;
} Hbw_Account;

void hbw_account_free(Hbw_Account *account);

/* Begins a record: `time` and `since` are those of its reports, as is the failure identifier, which may be null. */
void hbw_account_stamp(Hbw_Account *account, int64_t time, int64_t since, const char *failure);

/* Makes `account->next` the configuration.  What is not configured any more is not up any more.  `announced`: the source
 * says that something changed; otherwise the two configurations are compared.  Returns 0, or -1 without memory: the
 * account then keeps its configuration. */
int hbw_account_configure(Hbw_Account *account, int announced);

/* Changes one member, because of its own event. */
void hbw_account_join(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation);
void hbw_account_die(Hbw_Account *account, Hbw_Sort sort, uint32_t number, int removed);

/* Receives the members that are up: begin, add each, end. */
void hbw_account_begin_group(Hbw_Account *account, Hbw_Sort sort);
void hbw_account_add_member(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation);
void hbw_account_end_group(Hbw_Account *account, Hbw_Sort sort);

/* Writes the next difference and returns 1, or returns 0 if all has been reported. */
int hbw_account_next(Hbw_Account *account, Hb_Watch_Report *report);
/* Returns whether hbw_account_next would return 1. */
int hbw_account_has_more(const Hbw_Account *account);

/* As reported. */
Hb_Entity_State hbw_account_node_state(const Hbw_Account *account, int node);
Hb_Entity_State hbw_account_adapter_state(const Hbw_Account *account, Hb_Adapter_Number adapter);
