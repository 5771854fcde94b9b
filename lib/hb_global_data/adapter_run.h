// SPDX-License-Identifier: Apache-2.0
// Finds many adapters of one table by number. The answers are those of the table's index of numbers.
//
// The adapters of one event follow a pattern: all adapters of a few nodes, or one adapter of each node. Their
// entries then lie evenly spaced in the list. A look at the place that the pattern predicts costs one cache
// miss, and the index costs three.
#pragma once

#include "lib/hb_global_data/configuration_table.h"

// The table's lists must not change while the object lives.
class Hb_Adapter_Run {
  public:
    explicit Hb_Adapter_Run(const Hb_Configuration_Internal &table)
        : index_(table.adap_hash), list_(table.Hb_global_adapter_list), size_(predictable_size(table)),
          is_consecutive_(table.is_consecutive), first_(size_ > 0 ? list_[0].Hb_adapter_num : 0) {}

    // Returns the adapter's entry, or null if the table has no such adapter.
    Hb_Adapter_Entry *find(Hb_Adapter_Number adapter) {
        return is_consecutive_ ? find_by_number(adapter) : find_by_pattern(adapter);
    }

  private:
    Hb_Adapter_Entry *find_by_number(Hb_Adapter_Number adapter) const {
        const uint32_t place = adapter - first_;
        return is_at(place, adapter) ? list_ + place : search(adapter);
    }

    Hb_Adapter_Entry *find_by_pattern(Hb_Adapter_Number adapter) {
        const uint32_t predicted = last_ + step_;
        if (is_at(predicted, adapter)) {
            move_to(predicted);
            wrong_ = 0;
            return list_ + predicted;
        }
        if (++wrong_ == PATIENCE) {
            size_ = 0;
        }
        Hb_Adapter_Entry *entry = search(adapter);
        if (entry != nullptr && size_ > 0) {
            move_to(static_cast<uint32_t>(entry - list_));
        }
        return entry;
    }

    bool is_at(uint32_t place, Hb_Adapter_Number adapter) const {
        return place < size_ && list_[place].Hb_adapter_num == adapter;
    }

    Hb_Adapter_Entry *search(Hb_Adapter_Number adapter) const {
        return static_cast<Hb_Adapter_Entry *>(Hash_search(adapter, index_));
    }

    // Returns the number of entries in which a prediction is permitted. If two adapters share a number, only
    // the index knows which of them is meant.
    static uint32_t predictable_size(const Hb_Configuration_Internal &table) {
        return hb_has_distinct_numbers(table) ? static_cast<uint32_t>(hb_adapters_of(table).size()) : 0;
    }

    void move_to(uint32_t place) {
        step_ = place - last_;
        last_ = place;
    }

    // A wrong prediction costs a cache miss. After this many in a row there is no pattern.
    static constexpr int PATIENCE = 16;

    const H_table_str *index_;
    Hb_Adapter_Entry *list_;
    uint32_t size_; // 0: no prediction is permitted
    bool is_consecutive_;
    uint32_t first_;    // the number of the first adapter
    uint32_t last_ = 0; // the place of the adapter that was found last
    uint32_t step_ = 0; // from the place before that one; it may wrap
    int wrong_ = 0;     // wrong predictions in a row
};
