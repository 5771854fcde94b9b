// SPDX-License-Identifier: Apache-2.0
// One step of a storm. A storm is a list of steps, so that it can be printed, repeated and shortened.
#pragma once

#include <random>
#include <string>
#include <vector>

namespace hb_test::replay_storm {

enum class Verb {
    // The client.
    read,    // from one of the descriptors that are ready
    settle,  // reads everything, then compares
    message, // reports a message from a node
    prepare,
    commit,
    abort,
    restart, // closes the library, and opens it again
    // The service's answers.
    fail_query,
    fail_reading,
    // The daemon catches up with the cluster.
    follow,
    // The cluster.
    node_down,
    node_up,
    node_add,
    node_remove,
    adapter_down,
    adapter_up,
    adapter_undefined,
    adapter_add,
    adapter_remove,
    address,
    swap_addresses,
    batch,  // the next changes are reported together
    reload, // some changes of the configuration come as one new configuration
    repeat, // a node's state is notified again
    local_record,
    peer_down,
    peer_up,
    flap,
    engine_ends,
    engine_returns
};

// The numbers select among the objects that exist when the step runs.
struct Step {
    Verb verb = Verb::read;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
};
using Script = std::vector<Step>;

// "node_down.3.0.0 read.17.4.9"; steps_of throws std::invalid_argument for any other text.
std::string text_of(const Step &step);
std::string text_of(const Script &script);
Script steps_of(const std::string &text);

struct Weight {
    Verb verb;
    unsigned weight;
};

// An endless series of steps. The same seed gives the same steps.
class Dice {
  public:
    Dice(unsigned seed, const std::vector<Weight> &weights);
    Step throw_one();

  private:
    std::mt19937 random_;
    std::vector<Weight> weights_;
    unsigned total_ = 0;
};

} // namespace hb_test::replay_storm
