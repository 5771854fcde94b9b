// Output of the verbs about routes, keys and adapters of this node.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hbctl {

struct RouteReport {
    int node = 0;
    bool shared = false;           // read from shared memory
    std::vector<std::string> hops; // addresses, the sender's first
};

struct KeyRow {
    std::string role; // "current", "previous", "cache 1" for the newest in the cache
    bool present = false;
    std::uint32_t type = 0;
    int version = 0;
    int length = 0; // bytes
};

struct SecurityState {
    bool on = false;
    int keys = 0; // keys that authenticate
    bool signs = false;
    bool authenticates = false;
    bool klom_compatible = false;
};

struct KeyReport {
    std::uint32_t generation = 0;
    SecurityState current;
    SecurityState previous;
    std::uint32_t cached = 0;
    std::vector<KeyRow> keys;
};

struct AdapterStateRow {
    std::uint32_t adapter = 0;
    int state = 0; // an Hb_Entity_State
};

} // namespace hbctl
