// SPDX-License-Identifier: Apache-2.0
// Random configuration tables: the daemon's and the cluster service's, and tables whose indexes are incomplete.
#pragma once

#include <random>
#include <string>

#include "lib/hb_global_data/configuration_table.h"

using Random = std::mt19937;

// Returns a number from 0 to below `bound`.
uint32_t below(Random &random, uint32_t bound);

// Fills the live table, and empties it at the end. Numbers and addresses are few, so that adapters share them.
class Random_Table {
  public:
    explicit Random_Table(Random &random);
    ~Random_Table();
    Random_Table(const Random_Table &) = delete;
    Random_Table &operator=(const Random_Table &) = delete;

    // Says how the table was made.
    const std::string &kind() const { return kind_; }

  private:
    std::string kind_;
};

// Returns the address with this number. Numbers from 0 to below 2 * HB_ADAPTER_SLOTS give different addresses.
Hb_IP_address6 numbered_address(uint32_t number);
