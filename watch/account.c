/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/account.h"

#include <stdlib.h>
#include <string.h>

void hbw_account_free(Hbw_Account *account) {
    for (int sort = 0; sort < HBW_SORTS; ++sort) {
        hbw_bits_free(&account->members[sort].up);
        hbw_bits_free(&account->members[sort].reported);
        hbw_bits_free(&account->members[sort].returned);
        hbw_bits_free(&account->members[sort].removed);
    }
    hbw_configuration_free(&account->configuration);
    hbw_configuration_free(&account->next);
    free(account->incarnations);
    account->incarnations = NULL;
    account->incarnation_room = 0;
}

void hbw_account_stamp(Hbw_Account *account, int64_t time, int64_t since, const char *failure) {
    account->flags = 0;
    account->time = time;
    account->since = since;
    memset(account->failure, 0, sizeof account->failure);
    if (failure != NULL) {
        memcpy(account->failure, failure, sizeof account->failure - 1);
    }
}

/* ---- The configuration ---- */

static int is_configured(const Hbw_Configuration *configuration, Hbw_Sort sort, uint32_t number) {
    return sort == HBW_NODE ? hbw_bits_has(&configuration->nodes, number)
                            : hbw_configuration_find(configuration, number) != NULL;
}

static int make_room(Hbw_Members *members, uint32_t slots) {
    return hbw_bits_reserve(&members->up, slots) != 0 || hbw_bits_reserve(&members->reported, slots) != 0 ||
                   hbw_bits_reserve(&members->returned, slots) != 0 ||
                   hbw_bits_reserve(&members->removed, slots) != 0
               ? -1
               : 0;
}

static int make_room_for_incarnations(Hbw_Account *account, uint32_t slots) {
    if (slots > account->incarnation_room) {
        uint32_t *incarnations = realloc(account->incarnations, slots * sizeof *incarnations);
        if (incarnations == NULL) {
            return -1;
        }
        memset(incarnations + account->incarnation_room, 0,
               (slots - account->incarnation_room) * sizeof *incarnations);
        account->incarnations = incarnations;
        account->incarnation_room = slots;
    }
    return 0;
}

static void drop_what_is_not_configured(Hbw_Account *account, Hbw_Sort sort) {
    Hbw_Members *members = &account->members[sort];
    for (uint32_t number = hbw_bits_next(&members->up, 0); number != HBW_NO_MEMBER;
         number = hbw_bits_next(&members->up, number + 1)) {
        if (!is_configured(&account->configuration, sort, number)) {
            hbw_bits_remove(&members->up, number);
            if (hbw_bits_has(&members->reported, number)) {
                hbw_bits_add(&members->removed, number);
            }
        }
    }
}

int hbw_account_configure(Hbw_Account *account, int announced) {
    const uint32_t node_slots = account->next.node_slots;
    const uint32_t adapter_slots = account->next.adapter_slots;
    if (make_room(&account->members[HBW_NODE], node_slots) != 0 ||
        make_room(&account->members[HBW_ADAPTER], adapter_slots) != 0 ||
        make_room_for_incarnations(account, adapter_slots) != 0) {
        return -1;
    }
    const int had_one = account->configuration.known;
    account->configuration_changed =
        had_one && (announced || hbw_configurations_differ(&account->configuration, &account->next));
    /* The earlier configuration stays in `next`, for reports about what it alone describes. */
    const Hbw_Configuration earlier = account->configuration;
    account->configuration = account->next;
    account->next = earlier;
    account->flags = announced ? 0 : HB_WATCH_CAUGHT_UP;
    drop_what_is_not_configured(account, HBW_NODE);
    drop_what_is_not_configured(account, HBW_ADAPTER);
    return 0;
}

/* ---- Who is up ---- */

static uint32_t known_incarnation(const Hbw_Account *account, uint32_t adapter) {
    return adapter < account->incarnation_room ? account->incarnations[adapter] : 0;
}

static void keep_incarnation(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation) {
    if (sort == HBW_ADAPTER && number < account->incarnation_room) {
        account->incarnations[number] = incarnation;
    }
}

/* A member cannot join again without a death.  An adapter's join with the known incarnation is a repetition. */
static int has_returned(const Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation) {
    return hbw_bits_has(&account->members[sort].up, number) &&
           hbw_bits_has(&account->members[sort].reported, number) &&
           (sort == HBW_NODE || known_incarnation(account, number) != incarnation);
}

void hbw_account_join(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation) {
    Hbw_Members *members = &account->members[sort];
    if (!members->known || !is_configured(&account->configuration, sort, number)) {
        return;
    }
    if (has_returned(account, sort, number, incarnation)) {
        hbw_bits_add(&members->returned, number);
    }
    hbw_bits_add(&members->up, number);
    keep_incarnation(account, sort, number, incarnation);
}

void hbw_account_die(Hbw_Account *account, Hbw_Sort sort, uint32_t number, int removed) {
    Hbw_Members *members = &account->members[sort];
    if (removed && hbw_bits_has(&members->up, number)) {
        hbw_bits_add(&members->removed, number);
    }
    hbw_bits_remove(&members->up, number);
}

void hbw_account_begin_group(Hbw_Account *account, Hbw_Sort sort) {
    hbw_bits_clear(&account->members[sort].up);
}

