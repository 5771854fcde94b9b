// SPDX-License-Identifier: Apache-2.0
// The list of a group record: the members' incarnations, and HB_NOT_IN_GROUP for all other adapters.
//
// The list is large, and clearing it is most of an event's work. A program usually receives into the same
// record again and again, so almost all of the list is already clear. Reading it is faster than writing it, and
// leaves no changed memory to write back.
#pragma once

#include "hb_client.h"
#include "lib/base/none_values.h"

// Sets `count` entries to HB_NOT_IN_GROUP. It does not write the parts that are clear.
void hb_clear_members(Hb_Incarnation *list, Hb_Adapter_Number count);

// The part of hb_next_member that skips entries. It looks at whole cache lines.
int hb_next_member_by_lines(const Hb_Incarnation *list, int start, int bound);

// Returns the first member from number `start` to below `bound`. Without one it returns the larger of the two.
inline int hb_next_member(const Hb_Incarnation *list, int start, int bound) {
    const bool is_at_once = start < bound && list[start] != HB_NOT_IN_GROUP;
    return is_at_once ? start : hb_next_member_by_lines(list, start, bound);
}

// Clears the list while it is filled: members often come by ascending number, and then their part of the list
// is still in the nearest cache.
class Hb_Member_List {
  public:
    // Only the entries below `bound` are cleared.
    Hb_Member_List(Hb_Incarnation *list, Hb_Adapter_Number bound) : list_(list), bound_(bound) {}

    // The number must be below HB_ADAPTER_SLOTS. It may be beyond the bound.
    void set(Hb_Adapter_Number adapter, Hb_Incarnation incarnation) {
        if (adapter >= cleared_) {
            clear_beyond(adapter);
        }
        list_[adapter] = incarnation;
    }

    // Clears the entries behind the last member.
    void finish();

  private:
    void clear_beyond(Hb_Adapter_Number adapter);

    Hb_Incarnation *list_;
    Hb_Adapter_Number bound_;
    Hb_Adapter_Number cleared_ = 0; // the entries below this one are complete
};
