// The tables that are to become the live one: the working table, global_config_tbl_new, and those that were pending
// when another one was built.
//
// A pending table belongs to one marker, the queued configuration event behind which its numbers are valid. Events
// before the marker name adapters by the table before. No other marker makes the table live.
#ifndef HB_WORKING_TABLE_H
#define HB_WORKING_TABLE_H

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

// What global_config_tbl_new is: nothing; built, and not announced; pending, which is to wait for its marker.
enum class MOX_Working_Table { none, built, pending };
MOX_Working_Table MOX_working_table();

// Moves `table` into global_config_tbl_new, which is then built. A pending table goes on waiting for its marker; one
// that was only built is lost.
void MOX_set_working_table(Hb_Configuration_Internal &table);

// The working table becomes pending. The marker is the event's address; the event is not read.
void MOX_await_marker(const MOX_Event *marker);

// Makes the table that waits for this marker the live one. Does nothing where none does.
void MOX_install_table_of(const MOX_Event *marker);

// Makes the working table the live one at once. Does nothing where there is none.
void MOX_install_working_table();

// Empties the working table if it is built; a pending one stays.
void MOX_drop_built_table();

// Empties all of them. Markers that are still queued change nothing then.
void MOX_drop_waiting_tables();

// Whether each table that waits has the node, and has it dead by a peer's report. True when none waits.
bool MOX_is_reported_dead_in_waiting_tables(int node);

// A message has revived the node: no table that waits may bring back the verdict that it is dead.
void MOX_revive_node_in_waiting_tables(int node);

// The table that will be live when all markers have been delivered.
const Hb_Configuration_Internal &MOX_newest_table();

// While it lives, global_config_tbl is the newest table, so that the next one is compared with what the queue will have
// reported by then.
class MOX_Newest_Table_As_Live {
  public:
    MOX_Newest_Table_As_Live();
    ~MOX_Newest_Table_As_Live();
    MOX_Newest_Table_As_Live(const MOX_Newest_Table_As_Live &) = delete;
    MOX_Newest_Table_As_Live &operator=(const MOX_Newest_Table_As_Live &) = delete;

  private:
    Hb_Configuration_Internal *newest_; // null: the live table is the newest
};

// What the last successful preparation read, for a commit whose own query fails. Any event that is read afterwards, and
// a new session, make it out of date: then it is dropped.
extern Hb_Configuration_Internal MOX_prepared_table;
void MOX_drop_prepared_table();

// Whether a reading of the service has failed since the last whole comparison, or no monitor was open for a while. What
// happened then is still to be reported, nodes as well as adapters.
bool MOX_is_comparison_due();
void MOX_set_comparison_due(bool due);

#endif
