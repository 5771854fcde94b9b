// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/configured.h"

#include <vector>

#include "common/not_configured.h"
#include "hb_client.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

template <typename Row> std::vector<std::uint32_t> numbers_of(const std::vector<Row> &rows) {
    std::vector<std::uint32_t> numbers;
    for (const Row &row : rows) {
        numbers.push_back(static_cast<std::uint32_t>(row.number));
    }
    return numbers;
}

template <typename Row> std::vector<std::string> names_of(const std::vector<Row> &rows) {
    std::vector<std::string> names;
    for (const Row &row : rows) {
        names.push_back(row.name);
    }
    return names;
}

template <typename Row>
std::uint32_t find_by_name(const std::string &noun, const std::string &name, const std::vector<Row> &rows,
                           const Picture &picture, int error) {
    if (!picture.why_nameless.empty()) {
        throw Request_Failed(picture.why_nameless + "; use the number of the " + noun + " instead of " + name,
                             error);
    }
    std::vector<std::uint32_t> found;
    for (const Row &row : rows) {
        if (row.name == name) {
            found.push_back(static_cast<std::uint32_t>(row.number));
        }
    }
    if (found.empty()) {
        throw Request_Failed(common::not_configured_text(noun, name, names_of(rows)), error);
    }
    if (found.size() > 1) {
        throw Request_Failed(common::ambiguous_text(noun, name, found), error);
    }
    return found.front();
}

} // namespace

void require_node(int number, const Picture &picture) {
    if (picture.node(number) == nullptr) {
        throw Request_Failed(
            common::not_configured_text("node", static_cast<std::uint32_t>(number), numbers_of(picture.nodes)),
            HB_ERROR_NODE_NOT_CONFIGURED);
    }
}

void require_network(const std::string &number_or_name, const Picture &picture) {
    std::string names;
    for (const Network_Row &network : picture.networks) {
        if (network.name == number_or_name || std::to_string(network.number) == number_or_name) {
            return;
        }
        names += (names.empty() ? "" : ", ") + network.name;
    }
    throw Request_Failed("network " + number_or_name +
                             " is not configured (networks: " + (names.empty() ? "none" : names) + ")",
                         HB_ERROR_NETWORK_NOT_CONFIGURED);
}

void require_adapter(std::uint32_t number, const Picture &picture) {
    if (picture.adapter(number) == nullptr) {
        throw Request_Failed(common::not_configured_text("adapter", number, numbers_of(picture.adapters)),
                             HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
}

void require_local_adapter(std::uint32_t number, const Picture &picture) {
    require_adapter(number, picture);
    if (picture.adapter(number)->node != picture.local_node) {
        const Node_Row *local = picture.node(picture.local_node);
        const std::vector<std::uint32_t> adapters =
            local == nullptr ? std::vector<std::uint32_t>{} : local->adapters;
        throw Request_Failed("adapter " + std::to_string(number) +
                                 " is not an adapter of this node (adapters of node " +
                                 std::to_string(picture.local_node) + ": " + common::list_text(adapters) + ")",
                             HB_ERROR_BAD_ARGUMENT);
    }
}

int find_node(const Member_Word &word, const Picture &picture) {
    if (!word.name.empty()) {
        return static_cast<int>(
            find_by_name("node", word.name, picture.nodes, picture, HB_ERROR_NODE_NOT_CONFIGURED));
    }
    require_node(static_cast<int>(word.number), picture);
    return static_cast<int>(word.number);
}

std::uint32_t find_adapter(const Member_Word &word, const Picture &picture) {
    if (!word.name.empty()) {
        return find_by_name("adapter", word.name, picture.adapters, picture, HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
    require_adapter(word.number, picture);
    return word.number;
}

} // namespace hbctl
