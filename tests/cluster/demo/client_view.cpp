// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/demo/client_view.h"

#include <algorithm>
#include <functional>

namespace hb_demo {
namespace {

std::set<int> numbers_of(const std::map<int, int> &adapters) {
    std::set<int> numbers;
    for (const auto &[adapter, node] : adapters) {
        numbers.insert(adapter);
    }
    return numbers;
}

void change(std::set<int> &up, const std::set<int> &named, Told told) {
    for (const int member : named) {
        if (told == Told::join) {
            up.insert(member);
        } else {
            up.erase(member);
        }
    }
}

using Names = std::function<bool(const Client_Event &, int)>;

std::optional<Time> last_of_the_first(const std::vector<Client_Event> &events, const std::set<int> &members,
                                      Told what, Time since, const Names &names) {
    std::optional<Time> last;
    for (const int member : members) {
        const auto first = std::find_if(events.begin(), events.end(), [&](const Client_Event &event) {
            return event.time >= since && event.told == what && names(event, member);
        });
        if (first == events.end()) {
            return std::nullopt;
        }
        last = std::max(last.value_or(first->time), first->time);
    }
    return last;
}

} // namespace

void Client_View::take(const Client_Event &event) {
    const std::set<int> adapters = numbers_of(event.adapters);
    if (event.told == Told::account) {
        (event.about_nodes ? up_.nodes : up_.adapters) = event.about_nodes ? event.nodes : adapters;
    } else if (event.told != Told::other) {
        change(up_.nodes, event.nodes, event.told);
        change(up_.adapters, adapters, event.told);
    }
    events_.push_back(event);
}

std::optional<Time> Client_View::told_nodes(const std::set<int> &nodes, Told what, Time since) const {
    return last_of_the_first(events_, nodes, what, since,
                             [](const Client_Event &event, int node) { return event.nodes.count(node) != 0; });
}

std::optional<Time> Client_View::told_adapters(const std::set<int> &adapters, Told what, Time since) const {
    return last_of_the_first(events_, adapters, what, since, [](const Client_Event &event, int adapter) {
        return event.adapters.count(adapter) != 0;
    });
}

} // namespace hb_demo
