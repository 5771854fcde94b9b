// Follows the engine of this node, through its ends and returns, and tells what the cluster becomes by it.
//
// Whoever uses it waits on one descriptor and calls advance() when that is readable; nothing here waits by itself.
//
//  - Who is up is what the engine says. Its links are looked at in short intervals; a link that went and came back
//    between two looks, and a node that did, is told as gone and back.
//  - The local node's own adapters are up where an interface of this machine has their address and a carrier.
//  - When the engine ends, nobody is taken for dead at once: whoever was up stays so for the grace, during which the
//    engine can come back and find its neighbours again. Whoever it sees is its own business from then on; whoever
//    it does not see by then is dead.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cluster/cluster.h"
#include "engine/engine.h"
#include "engine/engine_settings.h"
#include "engine/engine_translation.h"
#include "engine/local_interfaces.h"
#include "engine/wait_point.h"

namespace wispd {

// What the cluster is now, to be taken over at once. The first one has a configuration.
struct Engine_Step {
    std::optional<Configuration> configuration; // when it was read anew
    Liveness liveness;
};

struct Engine_Status {
    bool connected = false;
    bool silent = false;      // it leaves a question without an answer; told by who calls advance()
    std::string trouble;      // why it is not, in words
    std::string refused;      // why the engine's newest configuration is not the one in force
    unsigned attempts = 0;    // to connect since the engine ended
    std::vector<int> awaited; // nodes that count as up although no engine says so, until their grace ends
};

class Engine_Follower {
  public:
    using Time = std::chrono::steady_clock::time_point;

    // Connects with the first call of advance(). Throws std::system_error: no descriptors are to be had.
    Engine_Follower(const Engine_Settings &settings, Engine_Connect connect,
                    std::unique_ptr<Local_Interfaces> interfaces);

    // Readable when advance() has something to do. Stays the same.
    int descriptor() const { return wait_point_.descriptor(); }
    // Does what is due, without waiting. Nothing when all is as it was told last.
    std::optional<Engine_Step> advance(Time now);

    const Engine_Status &status() const { return status_; }
    const Engine_Settings &settings() const { return settings_; }
    // Other names are a new configuration, which the next call of advance() gives.
    void set(const Engine_Settings &settings);

  private:
    void connect(Time now);
    void listen();
    // Is news: it is told also when it is what it was.
    void take_configuration(Engine_Configuration read, bool is_news);
    void renumber_held(const Engine_Configuration &next);
    void take_members(const Engine_Members &now);
    void look_at_links(Time now);
    void lose(const std::string &why, Time now);
    void hold_who_is_up(Time now);
    void drop_overdue(Time now);
    Liveness liveness();
    std::set<int> local_links() const;
    Time next_due() const;

    Engine_Settings settings_;
    Engine_Connect connect_;
    std::unique_ptr<Local_Interfaces> interfaces_;
    Wait_Point wait_point_;
    std::unique_ptr<Engine> engine_; // none: it is gone
    Time retry_at_{};
    std::chrono::milliseconds retry_after_{};
    Time look_at_{};
    bool has_news_of_members_ = false; // that are not told yet
    bool must_count_joins_ = false;    // how often they joined is only supposed
    bool must_reread_ = false;         // the configuration

    Engine_Configuration engine_configuration_;  // the last one that could be taken over
    Engine_Names names_in_force_;                // it was translated with these
    std::optional<Configuration> configuration_; // the same, translated
    bool configuration_is_new_ = false;
    Engine_Members members_, members_told_;
    Engine_Links links_, links_told_;
    // Nobody has said anything of them since the engine ended; they are up until then.
    std::map<int, Time> held_nodes_;
    std::map<int64_t, Time> held_adapters_;
    std::optional<Liveness> told_;
    Engine_Status status_;
};

} // namespace wispd
