// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync/corosync_connection.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <poll.h>
#include <set>
#include <string_view>
#include <utility>

#include <corosync/cfg.h>
#include <corosync/cmap.h>
#include <corosync/quorum.h>

#include "engine/engine.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr const char *RELOADING = "config.reload_in_progress";
constexpr const char *RELOAD_STATUS = "config.reload_status";
constexpr uint32_t RELOAD_DONE_WELL = 1;
constexpr std::chrono::seconds FIRST_MEMBERS_LATEST(2);
constexpr std::chrono::seconds ALL_STATISTICS_EVERY(1);

void require(cs_error_t result, const char *what) {
    if (result != CS_OK) {
        throw Engine_Gone(text("Corosync: ", what, " failed with ", cs_strerror(result)));
    }
}

// A session with one of Corosync's services; its owner ends it.
template <typename Handle, cs_error_t (*finalize)(Handle)> class Session {
  public:
    Session() = default;
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
    ~Session() {
        if (open_) {
            finalize(handle_);
        }
    }

    Handle *to_open() { return &handle_; }
    void opened(cs_error_t result, const char *what) {
        require(result, what);
        open_ = true;
    }
    Handle get() const { return handle_; }

  private:
    Handle handle_{};
    bool open_ = false;
};

using Map = Session<cmap_handle_t, cmap_finalize>;
using Quorum = Session<quorum_handle_t, quorum_finalize>;
using Control = Session<corosync_cfg_handle_t, corosync_cfg_finalize>;

std::optional<uint32_t> number_of(std::string_view digits) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
}

// Returns "a", "b", "c" for "a.b.c" behind a prefix.
std::vector<std::string_view> parts_behind(std::string_view prefix, std::string_view key) {
    std::vector<std::string_view> parts;
    std::string_view rest = key.substr(prefix.size());
    while (!rest.empty()) {
        const std::size_t dot = rest.find('.');
        parts.push_back(rest.substr(0, dot));
        rest = dot == std::string_view::npos ? std::string_view() : rest.substr(dot + 1);
    }
    return parts;
}

void for_each_key(const Map &map, const char *prefix, const std::function<void(std::string_view)> &use) {
    cmap_iter_handle_t walk{};
    require(cmap_iter_init(map.get(), prefix, &walk), "reading the configuration map");
    std::vector<std::string> keys;
    char key[CMAP_KEYNAME_MAXLEN + 1];
    std::size_t length = 0;
    cmap_value_types_t type{};
    cs_error_t result;
    while ((result = cmap_iter_next(map.get(), walk, key, &length, &type)) == CS_OK) {
        keys.emplace_back(key);
    }
    cmap_iter_finalize(map.get(), walk);
    if (result != CS_ERR_NO_SECTIONS) {
        require(result, "reading the configuration map");
    }
    for (const std::string &found : keys) {
        use(found);
    }
}

std::string string_of(const Map &map, const std::string &key) {
    char *value = nullptr;
    const cs_error_t result = cmap_get_string(map.get(), key.c_str(), &value);
    if (result == CS_ERR_NOT_EXIST) {
        return {};
    }
    require(result, "reading the configuration map");
    std::string copy = value;
    std::free(value);
    return copy;
}

// Reads a number of any width, because Corosync chooses the width. Returns nothing when the key does not exist.
std::optional<uint64_t> value_of(const Map &map, std::string_view key) {
    uint64_t value = 0;
    std::size_t length = sizeof value;
    cmap_value_types_t type{};
    const cs_error_t result = cmap_get(map.get(), std::string(key).c_str(), &value, &length, &type);
    if (result == CS_ERR_NOT_EXIST) {
        return std::nullopt;
    }
    require(result, "reading the configuration map");
    return value;
}

class Corosync_Connection final : public Corosync {
  public:
    Corosync_Connection();

    std::vector<int> descriptors() const override { return descriptors_; }
    Corosync_News dispatch() override;
    Corosync_Configuration configuration() override;
    Corosync_Members members() override;
    Corosync_Members count_joins() override;
    Corosync_Links links(const Corosync_Configuration &of) override;

  private:
    void await_members();
    std::optional<Corosync_Link> link_of(uint32_t id, int link);
    uint32_t joins_of(uint32_t id);
    void count_all_joins();
    void apply_members(const std::set<uint32_t> &members, const std::set<uint32_t> &joined);
    void track(const char *prefix);
    void on_key(std::string_view key, int32_t event, const cmap_notify_value &value);

