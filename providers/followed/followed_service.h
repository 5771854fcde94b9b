// SPDX-License-Identifier: Apache-2.0
// The cluster service over a cluster engine of this node. It has no thread: it polls the engine during its calls.
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
// - Until the engine has reported its cluster, a query and the first monitor's opening wait for it, if the engine
//   connects without waiting (Engine::time_to_connect).
// - The queries return a node or interface with unread liveness events as it was last reported
//   (Reported_Liveness).
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "engine/engine.h"
#include "providers/followed/followed_cluster.h"
#include "providers/followed/followed_peers.h"
#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"
#include "providers/service/reported_liveness.h"
#include "qz_mox.h"

namespace mox_followed {

inline constexpr const char *PEER_LIVENESS = "peer_gs_liveness";

class Followed_Service {
  public:
    // Installs the service. Without peers, the program is not a membership daemon. Throws std::system_error, or
    // std::logic_error if another object exists.
    explicit Followed_Service(std::unique_ptr<wispd::Engine> engine,
                              std::unique_ptr<Followed_Peers> peers = nullptr);
    Followed_Service(const Followed_Service &) = delete;
    Followed_Service &operator=(const Followed_Service &) = delete;
    ~Followed_Service();

  private:
    friend struct Entries; // the functions of the installed table

    using Time = wispd::Engine::Time;

    void check_engine();
    void check_engine_for_query();
    void apply(const wispd::Engine_Step &step);
    void begin_whole_reading();
    void check_before_list();
    int open(const std::string &name);
    std::optional<mox_service::Event_Record> read(int fd, int category);

    void report(const Peer_Report &peer);
    mox_service::Picture picture();

    std::mutex mutex_;
    std::unique_ptr<wispd::Engine> engine_;
    std::unique_ptr<Followed_Peers> peers_; // null: the program has no peers
    Followed_Cluster cluster_;
    Time next_wait_{};               // when a query waits again for a cluster that is not known
    mox_service::Monitors monitors_; // must be destroyed before the sources that it gathers
    mox_service::Reported_Liveness reported_{monitors_};
    mox_service::Picture configuration_; // last reported configuration; its statuses are unused
    bool in_whole_reading_ = false; // true while a program reads cluster, nodes and interfaces outside an event
    int events_out_ = 0;
};

} // namespace mox_followed
