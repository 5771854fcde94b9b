// SPDX-License-Identifier: Apache-2.0
// The records of an engine_observer about its host's engine, and the events that a daemon beside it must send
// for them.
#pragma once

#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/cluster/history.h"

namespace hb_test {

class Witness : public History {
  public:
    // A line of engine_observer.
    void take(const std::string &line);

    bool engine_runs() const { return !lives_.empty() && lives_.back().ready && lives_.back().gone == NEVER; }
    unsigned local_node() const override { return local_node_; }
    // The members that are up now, as far as this engine knows; the local node's own adapters by their
    // interfaces.
    std::set<unsigned> nodes() const;
    std::set<unsigned> adapters() const;
    const std::set<unsigned> &configured_nodes() const { return configured_; }
    std::set<unsigned> all_nodes() const override;
    std::set<unsigned> all_adapters() const override;
    unsigned refused_reloads() const { return refused_reloads_; }
    unsigned good_reloads() const { return good_reloads_; }
    // The times of all callbacks with news of that node, for latencies.
    const std::vector<double> &callbacks() const { return callbacks_; }

    Turns turns_of_node(unsigned node, double since, const Patience &patience) const override;
    Turns turns_of_adapter(unsigned adapter, double since, const Patience &patience) const override;
    std::vector<Told_Configuration> configurations(double since, const Patience &patience) const override;
    std::vector<double> ends() const override;

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