    Map map_;
    Map statistics_;
    Quorum quorum_;
    Control control_;
    std::vector<int> descriptors_;
    int members_descriptor_ = -1;
    std::set<uint32_t> members_;
    Corosync_Links links_; // as last read
    std::chrono::steady_clock::time_point all_statistics_at_{};
    std::map<uint32_t, uint32_t> joins_; // join counts of current and former members
    std::set<uint32_t> not_counted_;     // nodes with an estimated join count
    Corosync_News news_;
    bool reload_is_over_ = false;
};

Corosync_Connection::Corosync_Connection() {
    map_.opened(cmap_initialize_map(map_.to_open(), CMAP_MAP_ICMAP), "opening the configuration map");
    statistics_.opened(cmap_initialize_map(statistics_.to_open(), CMAP_MAP_STATS),
                       "opening the statistics map");
    const corosync_cfg_callbacks_t none{};
    control_.opened(corosync_cfg_initialize(control_.to_open(), &none), "opening the configuration service");

    quorum_model_v1_data_t model{};
    model.model = QUORUM_MODEL_V1;
    model.nodelist_notify_fn = [](quorum_handle_t handle, quorum_ring_id, uint32_t count,
                                  const uint32_t *members, uint32_t joined_count, const uint32_t *joined,
                                  uint32_t, const uint32_t *) {
        const void *context = nullptr;
        if (quorum_context_get(handle, &context) == CS_OK) {
            auto &self = *static_cast<Corosync_Connection *>(const_cast<void *>(context));
            self.apply_members({members, members + count}, {joined, joined + joined_count});
        }
    };
    uint32_t kind = 0;
    quorum_.opened(quorum_model_initialize(quorum_.to_open(), QUORUM_MODEL_V1,
                                           reinterpret_cast<quorum_model_data_t *>(&model), &kind, this),
                   "opening the quorum service");
    require(quorum_trackstart(quorum_.get(), CS_TRACK_CHANGES | CS_TRACK_CURRENT), "tracking the members");
    track("config.");
    if (value_of(map_, RELOADING).value_or(0) != 0) {
        throw Engine_Gone("Corosync is reloading its configuration");
    }

    int map = -1;
    require(cmap_fd_get(map_.get(), &map), "waiting for the configuration map");
    require(quorum_fd_get(quorum_.get(), &members_descriptor_), "waiting for the members");
    descriptors_ = {map, members_descriptor_};
    await_members();
    count_all_joins();
}

// Waits for the first members. Corosync reports them unasked, and this node is always among them.
void Corosync_Connection::await_members() {
    const auto until = std::chrono::steady_clock::now() + FIRST_MEMBERS_LATEST;
    while (members_.empty()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        pollfd waiting{members_descriptor_, POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) == 0) {
            throw Engine_Gone("Corosync does not report its members");
        }
        dispatch();
    }
}

void Corosync_Connection::track(const char *prefix) {
    cmap_track_handle_t handle{};
    require(cmap_track_add(
                map_.get(), prefix, CMAP_TRACK_ADD | CMAP_TRACK_MODIFY | CMAP_TRACK_DELETE | CMAP_TRACK_PREFIX,
                [](cmap_handle_t, cmap_track_handle_t, int32_t event, const char *key, cmap_notify_value value,
                   cmap_notify_value,
                   void *self) { static_cast<Corosync_Connection *>(self)->on_key(key, event, value); },
                this, &handle),
            "tracking the configuration map");
}

// A reload ends when its mark is reset; another key holds the result.
void Corosync_Connection::on_key(std::string_view key, int32_t, const cmap_notify_value &value) {
    uint64_t number = 0;
    if (key != RELOADING || value.data == nullptr || value.len > sizeof number) {
        return;
    }
    std::copy_n(static_cast<const char *>(value.data), value.len, reinterpret_cast<char *>(&number));
    reload_is_over_ = reload_is_over_ || number == 0;
}

Corosync_News Corosync_Connection::dispatch() {
    news_ = {};
    require(cmap_dispatch(map_.get(), CS_DISPATCH_ALL), "reading configuration notifications");
    require(quorum_dispatch(quorum_.get(), CS_DISPATCH_ALL), "reading membership notifications");
    // The status is read outside the callback: an exception there would pass through Corosync's own library.
    if (std::exchange(reload_is_over_, false)) {
        news_.configuration = value_of(map_, RELOAD_STATUS).value_or(RELOAD_DONE_WELL) == RELOAD_DONE_WELL;
        news_.reload_rejected = !news_.configuration;
    }
    return news_;
}

