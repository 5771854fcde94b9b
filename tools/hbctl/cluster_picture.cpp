#include "tools/hbctl/cluster_picture.h"

#include <algorithm>

namespace hbctl {
namespace {

template <typename Row, typename Key>
const Row *look_up(const std::vector<Row> &rows, const std::unordered_map<Key, std::size_t> &index, Key key) {
    const auto found = index.find(key);
    return found == index.end() ? nullptr : &rows[found->second];
}

template <typename Row, typename Key>
void index_rows(const std::vector<Row> &rows, std::unordered_map<Key, std::size_t> &index) {
    index.clear();
    index.reserve(rows.size());
    for (std::size_t at = 0; at < rows.size(); ++at) {
        index.emplace(rows[at].number, at);
    }
}

template <typename Row> std::size_t count_state(const std::vector<Row> &rows, Liveness state) {
    return static_cast<std::size_t>(
        std::count_if(rows.begin(), rows.end(), [state](const Row &row) { return row.state == state; }));
}

} // namespace

void Picture::index() {
    index_rows(nodes, node_at);
    index_rows(networks, network_at);
    index_rows(adapters, adapter_at);
}

const Node_Row *Picture::node(int number) const {
    return look_up(nodes, node_at, number);
}

const Network_Row *Picture::network(int number) const {
    return look_up(networks, network_at, number);
}

const Adapter_Row *Picture::adapter(std::uint32_t number) const {
    return look_up(adapters, adapter_at, number);
}

Counts count(const Picture &picture) {
    Counts counts;
    counts.nodes = picture.nodes.size();
    counts.nodes_up = count_state(picture.nodes, Liveness::up);
    counts.nodes_known = count_state(picture.nodes, Liveness::unknown) == 0;
    counts.networks = picture.networks.size();
    counts.adapters = picture.adapters.size();
    counts.adapters_up = count_state(picture.adapters, Liveness::up);
    counts.adapters_known = count_state(picture.adapters, Liveness::unknown) == 0;
    counts.sites = picture.sites.size();
    return counts;
}

void set_names(Picture &picture, const std::optional<common::Cluster_File> &file,
               const std::string &why_nameless) {
    if (!file) {
        picture.why_nameless = why_nameless;
        return;
    }
    for (Node_Row &node : picture.nodes) {
        const auto found = file->nodes.find(node.number);
        node.name = found == file->nodes.end() ? "" : found->second;
    }
    for (Adapter_Row &adapter : picture.adapters) {
        const Node_Row *node = picture.node(adapter.node);
        const Network_Row *network = picture.network(adapter.network);
        if (node != nullptr && !node->name.empty() && network != nullptr) {
            adapter.name = node->name + "/" + network->name;
        }
    }
}

void carry_names(const Picture &from, Picture &to) {
    if (to.why_nameless.empty() || !from.why_nameless.empty()) {
        return;
    }
    common::Cluster_File names;
    for (const Node_Row &node : from.nodes) {
        names.nodes.emplace(node.number, node.name);
    }
    to.why_nameless.clear();
    set_names(to, names, "");
}

std::optional<std::size_t> adapters_up(const Network_Row &network, const Picture &picture) {
    std::size_t up = 0;
    for (const std::uint32_t number : network.adapters) {
        const Adapter_Row *adapter = picture.adapter(number);
        if (adapter == nullptr || adapter->state == Liveness::unknown) {
            return std::nullopt;
        }
        up += adapter->state == Liveness::up ? 1U : 0U;
    }
    return up;
}

void carry_states(const Picture &from, Picture &to) {
    const Counts known = count(from);
    const Liveness new_node = known.nodes_known ? Liveness::down : Liveness::unknown;
    for (Node_Row &row : to.nodes) {
        const Node_Row *old = from.node(row.number);
        row.state = old == nullptr ? new_node : old->state;
    }
    const Liveness new_adapter = known.adapters_known ? Liveness::down : Liveness::unknown;
    for (Adapter_Row &row : to.adapters) {
        const Adapter_Row *old = from.adapter(row.number);
        row.state = old == nullptr ? new_adapter : old->state;
    }
}

} // namespace hbctl