void hbw_account_add_member(Hbw_Account *account, Hbw_Sort sort, uint32_t number, uint32_t incarnation) {
    Hbw_Members *members = &account->members[sort];
    if (!is_configured(&account->configuration, sort, number)) {
        return;
    }
    if (sort == HBW_ADAPTER && account->same_source && hbw_bits_has(&members->reported, number) &&
        known_incarnation(account, number) != incarnation) {
        hbw_bits_add(&members->returned, number);
    }
    hbw_bits_add(&members->up, number);
    keep_incarnation(account, sort, number, incarnation);
}

void hbw_account_end_group(Hbw_Account *account, Hbw_Sort sort) {
    account->flags = account->members[sort].known ? HB_WATCH_CAUGHT_UP : HB_WATCH_INITIAL;
    account->members[sort].known = 1;
}

/* ---- The differences ---- */

static uint32_t next_death(const Hbw_Members *members) {
    const uint32_t down = hbw_bits_next_difference(&members->reported, &members->up, 0);
    const uint32_t returned = hbw_bits_next(&members->returned, 0);
    return down < returned ? down : returned;
}

static uint32_t next_join(const Hbw_Members *members) {
    return hbw_bits_next_difference(&members->up, &members->reported, 0);
}

static void begin_report(const Hbw_Account *account, int kind, uint32_t flags, Hb_Watch_Report *report) {
    memset(report, 0, sizeof *report);
    report->kind = kind;
    report->flags = flags;
    report->node = -1;
    report->network = -1;
    report->adapter = HBW_NO_MEMBER;
    report->time = account->time;
    report->since = (flags & HB_WATCH_CAUGHT_UP) != 0 ? account->since : account->time;
}

static const Hb_Watch_Adapter *described(const Hbw_Account *account, uint32_t number) {
    const Hb_Watch_Adapter *adapter = hbw_configuration_find(&account->configuration, number);
    return adapter != NULL ? adapter : hbw_configuration_find(&account->next, number);
}

static void name_member(const Hbw_Account *account, Hbw_Sort sort, uint32_t number, Hb_Watch_Report *report) {
    if (sort == HBW_NODE) {
        report->node = (int32_t)number;
        return;
    }
    report->adapter = number;
    const Hb_Watch_Adapter *adapter = described(account, number);
    if (adapter != NULL) {
        report->node = adapter->node;
        report->network = adapter->network;
    }
}

static int report_death(Hbw_Account *account, Hbw_Sort sort, Hb_Watch_Report *report) {
    Hbw_Members *members = &account->members[sort];
    const uint32_t number = next_death(members);
    if (number == HBW_NO_MEMBER) {
        return 0;
    }
    uint32_t flags = account->flags & HB_WATCH_CAUGHT_UP;
    if (hbw_bits_has(&members->returned, number)) {
        flags |= HB_WATCH_CAUGHT_UP;
    }
    if (hbw_bits_has(&members->removed, number)) {
        flags |= HB_WATCH_REMOVED;
    }
    begin_report(account, sort == HBW_NODE ? HB_WATCH_NODE_DIED : HB_WATCH_ADAPTER_DIED, flags, report);
    name_member(account, sort, number, report);
    memcpy(report->failure, account->failure, sizeof report->failure);
    hbw_bits_remove(&members->reported, number);
    hbw_bits_remove(&members->returned, number);
    hbw_bits_remove(&members->removed, number);
    return 1;
}

static int report_join(Hbw_Account *account, Hbw_Sort sort, Hb_Watch_Report *report) {
    Hbw_Members *members = &account->members[sort];
    const uint32_t number = next_join(members);
    if (number == HBW_NO_MEMBER) {
        return 0;
    }
    begin_report(account, sort == HBW_NODE ? HB_WATCH_NODE_JOINED : HB_WATCH_ADAPTER_JOINED, account->flags,
                 report);
    name_member(account, sort, number, report);
    memcpy(report->failure, account->failure, sizeof report->failure);
    hbw_bits_add(&members->reported, number);
    return 1;
}

static int report_configuration(Hbw_Account *account, Hb_Watch_Report *report) {
    if (!account->configuration_changed) {
        return 0;
    }
    account->configuration_changed = 0;
    begin_report(account, HB_WATCH_CONFIGURATION, account->flags & HB_WATCH_CAUGHT_UP, report);
    return 1;
}

int hbw_account_next(Hbw_Account *account, Hb_Watch_Report *report) {
    return report_death(account, HBW_ADAPTER, report) || report_death(account, HBW_NODE, report) ||
           report_configuration(account, report) || report_join(account, HBW_ADAPTER, report) ||
           report_join(account, HBW_NODE, report);
}

int hbw_account_has_more(const Hbw_Account *account) {
    for (int sort = 0; sort < HBW_SORTS; ++sort) {
        if (next_death(&account->members[sort]) != HBW_NO_MEMBER ||
            next_join(&account->members[sort]) != HBW_NO_MEMBER) {
            return 1;
        }
    }
    return account->configuration_changed;
}

static Hb_Entity_State state_of(const Hbw_Account *account, Hbw_Sort sort, uint32_t number) {
    const Hbw_Members *members = &account->members[sort];
    if (!members->known || !is_configured(&account->configuration, sort, number)) {
        return Hb_Entity_Undef;
    }
    return hbw_bits_has(&members->reported, number) ? Hb_Entity_Up : Hb_Entity_Down;
}

Hb_Entity_State hbw_account_node_state(const Hbw_Account *account, int node) {
    return node < 0 ? Hb_Entity_Undef : state_of(account, HBW_NODE, (uint32_t)node);
}

Hb_Entity_State hbw_account_adapter_state(const Hbw_Account *account, Hb_Adapter_Number adapter) {
    return state_of(account, HBW_ADAPTER, adapter);
}
