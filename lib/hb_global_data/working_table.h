// The tables that will become the live one. They are the working table in global_config_tbl_new and the
// tables that were pending before it was built.
//
// A pending table belongs to one marker, a queued configuration event. Its adapter numbers are valid after
// that marker; events before it use the previous table. No other marker makes the table live.
#pragma once

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// The state of global_config_tbl_new: empty; built but not announced; pending until its marker is delivered.
enum class MOX_Working_Table { none, built, pending };
MOX_Working_Table MOX_working_table();

// Moves `table` into global_config_tbl_new, whose state becomes built. A pending table continues to wait for
// its marker. A table that was only built is lost.
void MOX_set_working_table(Hb_Configuration_Internal &table);

// Makes the working table pending. The event's address identifies the marker; the event is not read.
void MOX_await_marker(const MOX_Event *marker);

// Makes the table of this marker the live one. Without such a table it does nothing.
void MOX_install_table_of(const MOX_Event *marker);

// Makes the working table the live one at once. Without a working table it does nothing.
void MOX_install_working_table();

// Empties the working table if it is built. A pending one stays.
void MOX_drop_built_table();

// Empties all of them. Markers that are still queued then have no effect.
void MOX_drop_waiting_tables();

// Returns whether every waiting table lists the node as dead by a peer's report. True when no table waits.
bool MOX_is_reported_dead_in_waiting_tables(int node);

// A message has revived the node. No waiting table may bring back the report that it is dead.
void MOX_revive_node_in_waiting_tables(int node);

// Returns the table that will be live after all markers have been delivered.
const Hb_Configuration_Internal &MOX_newest_table();

// Makes the newest table the live one while the object lives. The next table is then compared with the state
// that the queue will have reported by then.
class MOX_Newest_Table_As_Live {
  public:
    MOX_Newest_Table_As_Live();
    ~MOX_Newest_Table_As_Live();
    MOX_Newest_Table_As_Live(const MOX_Newest_Table_As_Live &) = delete;
    MOX_Newest_Table_As_Live &operator=(const MOX_Newest_Table_As_Live &) = delete;

  private:
    Hb_Configuration_Internal *newest_; // null: the live table is the newest one
};

// The table of the last successful preparation, for a commit whose own query fails. Any later event and any
// new session outdates it, and it is dropped.
extern Hb_Configuration_Internal MOX_prepared_table;
void MOX_drop_prepared_table();

// True after a query of the service has failed, or after no monitor was open for a while. The next full
// comparison must report what happened meanwhile, for nodes as well as adapters.
bool MOX_is_comparison_due();
void MOX_set_comparison_due(bool due);
