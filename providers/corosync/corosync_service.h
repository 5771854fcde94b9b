// The cluster service over this node's Corosync engine. It has no thread: it looks at the engine when it is asked.
//
// It is the installed service from its construction to its destruction; there is one at a time. Its calls may come
// from any thread.
//
//  - A monitor's descriptor is readable while events are held for it, and while the engine has to be looked at.
//  - Reading looks at the engine, tells every open monitor what has changed, and gives one event, if one is held.
//  - The queries tell what the events that were read have told; those that are held will tell the rest. Asking for the
//    cluster itself looks and tells what is now, since that is how a whole reading begins: what is held and no longer
//    so is then taken back. While no monitor is open every query looks.
//  - While an event is being handled, which is from its reading to its release, nothing moves. The queries then tell
//    what is now, but for nodes of which events are held: these are as they have been told.
//  - A node's own event stands for its interfaces: what is held for these is taken back, and what happens to them
//    before that event is read is not told by itself. A new configuration stands for all interfaces, and for nodes that
//    are new.
#ifndef MOX_COROSYNC_COROSYNC_SERVICE_H
#define MOX_COROSYNC_COROSYNC_SERVICE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "daemon/sources/corosync/engine_follower.h"
#include "providers/corosync/followed_cluster.h"
#include "providers/corosync/peer_watch.h"
#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"
#include "qz_mox.h"

namespace mox_corosync {

inline constexpr const char *NODE_LIVENESS = "node_liveness";
inline constexpr const char *ADAPTER_LIVENESS = "adapter_liveness";
inline constexpr const char *RECONFIGURATION = "cluster_reconfig";
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

    void tell(const mox_service::Told &told);
    void tell(const Peer_Change &change);
    bool is_node_awaited(uint32_t id) const;
    void tell_configuration(const mox_service::Told &told);
    void tell_nodes_as_they_are();
    void hold(const mox_service::Told &told);

    bool asks_for_node_later(uint32_t node);
    bool asks_for_configuration_later() { return !monitors_.held(RECONFIGURATION).empty(); }
    void learn(const mox_service::Event_Record &event);
    mox_service::Picture picture();
    mox_service::Picture picture_while_handled();

    std::mutex mutex_;
    std::unique_ptr<wispd::Engine_Follower> follower_;
    std::string peer_name_;
    std::optional<Peer_Watch> peers_;
    Followed_Cluster cluster_;
    mox_service::Monitors monitors_; // goes before what it gathers
    mox_service::Picture known_;     // to whom reads the monitors
    uint64_t sequence_ = 0;
    int events_out_ = 0;
};

} // namespace mox_corosync

#endif
