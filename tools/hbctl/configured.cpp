// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/configured.h"

#include <algorithm>
#include <vector>

#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

// A list of many separate numbers helps nobody on one line.
std::string list_text(const std::vector<std::uint32_t> &ascending) {
    constexpr std::size_t longest = 120;
    const std::string text = ascending.empty() ? "none" : number_ranges(ascending);
    return text.size() <= longest ? text : text.substr(0, text.rfind(',', longest)) + ", ...";
}

[[noreturn]] void fail(const std::string &what, const std::string &nouns, std::vector<std::uint32_t> numbers,
                       int error) {
    std::sort(numbers.begin(), numbers.end());
    throw Request_Failed(what + " (" + nouns + ": " + list_text(numbers) + ")", error);
}

template <typename Row> std::vector<std::uint32_t> numbers_of(const std::vector<Row> &rows) {
    std::vector<std::uint32_t> numbers;
    for (const Row &row : rows) {
        numbers.push_back(static_cast<std::uint32_t>(row.number));
    }
    return numbers;
}

} // namespace

void require_node(int number, const Picture &picture) {
    if (picture.node(number) == nullptr) {
        fail("node " + std::to_string(number) + " is not configured", "nodes", numbers_of(picture.nodes),
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
        fail("adapter " + std::to_string(number) + " is not configured", "adapters",
             numbers_of(picture.adapters), HB_ERROR_ADAPTER_NOT_CONFIGURED);
    }
}

void require_local_adapter(std::uint32_t number, const Picture &picture) {
    require_adapter(number, picture);
    if (picture.adapter(number)->node != picture.local_node) {
        const Node_Row *local = picture.node(picture.local_node);
        fail("adapter " + std::to_string(number) + " is not an adapter of this node",
             "adapters of node " + std::to_string(picture.local_node),
             local == nullptr ? std::vector<std::uint32_t>{} : local->adapters, HB_ERROR_BAD_ARGUMENT);
    }
}

} // namespace hbctl
