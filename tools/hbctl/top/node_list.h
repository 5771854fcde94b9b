// SPDX-License-Identifier: Apache-2.0
// Which nodes are shown, in which order, and what each of their cells is.
#pragma once

#include <vector>

#include "tools/hbctl/top/top_model.h"
#include "tools/hbctl/top/top_view.h"

namespace hbctl {

std::vector<const Node_Row *> chosen_nodes(const Top_Model &model, const Top_View &view);

// The state of a node's adapters on one network together.
enum class Cell { none, up, down, mixed, unknown };

struct Node_Cell {
    Cell state = Cell::none;
    const Adapter_Row *adapter = nullptr; // the first of them
};

// One cell for each network of the picture.
std::vector<Node_Cell> cells_of(const Node_Row &node, const Picture &picture);

// The state of the node itself.
Cell state_cell(const Node_Row &node);

} // namespace hbctl
