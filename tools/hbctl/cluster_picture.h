// The configuration, and which parts of it are alive, as plain data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "common/cluster_file.h"

namespace hbctl {

enum class Liveness { unknown, up, down };

struct Node_Row {
    int number = 0;
    bool local = false;
    Liveness state = Liveness::unknown;
    std::vector<std::uint32_t> adapters; // ascending
    std::string name{};                  // empty: not known
};

struct Network_Row {
    int number = 0;
    std::string name;
    std::string type;
    std::vector<std::uint32_t> adapters; // in the order of the configuration
};

struct Adapter_Row {
    std::uint32_t number = 0;
    int node = -1;
    int network = -1; // -1: its network has no name
    std::string address;
    std::string type;
    Liveness state = Liveness::unknown;
    std::string name{}; // "alpha/net_a"; empty: not known
};

struct Picture {
    int local_node = -1;
    std::vector<Node_Row> nodes;
    std::vector<Network_Row> networks;
    std::vector<Adapter_Row> adapters; // in the order of the configuration
    std::vector<unsigned> sites;
    std::string why_nameless{}; // empty: the names are known

    std::unordered_map<int, std::size_t> node_at;
    std::unordered_map<int, std::size_t> network_at;
    std::unordered_map<std::uint32_t, std::size_t> adapter_at;

    // Fills the three indexes from the lists.
    void index();
    const Node_Row *node(int number) const;
    const Network_Row *network(int number) const;
    const Adapter_Row *adapter(std::uint32_t number) const;
};

struct Counts {
    std::size_t nodes = 0;
    std::size_t nodes_up = 0;
    std::size_t networks = 0;
    std::size_t adapters = 0;
    std::size_t adapters_up = 0;
    std::size_t sites = 0;
    bool nodes_known = false;    // the state of every node is known
    bool adapters_known = false; // the state of every adapter is known
};

Counts count(const Picture &picture);

// Gives the nodes the names of the file, and each adapter the name of its node and network. Without a file, nothing has
// a name, because of `why_nameless`.
void set_names(Picture &picture, const std::optional<common::Cluster_File> &file,
               const std::string &why_nameless);

// Keeps the names of the nodes where the new picture has none, for instance because wispd has stopped after a migration.
void carry_names(const Picture &from, Picture &to);

// Returns how many adapters of the network are up; nothing if the state of one is unknown.
std::optional<std::size_t> adapters_up(const Network_Row &network, const Picture &picture);

// Copies the states of everything that is in both pictures. New nodes and adapters are down until they join;
// their state is unknown if the old picture had unknown states.
void carry_states(const Picture &from, Picture &to);

} // namespace hbctl
