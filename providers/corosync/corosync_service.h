// The cluster service over this node's Corosync engine. It has no thread: it looks at the engine when it is asked.
//
// It is the installed service from its construction to its destruction; there is one at a time. Its calls may come
// from any thread.
//
//  - A monitor's descriptor is readable while events are held for it, and while the engine has to be looked at.
//  - Reading looks at the engine, holds for every open monitor what has changed, and gives one event, if one is held.
//  - Asking for the cluster itself looks too, since that is how a whole reading begins. While no monitor is open every
//    query looks. No query reads an event: what is unread stays so, whatever a preparation asks.
//  - While an event is being handled, which is from its reading to its release, nothing moves. The queries then report
//    the configuration as it is now. Otherwise they report the configuration of the last whole reading, or of the last
//    reconfiguration that was read.
//  - The queries report a node or interface with unread liveness events as it was last reported (Reported_Liveness).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "engine/engine_follower.h"
#include "providers/corosync/followed_cluster.h"
#include "providers/corosync/peer_watch.h"
#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"
#include "providers/service/reported_liveness.h"
#include "qz_mox.h"

namespace mox_corosync {

inline constexpr const char *PEER_LIVENESS = "peer_gs_liveness";

// Which programs of other nodes are this one's peers.
struct Peer_Settings {
    std::string name; // of the program, in the events
    Peer_Join join;
};

class Corosync_Service {
  public:
    // Throws std::system_error, and std::logic_error when there is one already.
    Corosync_Service(std::unique_ptr<wispd::Engine_Follower> follower, std::optional<Peer_Settings> peers);
    Corosync_Service(const Corosync_Service &) = delete;
    Corosync_Service &operator=(const Corosync_Service &) = delete;
    ~Corosync_Service();

  private:
    friend struct Entries; // the functions of the installed table

    void look();
    void take(const wispd::Engine_Step &step);
    void begin_whole_reading();
    void look_before_list();
    int open(const std::string &name);
    std::optional<mox_service::Event_Record> read(int fd, int category);

    void tell(const Peer_Change &change);
    bool is_node_awaited(uint32_t id) const;
    mox_service::Picture picture();

    std::mutex mutex_;
    std::unique_ptr<wispd::Engine_Follower> follower_;
    std::string peer_name_;
    std::optional<Peer_Watch> peers_;
    Followed_Cluster cluster_;
    mox_service::Monitors monitors_; // goes before what it gathers
    mox_service::Reported_Liveness reported_{monitors_};
    mox_service::Picture configuration_; // that was last reported; its statuses mean nothing
    bool in_whole_reading_ = false;      // of cluster, nodes and interfaces, about no event
    int events_out_ = 0;
};

} // namespace mox_corosync
