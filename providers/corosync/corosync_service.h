// SPDX-License-Identifier: Apache-2.0
// The cluster service over this node's Corosync engine. It has no thread: it polls the engine during its calls.
//
// An object is the installed service from its construction to its destruction. Only one can exist at a time.
// Its calls may come from any thread.
//
// - A monitor's descriptor is readable while the monitor holds events, and while the engine needs polling.
// - Reading polls the engine and adds its changes to every open monitor. It then returns one event, if the
//   monitor holds any.
// - A query for the cluster itself polls too, because a complete reading begins with it. While no monitor is
//   open, every query polls. No query reads an event, so unread events stay unread during a preparation.
// - An event is handled from its reading to its release. Meanwhile the queries return the current
//   configuration. Otherwise they return the configuration of the last complete reading, or of the last
//   reconfiguration event that was read.
// - The queries return a node or interface with unread liveness events as it was last reported
//   (Reported_Liveness).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "engine/engine.h"
#include "providers/corosync/followed_cluster.h"
#include "providers/corosync/peer_watch.h"
#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"
#include "providers/service/reported_liveness.h"
#include "qz_mox.h"

namespace mox_corosync {

inline constexpr const char *PEER_LIVENESS = "peer_gs_liveness";

// Identifies the programs of other nodes that are this program's peers.
struct Peer_Settings {
    std::string name; // name of the program in the events
    Peer_Join join;
    wispd::Corosync_Names names = {}; // node numbers by id
};

class Corosync_Service {
  public:
    // Installs the service. Throws std::system_error, or std::logic_error if another object exists.
    Corosync_Service(std::unique_ptr<wispd::Engine> engine, std::optional<Peer_Settings> peers);
    Corosync_Service(const Corosync_Service &) = delete;
    Corosync_Service &operator=(const Corosync_Service &) = delete;
    ~Corosync_Service();

  private:
    friend struct Entries; // the functions of the installed table

    void check_engine();
    void apply(const wispd::Engine_Step &step);
    void begin_whole_reading();
    void check_before_list();
    int open(const std::string &name);
    std::optional<mox_service::Event_Record> read(int fd, int category);

    void report(const Peer_Change &change);
    bool is_node_awaited(uint32_t id) const;
    mox_service::Picture picture();

    std::mutex mutex_;
    std::unique_ptr<wispd::Engine> engine_;
    std::string peer_name_;
    wispd::Corosync_Names names_;
    std::optional<Peer_Watch> peers_;
    Followed_Cluster cluster_;
    mox_service::Monitors monitors_; // must be destroyed before the sources that it gathers
    mox_service::Reported_Liveness reported_{monitors_};
    mox_service::Picture configuration_; // last reported configuration; its statuses are unused
    bool in_whole_reading_ = false; // true while a program reads cluster, nodes and interfaces outside an event
    int events_out_ = 0;
};

} // namespace mox_corosync
