// SPDX-License-Identifier: Apache-2.0
#include "providers/service/service_lists.h"

#include <cstring>

namespace mox_service {
namespace {

char *copy_of(const std::string &text) {
    auto *copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

qz_mox_node_info_t *entry_of(const Node &node) {
    auto *entry = new qz_mox_node_info_t{};
    entry->number = node.number;
    entry->p_name = copy_of(node.name);
    entry->status = node.status;
    entry->site_number = node.site;
    entry->cfg_op = node.operation;
    return entry;
}

qz_mox_net_intf_info_t *entry_of(const Interface &interface) {
    auto *entry = new qz_mox_net_intf_info_t{};
    entry->node_number = interface.node;
    entry->p_name = interface.name ? copy_of(*interface.name) : nullptr;
    entry->ip_addr = interface.address;
    entry->type = QZ_MOX_DEVTYPE_ETHER;
    entry->status = interface.status;
    entry->cfg_op = static_cast<uint32_t>(interface.operation);
    return entry;
}

template <typename Entry, typename From> Entry *list_of(const std::vector<From> &all) {
    Entry *first = nullptr;
    Entry **link = &first;
    for (const From &one : all) {
        *link = entry_of(one);
        link = &(*link)->p_next;
    }
    return first;
}

template <typename Entry> void free_entries(Entry *list) {
    while (list != nullptr) {
        Entry *next = list->p_next;
        delete[] list->p_name;
        delete list;
        list = next;
    }
}

} // namespace

qz_mox_cluster_info_t *make_cluster_info(const std::string &name, uint32_t local_node) {
    auto *info = new qz_mox_cluster_info_t{};
    info->local_node_number = local_node;
    info->p_cluster_name = copy_of(name);
    return info;
}

qz_mox_node_info_t *make_list(const std::vector<Node> &nodes) {
    return list_of<qz_mox_node_info_t>(nodes);
}

qz_mox_net_intf_info_t *make_list(const std::vector<Interface> &interfaces) {
    return list_of<qz_mox_net_intf_info_t>(interfaces);
}

void free_list(qz_mox_cluster_info_t *info) {
    if (info != nullptr) {
        delete[] info->p_cluster_name;
        delete info;
    }
}

void free_list(qz_mox_node_info_t *list) {
    free_entries(list);
}

void free_list(qz_mox_net_intf_info_t *list) {
    free_entries(list);
}

} // namespace mox_service
