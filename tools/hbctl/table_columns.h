// SPDX-License-Identifier: Apache-2.0
// The columns of the tables that `--columns` selects from.
#pragma once

#include <string>
#include <vector>

#include "tools/hbctl/text_table.h"

namespace hbctl {

const std::vector<Column> &node_columns();
const std::vector<Column> &network_columns();
const std::vector<Column> &adapter_columns();
const std::vector<Column> &site_columns();
const std::vector<Column> &adapter_state_columns();

struct Column_Choice {
    std::vector<std::string> headings; // as in the table
    std::string complaint;             // empty: every word is a column
};

// Reads "name,STATE": headings in any case, separated by commas.
Column_Choice choose_columns(const std::string &words, const std::vector<Column> &columns);

} // namespace hbctl
