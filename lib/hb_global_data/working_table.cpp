// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/working_table.h"

#include <new>
#include <utility>

#include "lib/hb_global_data/table_swap.h"

Hb_Configuration_Internal MOX_prepared_table = {};

namespace {

// A pending table that a newer one has replaced in global_config_tbl_new.
struct Earlier {
    const MOX_Event *marker;
    Hb_Configuration_Internal table;
    Earlier *next;
};

MOX_Working_Table state = MOX_Working_Table::none;
const MOX_Event *awaited = nullptr; // the marker of the working table while it is pending
Earlier *earlier_tables = nullptr;  // the oldest one first
bool comparison_is_due = false;

void forget_working_table() {
    state = MOX_Working_Table::none;
    awaited = nullptr;
}

// Sets a pending table aside, so that another one can be built. Without memory for both, the pending table
// becomes the live one.
void set_pending_aside() {
    if (state != MOX_Working_Table::pending) {
        return;
    }
    auto *earlier = new (std::nothrow) Earlier{awaited, {}, nullptr};
    if (earlier == nullptr) {
        MOX_install_working_table();
        return;
    }
    std::swap(earlier->table, global_config_tbl_new);
    forget_working_table();
    Earlier **link = &earlier_tables;
    while (*link != nullptr) {
        link = &(*link)->next;
    }
    *link = earlier;
}

// Returns the table that was set aside last. Null: there is none.
Hb_Configuration_Internal *newest_set_aside() {
    Earlier *last = earlier_tables;
    while (last != nullptr && last->next != nullptr) {
        last = last->next;
    }
    return last != nullptr ? &last->table : nullptr;
}

void drop_first_earlier() {
    Earlier *first = earlier_tables;
    earlier_tables = first->next;
    empty_global_config_table(&first->table);
    delete first;
}

Hb_Node_Entry *reported_dead_in(const Hb_Configuration_Internal &table, int node) {
    Hb_Node_Entry *entry = hb_find_node(table, node);
    const bool is_reported_dead = entry != nullptr && entry->state == Hb_Entity_Down &&
                                  entry->reason == Hb_Entity_State_Reason_KOBAL_Down;
    return is_reported_dead ? entry : nullptr;
}

void revive(const Hb_Configuration_Internal &table, int node) {
    if (Hb_Node_Entry *const entry = reported_dead_in(table, node)) {
        entry->state = Hb_Entity_Up;
        entry->reason = Hb_Entity_State_Reason_KOBAL_Up;
    }
}

} // namespace

MOX_Working_Table MOX_working_table() {
    return state;
}

void MOX_set_working_table(Hb_Configuration_Internal &table) {
    set_pending_aside();
    hb_move_config_table(table, global_config_tbl_new);
    state = MOX_Working_Table::built;
    awaited = nullptr;
}

void MOX_await_marker(const MOX_Event *marker) {
    if (state != MOX_Working_Table::none) {
        state = MOX_Working_Table::pending;
        awaited = marker;
    }
}

void MOX_install_table_of(const MOX_Event *marker) {
    if (earlier_tables != nullptr && earlier_tables->marker == marker) {
        hb_move_config_table(earlier_tables->table, global_config_tbl);
        hb_mark_present_nodes(global_config_tbl);
        drop_first_earlier();
    } else if (state == MOX_Working_Table::pending && awaited == marker) {
        MOX_install_working_table();
    }
}

void MOX_install_working_table() {
    if (state == MOX_Working_Table::none) {
        return;
    }
    MOX_copy_and_delete_global_config_tbl();
    if (global_config_tbl_new.node_list != nullptr) {
        // There is no memory for a copy. Queued events already name adapters by this table, so it must become
        // the live one.
        hb_move_config_table(global_config_tbl_new, global_config_tbl);
    }
    hb_mark_present_nodes(global_config_tbl);
    forget_working_table();
}

void MOX_drop_built_table() {
    if (state == MOX_Working_Table::built) {
        empty_global_config_table(&global_config_tbl_new);
        forget_working_table();
    }
}

void MOX_drop_waiting_tables() {
    empty_global_config_table(&global_config_tbl_new);
    forget_working_table();
    while (earlier_tables != nullptr) {
        drop_first_earlier();
    }
}

bool MOX_is_reported_dead_in_waiting_tables(int node) {
    if (state == MOX_Working_Table::pending && reported_dead_in(global_config_tbl_new, node) == nullptr) {
        return false;
    }
    const Earlier *earlier = earlier_tables;
    while (earlier != nullptr && reported_dead_in(earlier->table, node) != nullptr) {
        earlier = earlier->next;
    }
    return earlier == nullptr;
}

void MOX_revive_node_in_waiting_tables(int node) {
    revive(global_config_tbl_new, node);
    for (const Earlier *earlier = earlier_tables; earlier != nullptr; earlier = earlier->next) {
        revive(earlier->table, node);
    }
}

const Hb_Configuration_Internal &MOX_newest_table() {
    if (state == MOX_Working_Table::pending) {
        return global_config_tbl_new;
    }
    const Hb_Configuration_Internal *newest = newest_set_aside();
    return newest != nullptr ? *newest : global_config_tbl;
}

MOX_Newest_Table_As_Live::MOX_Newest_Table_As_Live() : newest_(nullptr) {
    set_pending_aside();
    newest_ = newest_set_aside();
    if (newest_ != nullptr) {
        std::swap(global_config_tbl, *newest_);
    }
}

MOX_Newest_Table_As_Live::~MOX_Newest_Table_As_Live() {
    if (newest_ != nullptr) {
        std::swap(global_config_tbl, *newest_);
    }
}

void MOX_drop_prepared_table() {
    empty_global_config_table(&MOX_prepared_table);
}

bool MOX_is_comparison_due() {
    return comparison_is_due;
}

void MOX_set_comparison_due(bool due) {
    comparison_is_due = due;
}
