// SPDX-License-Identifier: Apache-2.0
// The library as a program uses it: only public calls.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "hb_client.h"
#include "tests/unit/replay_storm/replay.h"

namespace hb_test::replay_storm {

// The results of one call of hb_get_event_message.
struct Taken {
    Hb_Rc result = Hb_Failure;
    int error = 0;
    std::string name;
    Delivered event;

    bool is_nothing() const { return result == Hb_Success && event.events == 0 && name == "untouched"; }
};
std::string text_of(const Taken &taken);

class Client {
  public:
    Client() = default;
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client() { hb_terminate(); }

    // Subscribes to all nodes and to all adapters.
    void subscribe();
    // Returns the descriptors that can be read now.
    std::vector<int> ready() const;
    // Reads from one of them.
    Taken read(int descriptor);
    // Reads the configuration through the queries. Throws Violation if they contradict each other.
    Configuration configuration() const;

  private:
    void take_nodes(Delivered &event);
    void take_adapters(Delivered &event);

    std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
    std::unique_ptr<Hb_Subscription_Group> wanted_ = std::make_unique<Hb_Subscription_Group>();
};

} // namespace hb_test::replay_storm
