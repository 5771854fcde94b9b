// SPDX-License-Identifier: Apache-2.0
// A client in cluster-event mode that reads the monitors in the order of a test, and replays what it receives.
#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "hb_client.h"

namespace hb_test {

enum class Category { node, adapter, node_list, peer, address, reconfiguration, site };
const char *name_of(Category category);

// Nodes, and interfaces by node and name.
struct Up {
    std::set<int> nodes;
    std::set<std::pair<int, std::string>> interfaces;

    bool operator==(const Up &) const = default;
};
void PrintTo(const Up &up, std::ostream *out);

class Replaying_Client {
  public:
    // Uses the installed service: creates the handlers, opens the library and subscribes to everything. The
    // replay begins with the library's table.
    Replaying_Client();
    ~Replaying_Client();
    Replaying_Client(const Replaying_Client &) = delete;
    Replaying_Client &operator=(const Replaying_Client &) = delete;

    // Reads one event of the category, and everything that the library queued for it. Returns false if there
    // was none.
    bool read(Category category);
    void read_all(Category category);
    void receive_what_is_queued();
    // Reads all pending events of all categories.
    void drain();

    // The nodes, or the adapter numbers, in the answer to a new subscription.
    std::set<int> new_node_group();
    std::set<int> new_adapter_group();

    const Up &received() const { return received_; }
    static Up table();
    // The received events of the node, in order: '-' for a death, '+' for a join.
    std::string story(int node) const;
    // Deaths of members that were not up, and joins of members that were.
    const std::string &contradictions() const { return contradictions_; }

  private:
    bool call(int descriptor);
    void ask_for_group(char request);
    void replay(int events);
    template <typename Members, typename Member>
    void replay_one(Members &up, const Member &member, int events, const std::string &text);

    std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
    Up received_;
    std::map<int, std::string> stories_;
    std::string contradictions_;
};

} // namespace hb_test
