// SPDX-License-Identifier: Apache-2.0
// The rule of every first/next iteration.
#pragma once

#include <algorithm>

#include "hb_client.h"
#include "lib/base/error_number.h"

// Returns the start of a walk. A "first" call ignores the cursor's value.
inline int hb_start_of_walk(Hb_Cursor cursor, bool first) {
    return first ? 0 : std::max<int>(cursor, 0);
}

// Returns the first index from `start` to below `bound` for which present(index) holds. Without one it
// returns an index of at least `bound`.
template <typename Present> int hb_walk(int start, int bound, Present present) {
    int index = start;
    while (index < bound && !present(index)) {
        ++index;
    }
    return index;
}

// Ends a step of an iteration whose walk has reached `index`. Below the bound *item becomes item_at(index) and
// the cursor moves past it. Otherwise *item becomes `none` and the cursor stays. Errors: HB_ERROR_NO_MORE (1).
template <typename Item, typename Item_At>
Hb_Rc hb_finish_step(Item *item, Item none, Hb_Cursor *cursor, int index, int bound, Item_At item_at) {
    if (index >= bound) {
        *item = none;
        set_hb_errno(HB_ERROR_NO_MORE);
        return Hb_Failure;
    }
    *item = item_at(index);
    *cursor = index + 1;
    return Hb_Success;
}

// Makes one step of an iteration through the items for which present(index) holds.
template <typename Item, typename Present, typename Item_At>
Hb_Rc hb_iterate(Item *item, Item none, Hb_Cursor *cursor, bool first, int bound, Present present,
                 Item_At item_at) {
    const int index = hb_walk(hb_start_of_walk(*cursor, first), bound, present);
    return hb_finish_step(item, none, cursor, index, bound, item_at);
}

// The same for lists in which the index is the item.
template <typename Item, typename Present>
Hb_Rc hb_iterate_numbers(Item *item, Item none, Hb_Cursor *cursor, bool first, int bound, Present present) {
    return hb_iterate(item, none, cursor, first, bound, present,
                      [](int index) { return static_cast<Item>(index); });
}
