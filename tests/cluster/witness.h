// SPDX-License-Identifier: Apache-2.0
// The records of an engine_observer about its host's engine, and the events that a daemon beside it must send
// for them.
#pragma once

#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// The daemon's settings, and how much later than the observer it may be. The last three are generous: they
// decide what belongs together, not what is fast enough.
struct Patience {
    double grace = 10;        // without an engine, until the other nodes are reported dead
    double longest_retry = 5; // between two attempts to reach the engine again
    double late = 5;          // from what the observer saw to the client
    // The observer may be later than the daemon by this much. Corosync's library can wait two seconds for an answer of an
    // engine that has ended, and reports the end only then.
    double early = 3;
    double unseen = 1; // the daemon may miss a member that was up for less than this
};

// A node or an adapter comes up or dies.
struct Turn {
    double at = 0;
    bool up = false;
    double latest =
        0; // the latest time at which the daemon may learn of it: it must first find the engine again
    bool loose = false; // it may have ended before the daemon found the engine again

    bool operator==(const Turn &) const = default;
};
using Turns = std::vector<Turn>; // up and down alternate; at first everything is down

struct Told_Configuration {
    double at = 0;
    double latest = 0;
    bool loose = false;
    std::set<unsigned> nodes;
    std::map<unsigned, std::string> addresses; // by adapter number
};

class Witness {
  public:
    // A line of engine_observer.
    void take(const std::string &line);

    bool engine_runs() const { return !lives_.empty() && lives_.back().ready && lives_.back().gone == NEVER; }
    unsigned local_node() const { return local_node_; }
    // The members that are up now, as far as this engine knows; the local node's own adapters by their
    // interfaces.
    std::set<unsigned> nodes() const;
    std::set<unsigned> adapters() const;
    const std::set<unsigned> &configured_nodes() const { return configured_; }
    // All nodes that were configured at some time.
    std::set<unsigned> all_nodes() const;
    std::set<unsigned> all_adapters() const;
    unsigned refused_reloads() const { return refused_reloads_; }
    unsigned good_reloads() const { return good_reloads_; }
    // The times of all callbacks with news of that node, for latencies.
    const std::vector<double> &callbacks() const { return callbacks_; }

    // The events about them that a daemon had to send if it ran from that time on, or from an engine's end at
    // that time.
    Turns turns_of_node(unsigned node, double since, const Patience &patience) const;
    Turns turns_of_adapter(unsigned adapter, double since, const Patience &patience) const;
    std::vector<Told_Configuration> configurations(double since, const Patience &patience) const;
    // The engines' ends, in order.
    std::vector<double> ends() const;

  private:
    static constexpr double NEVER = std::numeric_limits<double>::infinity();

    enum class Of { member, configured, link, carrier };
    struct Key {
        Of of;
        unsigned node; // for a carrier: the link
        unsigned link;
        auto operator<=>(const Key &) const = default;
    };
    using Steps = std::vector<std::pair<double, bool>>;
    struct Life { // of an engine, while the observer was connected to it
        bool ready = false;
        double since = 0;
        double gone = NEVER;
        std::map<Key, Steps> steps;
        std::vector<Told_Configuration> configurations;
    };
    struct Hold;

    void begin_life(double at);
    void finish_first_look(double at);
    void end_life(double at);
    void take_configuration(double at, const std::vector<std::string> &words);
    void take_members(double at, const std::vector<std::string> &words);
    void take_link(double at, const std::vector<std::string> &words);
    void step(double at, const Key &key, bool up);
    bool is_up(const Key &key) const;
    Turns signal(const Key &key, double since, const Patience &patience) const;
    double blind_until(std::size_t life, double since, const Patience &patience) const;
    bool is_missed(std::size_t life, double since, const Patience &patience) const;
    static Turns both(const Turns &one, const Turns &other);

    unsigned local_node_ = 0;
    std::vector<Life> lives_;
    std::map<Key, bool> now_; // of the running engine
    std::map<Key, unsigned long> downs_;
    std::set<unsigned> configured_;
    std::set<unsigned> ever_configured_;
    std::map<unsigned, unsigned> links_; // number of links of each node
    Steps none_;
    std::map<unsigned, Steps> carriers_; // by link; they continue without an engine
    unsigned refused_reloads_ = 0;
    unsigned good_reloads_ = 0;
    std::vector<double> callbacks_;
};

} // namespace hb_test