Corosync_Configuration Corosync_Connection::configuration() {
    constexpr std::string_view prefix = "nodelist.node.";
    Corosync_Configuration read;
    read.cluster_name = string_of(map_, "totem.cluster_name");
    unsigned int local = 0;
    require(corosync_cfg_local_get(control_.get(), &local), "reading the local node ID");
    read.local_id = local;
    std::map<uint32_t, Corosync_Node> by_position;
    for_each_key(map_, prefix.data(), [&](std::string_view key) {
        const std::vector<std::string_view> parts = parts_behind(prefix, key);
        const std::optional<uint32_t> position = parts.size() == 2 ? number_of(parts[0]) : std::nullopt;
        if (!position) {
            return;
        }
        Corosync_Node &node = by_position[*position];
        constexpr std::string_view ring = "ring";
        constexpr std::string_view addr = "_addr";
        if (parts[1] == "nodeid") {
            node.id = static_cast<uint32_t>(value_of(map_, key).value_or(0));
        } else if (parts[1] == "name") {
            node.name = string_of(map_, std::string(key));
        } else if (parts[1].starts_with(ring) && parts[1].ends_with(addr)) {
            const auto link =
                number_of(parts[1].substr(ring.size(), parts[1].size() - ring.size() - addr.size()));
            if (link) {
                node.addresses[static_cast<int>(*link)] = string_of(map_, std::string(key));
            }
        }
    });
    for (auto &[position, node] : by_position) {
        if (node.id != 0) {
            read.nodes.push_back(std::move(node));
        }
    }
    return read;
}

void Corosync_Connection::apply_members(const std::set<uint32_t> &members, const std::set<uint32_t> &joined) {
    for (const uint32_t id : joined) {
        ++joins_[id];
        not_counted_.insert(id);
    }
    members_ = members;
    news_.membership = true;
}

Corosync_Members Corosync_Connection::members() {
    Corosync_Members supposed;
    for (const uint32_t id : members_) {
        supposed[id] = joins_[id];
    }
    return supposed;
}

Corosync_Members Corosync_Connection::count_joins() {
    for (const uint32_t id : std::exchange(not_counted_, {})) {
        joins_[id] = joins_of(id);
    }
    return members();
}

uint32_t Corosync_Connection::joins_of(uint32_t id) {
    return static_cast<uint32_t>(value_of(map_, text("runtime.members.", id, ".join_count")).value_or(0));
}

// Includes former members, so that the estimate after a rejoin continues from the right number.
void Corosync_Connection::count_all_joins() {
    constexpr std::string_view prefix = "runtime.members.";
    for_each_key(map_, prefix.data(), [&](std::string_view key) {
        const std::vector<std::string_view> parts = parts_behind(prefix, key);
        const std::optional<uint32_t> id =
            parts.size() == 2 && parts[1] == "join_count" ? number_of(parts[0]) : std::nullopt;
        if (id) {
            joins_[*id] = joins_of(*id);
        }
    });
    not_counted_.clear();
}

// Each value is a question to Corosync, which is most of what an idle wispd costs.
Corosync_Links Corosync_Connection::links(const Corosync_Configuration &of) {
    const auto now = std::chrono::steady_clock::now();
    if (now >= all_statistics_at_) {
        links_.clear(); // a link that was removed and added again counts from 0 again
        all_statistics_at_ = now + ALL_STATISTICS_EVERY;
    }
    Corosync_Links read;
    for (const Corosync_Node &node : of.nodes) {
        for (const auto &[link, address] : node.addresses) {
            if (const auto state = node.id == of.local_id ? std::nullopt : link_of(node.id, link)) {
                read[{node.id, link}] = *state;
            }
        }
    }
    links_ = read;
    return read;
}

// Reads each key by name: a walk through all statistics of a link is ten times slower. While a connected link has not
// counted another failure, it is still connected.
std::optional<Corosync_Link> Corosync_Connection::link_of(uint32_t id, int link) {
    const std::string prefix = text("stats.knet.node", id, ".link", link);
    const auto times_down = value_of(statistics_, prefix + ".down_count");
    const auto before = links_.find({id, link});
    if (before != links_.end() && before->second.connected && before->second.times_down == times_down) {
        return before->second;
    }
    const auto connected = value_of(statistics_, prefix + ".connected");
    return connected
               ? std::optional<Corosync_Link>({*connected != 0, static_cast<uint32_t>(times_down.value_or(0))})
               : std::nullopt;
}

} // namespace

std::unique_ptr<Corosync> connect_to_corosync() {
    return std::make_unique<Corosync_Connection>();
}

} // namespace wispd
