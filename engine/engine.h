// SPDX-License-Identifier: Apache-2.0
// The seam between wispd or a cluster service and a cluster engine of this node. An engine reports the cluster's
// configuration, its members and adapters, how they change, and that the engine itself ended or returned.
//
// The caller waits on one descriptor and calls advance() when it is readable. Nothing here waits by itself.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cluster/cluster.h"
#include "engine/engine_settings.h"

namespace wispd {

// The error when the engine is not running, has stopped, or does not respond. The connection is then unusable.
class Engine_Gone : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The current state of the cluster, which the caller applies as a whole. The first step after the start always
// has a configuration.
struct Engine_Step {
    std::optional<Configuration> configuration; // empty: the same as in the step before
    Liveness liveness;
    bool is_departure = false; // the members that are down now left in good order: no failure
};

// A connection of an engine that needs one for each network.
struct Agent_Status {
    int network = 0;
    std::string address;
    bool connected = false;
    bool silent = false;
    std::string trouble; // why it is not connected
    unsigned attempts = 0;
};

// How deaths of a node were held back and withdrawn.
struct Settling_Status {
    int held_now = 0; // adapters whose death is held back at this moment
    unsigned long held = 0;
    unsigned long withdrawn = 0;
};

struct Engine_Status {
    bool connected = false;
    bool silent = false;      // a query is overdue; the caller of advance() sets it for an engine that blocks
    std::string trouble;      // why the engine is not connected
    std::string refused;      // why the engine's latest configuration is not in use
    unsigned attempts = 0;    // connection attempts since the engine disconnected
    std::vector<int> awaited; // nodes that stay up for their grace although the engine does not report them

    // Engines with one agent for each network.
    std::vector<Agent_Status> agents;
    unsigned long rejected_members = 0;                    // since the start
    std::vector<std::string> rejections;                   // why members are rejected now, one text for each
    std::vector<std::pair<int, Settling_Status>> settling; // by node, only nodes with a held death
};

class Engine {
  public:
    using Time = std::chrono::steady_clock::time_point;

    Engine() = default;
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    virtual ~Engine() = default;

    // Returns the engine's name in log lines and in `wispctl state`.
    virtual Engine_Name name() const = 0;
    // Returns a descriptor that is readable when advance() has work to do. It never changes.
    virtual int descriptor() const = 0;
    // Does what is due. Returns nothing when nothing changed since the last step. The first call connects.
    virtual std::optional<Engine_Step> advance(Time now) = 0;
    virtual const Engine_Status &status() const = 0;
    // Returns how long other nodes stay up after the engine disconnected.
    virtual std::chrono::milliseconds grace() const = 0;
    // Returns how long the first step can take to arrive, for an engine whose first advance() does not wait for it.
    virtual std::chrono::milliseconds time_to_connect() const { return {}; }
    // Changes the settings, which must be those of the same kind of engine. If names or numbers in them differ, the
    // next call of advance() returns a configuration.
    virtual void set(const Engine_Settings &settings) = 0;
};

} // namespace wispd
