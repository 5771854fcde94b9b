// SPDX-License-Identifier: Apache-2.0
// Watches the Corosync engine of its host, more closely than the daemon does, and writes a line for every
// change. Tests compare clients with this independent record.
//
// Lines of its output, each preceded by the time of the monotonic clock in seconds:
//
//   engine LOCAL_ID                    connected
//   configuration ID,NAME,ADDRESS,... ...    each node with its address on every link; repeated after a reload
//   reload refused
//   ready                              the first check is complete; lines since "engine" are the initial state
//   members ID... joined ID... left ID...    from the engine's callback, with the time of the callback
//   link ID LINK 0|1 TIMES_DOWN        a link to another node: its initial state, then each change
//   interface LINK 0|1                 whether the local node's own interface of the link has a carrier
//   gone                               the engine has ended
//
// It ends when its input ends.
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <ifaddrs.h>
#include <iostream>
#include <map>
#include <memory>
#include <net/if.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <corosync/cfg.h>
#include <corosync/cmap.h>
#include <corosync/quorum.h>

namespace {

constexpr int MILLISECONDS_BETWEEN_LOOKS = 20;
constexpr std::size_t MOST_LINKS = 8;

struct Engine_Gone : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void need(cs_error_t result) {
    if (result != CS_OK) {
        throw Engine_Gone(cs_strerror(result));
    }
}

std::string now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09ld ", static_cast<long long>(time.tv_sec), time.tv_nsec);
    return text.data();
}

void say(const std::string &line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

std::string list(const char *name, uint32_t count, const uint32_t *ids) {
    std::string text = std::string(" ") + name;
    for (uint32_t i = 0; i < count; ++i) {
        text += " " + std::to_string(ids[i]);
    }
    return text;
}

struct Node {
    uint32_t id = 0;
    std::string name;
    std::vector<std::string> addresses; // by link
};

// ---- The local node's own interfaces ----

class Interfaces {
  public:
    void watch(const std::vector<std::string> &addresses) {
        if (addresses != addresses_) {
            addresses_ = addresses;
            known_.assign(addresses.size(), std::nullopt);
        }
    }
    void look() {
        const std::vector<bool> seen = carriers();
        for (std::size_t link = 0; link < seen.size(); ++link) {
            if (known_[link] != seen[link]) {
                known_[link] = seen[link];
                say(now() + "interface " + std::to_string(link) + (seen[link] ? " 1" : " 0"));
            }
        }
    }

  private:
    std::vector<bool> carriers() const {
        std::vector<bool> seen(addresses_.size(), false);
        ifaddrs *first = nullptr;
        if (getifaddrs(&first) != 0) {
            return seen;
        }
        for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next) {
            if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
                continue;
            }
            std::array<char, INET_ADDRSTRLEN> text{};
            inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(entry->ifa_addr)->sin_addr, text.data(),
                      text.size());
            const auto found = std::find(addresses_.begin(), addresses_.end(), text.data());
            if (found != addresses_.end()) {
                seen[static_cast<std::size_t>(found - addresses_.begin())] =
                    (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_RUNNING) != 0;
            }
        }
        freeifaddrs(first);
        return seen;
    }

    std::vector<std::string> addresses_;
    std::vector<std::optional<bool>> known_;
};

// ---- The engine ----

class Engine {
  public:
    Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    ~Engine() { end(); }

    std::vector<pollfd> descriptors() const;
    void listen();
    void look_at_links();
    const std::vector<std::string> &own_addresses() const { return own_addresses_; }

  private:
    void begin();
    void end() const;
    void tell_configuration();
    std::string text_of(const std::string &key) const;
    std::optional<uint64_t> number_of(const std::string &key, cmap_handle_t map) const;

    cmap_handle_t map_{};
    cmap_handle_t statistics_{};
    quorum_handle_t quorum_{};
    corosync_cfg_handle_t control_{};
    unsigned local_ = 0;
    bool reloaded_ = false;
    std::vector<Node> nodes_;
    std::vector<std::string> own_addresses_;
    std::map<std::pair<uint32_t, std::size_t>, std::pair<uint64_t, uint64_t>> links_;
};

Engine::Engine() {
    try {
        begin();
    } catch (const Engine_Gone &) {
        end();
        throw;
    }
}

void Engine::begin() {
    const corosync_cfg_callbacks_t nothing{};
    need(cmap_initialize_map(&map_, CMAP_MAP_ICMAP));
    need(cmap_initialize_map(&statistics_, CMAP_MAP_STATS));
    need(corosync_cfg_initialize(&control_, &nothing));
    need(corosync_cfg_local_get(control_, &local_));
    say(now() + "engine " + std::to_string(local_));
    tell_configuration();

    quorum_model_v1_data_t model{};
    model.model = QUORUM_MODEL_V1;
    model.nodelist_notify_fn = [](quorum_handle_t, quorum_ring_id, uint32_t count, const uint32_t *members,
                                  uint32_t joined_count, const uint32_t *joined, uint32_t left_count,
                                  const uint32_t *left) {
        say(now() + list("members", count, members).substr(1) + list("joined", joined_count, joined) +
            list("left", left_count, left));
    };
    uint32_t kind = 0;
    need(quorum_model_initialize(&quorum_, QUORUM_MODEL_V1, reinterpret_cast<quorum_model_data_t *>(&model),
                                 &kind, this));
    need(quorum_trackstart(quorum_, CS_TRACK_CHANGES | CS_TRACK_CURRENT));
    cmap_track_handle_t track{};
    need(cmap_track_add(
        map_, "config.reload_in_progress", CMAP_TRACK_ADD | CMAP_TRACK_MODIFY,
        [](cmap_handle_t, cmap_track_handle_t, int32_t, const char *, cmap_notify_value value,
           cmap_notify_value, void *self) {
            uint64_t running = 0;
            std::memcpy(&running, value.data, std::min(value.len, sizeof running));
            static_cast<Engine *>(self)->reloaded_ = running == 0;
        },
        this, &track));
}

