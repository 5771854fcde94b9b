// The cluster service over this node's Corosync engine. It has no thread: it looks at the engine when it is asked.
//
// It is the installed service from its construction to its destruction; there is one at a time. Its calls may come
// from any thread.
//
//  - A monitor's descriptor is readable while events are held for it, and while the engine has to be looked at.
//  - Reading looks at the engine, tells every open monitor what has changed, and gives one event, if one is held.
//  - The queries give the cluster as it was when the engine was last looked at. Asking for the cluster itself looks,
//    since that is how a whole reading begins: what is held and no longer so is then taken back. So does any query
//    while no monitor is open. While an event is being handled, which is from its reading to its release, nothing
//    moves, and nodes are as they have been told: the events that are still held will tell the rest.
//  - A node's own event stands for its interfaces: what is held for these is taken back, and what happens to them
//    before that event is read is not told by itself.
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
    void begin_whole_reading();
    void look_before_list();
    int open(const std::string &name);
    void tell(const mox_service::Told &told);
    void tell(const Peer_Change &change);
    bool awaits_node_event(uint32_t node);
    mox_service::Picture picture();

    std::mutex mutex_;
    std::unique_ptr<wispd::Engine_Follower> follower_;
    std::string peer_name_;
    std::optional<Peer_Watch> peers_;
    Followed_Cluster cluster_;
    mox_service::Monitors monitors_; // goes before what it gathers
    uint64_t sequence_ = 0;
    uint64_t read_whole_ = 0; // sequence at the last whole reading, which covers all events before
    int events_out_ = 0;
};

} // namespace mox_corosync

#endif
