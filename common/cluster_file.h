// SPDX-License-Identifier: Apache-2.0
// The small file beside wispd's socket with the names of the nodes. The protocol between the daemon and its clients
// carries numbers only, so programs that show names to people read them here.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace common {

// How the engine's deaths of a node's adapters were held back.
struct Held_Deaths {
    std::uint64_t held = 0;
    std::uint64_t withdrawn = 0;

    bool operator==(const Held_Deaths &) const = default;
};

struct Cluster_File {
    std::string cluster;
    std::string version;                           // of wispd
    std::chrono::system_clock::time_point started; // whole seconds
    std::string engine;                            // "none", "connected", "silent" or "disconnected"
    std::map<int, std::string> nodes;              // names of the configured nodes
    std::string engine_name = {};                  // such as "Corosync"; empty: no engine
    std::map<int, Held_Deaths> held_deaths = {};   // by node, for engines whose deaths are held back
    std::uint64_t rejected_members = 0;            // members of the engine without a usable node number

    bool operator==(const Cluster_File &) const = default;
};

inline constexpr std::size_t CLUSTER_FILE_NAME_LONGEST = 255; // bytes
inline constexpr int CLUSTER_FILE_NODES_MOST = 2049;

// The path of the file that belongs to the socket.
std::string cluster_file_path(const std::string &socket_path);

// Returns the file's text. Longer names than permitted are left out, and invalid UTF-8 becomes U+FFFD.
std::string cluster_file_text(const Cluster_File &content);

// Returns nothing unless the text is complete and within the bounds. Unknown keys are ignored.
std::optional<Cluster_File> parse_cluster_file(std::string_view text);

// Returns nothing if the file is absent, unreadable, too large or malformed. Also if it belongs to another user than
// root, this process, and the owner of the socket: in a directory that every user can write to, anyone can create it.
std::optional<Cluster_File> read_cluster_file(const std::string &socket_path);

} // namespace common