void Engine::end() const {
    if (quorum_ != 0) {
        quorum_finalize(quorum_);
    }
    if (control_ != 0) {
        corosync_cfg_finalize(control_);
    }
    if (statistics_ != 0) {
        cmap_finalize(statistics_);
    }
    if (map_ != 0) {
        cmap_finalize(map_);
    }
}

std::string Engine::text_of(const std::string &key) const {
    char *value = nullptr;
    const cs_error_t result = cmap_get_string(map_, key.c_str(), &value);
    if (result == CS_ERR_NOT_EXIST) {
        return {};
    }
    need(result);
    const std::unique_ptr<char, decltype(&std::free)> owner(value, std::free);
    return value;
}

std::optional<uint64_t> Engine::number_of(const std::string &key, cmap_handle_t map) const {
    uint64_t value = 0;
    std::size_t length = sizeof value;
    cmap_value_types_t type{};
    const cs_error_t result = cmap_get(map, key.c_str(), &value, &length, &type);
    if (result == CS_ERR_NOT_EXIST) {
        return std::nullopt;
    }
    need(result);
    return value;
}

// The positions in the node list are consecutive.
void Engine::tell_configuration() {
    std::string line = "configuration";
    nodes_.clear();
    for (int position = 0;; ++position) {
        const std::string prefix = "nodelist.node." + std::to_string(position) + ".";
        const std::optional<uint64_t> id = number_of(prefix + "nodeid", map_);
        if (!id) {
            break;
        }
        Node node{static_cast<uint32_t>(*id), text_of(prefix + "name"), {}};
        line += " " + std::to_string(node.id) + "," + node.name;
        for (std::size_t link = 0; link < MOST_LINKS; ++link) {
            const std::string address = text_of(prefix + "ring" + std::to_string(link) + "_addr");
            if (address.empty()) {
                break;
            }
            node.addresses.push_back(address);
            line += "," + address;
        }
        if (node.id == local_) {
            own_addresses_ = node.addresses;
        }
        nodes_.push_back(node);
    }
    say(now() + line);
}

std::vector<pollfd> Engine::descriptors() const {
    int map = -1;
    int quorum = -1;
    need(cmap_fd_get(map_, &map));
    need(quorum_fd_get(quorum_, &quorum));
    return {{map, POLLIN, 0}, {quorum, POLLIN, 0}};
}

void Engine::listen() {
    need(quorum_dispatch(quorum_, CS_DISPATCH_ALL));
    need(cmap_dispatch(map_, CS_DISPATCH_ALL));
    if (reloaded_) {
        reloaded_ = false;
        if (number_of("config.reload_status", map_).value_or(1) == 1) {
            tell_configuration();
        } else {
            say(now() + "reload refused");
        }
    }
}

void Engine::look_at_links() {
    for (const Node &node : nodes_) {
        for (std::size_t link = 0; link < node.addresses.size() && node.id != local_; ++link) {
            const std::string prefix =
                "stats.knet.node" + std::to_string(node.id) + ".link" + std::to_string(link) + ".";
            const std::optional<uint64_t> connected = number_of(prefix + "connected", statistics_);
            const std::optional<uint64_t> downs = number_of(prefix + "down_count", statistics_);
            const std::pair seen(connected.value_or(0), downs.value_or(0));
            const auto [known, is_new] = links_.try_emplace({node.id, link}, seen);
            if (is_new || known->second != seen) {
                known->second = seen;
                say(now() + "link " + std::to_string(node.id) + " " + std::to_string(link) + " " +
                    std::to_string(seen.first) + " " + std::to_string(seen.second));
            }
        }
    }
}

// ---- Both ----

bool input_is_open(const pollfd &input) {
    std::array<char, 256> ignored{};
    return input.revents == 0 || read(STDIN_FILENO, ignored.data(), ignored.size()) > 0;
}

void observe() {
    std::unique_ptr<Engine> engine;
    Interfaces interfaces;
    std::vector<pollfd> wanted;
    do {
        wanted.clear();
        try {
            if (!engine) {
                engine = std::make_unique<Engine>();
                interfaces.watch(engine->own_addresses());
                engine->listen();
                engine->look_at_links();
                interfaces.look();
                say(now() + "ready");
            }
            engine->listen();
            engine->look_at_links();
            interfaces.watch(engine->own_addresses());
            wanted = engine->descriptors();
        } catch (const Engine_Gone &) {
            if (engine) {
                say(now() + "gone");
            }
            engine.reset();
        }
        interfaces.look();
        wanted.push_back({STDIN_FILENO, POLLIN, 0});
        poll(wanted.data(), wanted.size(), MILLISECONDS_BETWEEN_LOOKS);
    } while (input_is_open(wanted.back()));
}

} // namespace

int main() {
    observe();
    return 0;
}
