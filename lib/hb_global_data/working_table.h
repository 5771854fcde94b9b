// SPDX-License-Identifier: Apache-2.0
// Queries answer from the live table. This header is for the configuration tables that are newer than it. The
// newest of all is the working table in global_config_tbl_new. Older ones are set aside until their turn comes.
//
// A pending table waits for its marker: the configuration event in the queue that announces it. The table
// becomes live when the program receives that event. Events before the marker use the adapter numbers of the
// previous table.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// The state of global_config_tbl_new: empty; built but not announced; pending until its marker is delivered.
enum class MOX_Working_Table { none, built, pending };
MOX_Working_Table MOX_working_table();

// Moves `table` into global_config_tbl_new, whose state becomes built. If a pending table is there, it is set
// aside and continues to wait for its marker. If a built table is there, it is deleted.
void MOX_set_working_table(Hb_Configuration_Internal &table);

// Makes the working table pending. The event's address identifies the marker; the event is not read.
void MOX_await_marker(const MOX_Event *marker);

// Makes the table of this marker the live one. Without such a table it does nothing.
void MOX_install_table_of(const MOX_Event *marker);

// Makes the working table the live one at once. Without a working table it does nothing.
void MOX_install_working_table();

// Empties the working table if it is built. A pending one stays.
void MOX_drop_built_table();

// Empties the working table and all tables set aside. Markers that are still queued then have no effect.
void MOX_drop_waiting_tables();

// Returns whether every pending table lists the node as dead because another node reported its death. True when
// no table is pending.
bool MOX_is_reported_dead_in_waiting_tables(int node);

// Marks the node as up in every table that lists it as reported dead: the program has received a message from
// it. Otherwise the node would be dead again when that table becomes live.
void MOX_revive_node_in_waiting_tables(int node);

// Returns the table that will be live after all markers have been delivered.
const Hb_Configuration_Internal &MOX_newest_table();

// Makes the newest table the live one while the object exists. A new table must be compared with the state that
// the program will know when it has received all queued events. The state that it knows now is older.
class MOX_Newest_Table_As_Live {
  public:
    MOX_Newest_Table_As_Live();
    ~MOX_Newest_Table_As_Live();
    MOX_Newest_Table_As_Live(const MOX_Newest_Table_As_Live &) = delete;
    MOX_Newest_Table_As_Live &operator=(const MOX_Newest_Table_As_Live &) = delete;

  private:
    Hb_Configuration_Internal *newest_; // null: the live table is the newest one
};

// The table that the last successful migration preparation read. A commit uses it if the service does not
// answer. It is dropped when an event is read or a new session opens, because it is then out of date.
extern Hb_Configuration_Internal MOX_prepared_table;
void MOX_drop_prepared_table();

// True after a query of the service has failed, or after no monitor was open for a while. The next full
// comparison must report what happened meanwhile, for nodes as well as adapters.
bool MOX_is_comparison_due();
void MOX_set_comparison_due(bool due);
