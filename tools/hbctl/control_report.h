// Output of the verbs about routes, keys and adapters of this node.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

struct Route_Report {
    int node = 0;
    bool shared = false;           // read from shared memory
    std::vector<std::string> hops; // addresses, the sender's first
    std::string name{};            // of the node; empty: not known
};

struct Key_Row {
    std::string role; // "current", "previous", "cache 1" for the newest in the cache
    bool present = false;
    std::uint32_t type = 0;
    int version = 0;
    int length = 0; // bytes
};

struct Security_State {
    bool on = false;
    int keys = 0; // keys that authenticate
    bool signs = false;
    bool authenticates = false;
    bool klom_compatible = false;
};

struct Key_Report {
    std::uint32_t generation = 0;
    Security_State current;
    Security_State previous;
    std::uint32_t cached = 0;
    std::vector<Key_Row> keys;
};

struct Adapter_State_Row {
    std::uint32_t adapter = 0;
    int state = 0;      // an Hb_Entity_State
    std::string name{}; // empty: not known
};

} // namespace hbctl
