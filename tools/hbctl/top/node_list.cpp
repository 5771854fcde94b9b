// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/node_list.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace hbctl {
namespace {

Cell cell_of(Liveness state) {
    switch (state) {
    case Liveness::up:
        return Cell::up;
    case Liveness::down:
        return Cell::down;
    case Liveness::unknown:
        break;
    }
    return Cell::unknown;
}

Cell together(Cell one, Cell other) {
    if (one == Cell::none || one == other) {
        return other;
    }
    return one == Cell::unknown || other == Cell::unknown ? Cell::unknown : Cell::mixed;
}

bool has_adapter_down(const Node_Row &node, const Picture &picture) {
    return std::any_of(node.adapters.begin(), node.adapters.end(), [&](std::uint32_t number) {
        const Adapter_Row *adapter = picture.adapter(number);
        return adapter != nullptr && adapter->state == Liveness::down;
    });
}

// 0: the node is down; 1: it is unknown; 2: one of its adapters is down; 3: it is up.
int rank_of(const Node_Row &node, const Picture &picture) {
    if (node.state != Liveness::up) {
        return node.state == Liveness::down ? 0 : 1;
    }
    return has_adapter_down(node, picture) ? 2 : 3;
}

std::string in_lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return c < 0x80 ? static_cast<char>(std::tolower(c)) : static_cast<char>(c);
    });
    return text;
}

// `text` is in lower case.
bool is_found(const Node_Row &node, const Top_Model &model, const std::string &text) {
    return std::to_string(node.number).starts_with(text) ||
           in_lower_case(model.name_of(node.number)).find(text) != std::string::npos;
}

bool passes(const Node_Row &node, const Top_Model &model, Filter filter) {
    switch (filter) {
    case Filter::problems:
        return node.state == Liveness::down || has_adapter_down(node, model.picture());
    case Filter::local:
        return node.local;
    case Filter::all:
        break;
    }
    return true;
}

template <typename Value> void sort_by(std::vector<const Node_Row *> &nodes, Value value_of) {
    std::vector<std::pair<decltype(value_of(*nodes.front())), const Node_Row *>> rows;
    for (const Node_Row *node : nodes) {
        rows.emplace_back(value_of(*node), node);
    }
    std::stable_sort(rows.begin(), rows.end(),
                     [](const auto &one, const auto &other) { return one.first < other.first; });
    std::transform(rows.begin(), rows.end(), nodes.begin(), [](const auto &row) { return row.second; });
}

} // namespace

std::vector<const Node_Row *> chosen_nodes(const Top_Model &model, const Top_View &view) {
    std::vector<const Node_Row *> chosen;
    const std::string search = in_lower_case(view.search);
    for (const Node_Row &node : model.picture().nodes) {
        if (passes(node, model, view.filter) && (search.empty() || is_found(node, model, search))) {
            chosen.push_back(&node);
        }
    }
    if (view.sort == Sort::state) {
        sort_by(chosen, [&](const Node_Row &node) { return rank_of(node, model.picture()); });
    } else if (view.sort == Sort::name) {
        // Nodes without a name are the last ones.
        sort_by(chosen, [&](const Node_Row &node) {
            const std::string name = in_lower_case(model.name_of(node.number));
            return std::pair(name.empty(), name);
        });
    }
    return chosen;
}

std::vector<Node_Cell> cells_of(const Node_Row &node, const Picture &picture) {
    std::vector<Node_Cell> cells(picture.networks.size());
    for (const std::uint32_t number : node.adapters) {
        const Adapter_Row *adapter = picture.adapter(number);
        const auto found =
            adapter == nullptr ? picture.network_at.end() : picture.network_at.find(adapter->network);
        if (found != picture.network_at.end()) {
            Node_Cell &cell = cells[found->second];
            cell.state = together(cell.state, cell_of(adapter->state));
            cell.adapter = cell.adapter == nullptr ? adapter : cell.adapter;
        }
    }
    return cells;
}

Cell state_cell(const Node_Row &node) {
    return cell_of(node.state);
}

} // namespace hbctl
