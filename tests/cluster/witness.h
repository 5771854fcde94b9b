// What an engine_observer has written down of its host's engine, and what a daemon beside it had to make of that.
#ifndef HB_TEST_CLUSTER_WITNESS_H
#define HB_TEST_CLUSTER_WITNESS_H

#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// How the daemon is set up, and how much later than the observer it may be. The last three are generous: they say
// what belongs together, not what is fast enough.
struct Patience {
    double grace = 10;        // without an engine, until the other nodes are dead
    double longest_retry = 5; // between two attempts to find the engine again
    double late = 5;          // from what the observer saw to the client
    double early = 2;         // the observer may be the later one of the two
    double unseen = 1;        // one who was up for less may never have been seen so by the daemon
};

// A node or an adapter comes up or dies.
struct Turn {
    double at = 0;
    bool up = false;
    double latest = 0;  // the daemon may learn of it as late as that: it has to find the engine again first
    bool loose = false; // it may have been over before the daemon found the engine again

    bool operator==(const Turn &) const = default;
};
using Turns = std::vector<Turn>; // up and down by turns; at first everybody is down

struct ToldConfiguration {
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
    // Who is up now, as far as this engine tells; the local node's own adapters by their interfaces.
    std::set<unsigned> nodes() const;
    std::set<unsigned> adapters() const;
    const std::set<unsigned> &configured_nodes() const { return configured_; }
    // Everybody who was configured at some time.
    std::set<unsigned> all_nodes() const;
    std::set<unsigned> all_adapters() const;
    unsigned refused_reloads() const { return refused_reloads_; }
    unsigned good_reloads() const { return good_reloads_; }
    // When callbacks brought news of that node, for latencies: the times of all of them.
    const std::vector<double> &callbacks() const { return callbacks_; }

    // What a daemon had to tell of them that was there from that time on, or from the end of an engine at that time.
    Turns turns_of_node(unsigned node, double since, const Patience &patience) const;
    Turns turns_of_adapter(unsigned adapter, double since, const Patience &patience) const;
    std::vector<ToldConfiguration> configurations(double since, const Patience &patience) const;
    // The engines' ends, in order.
    std::vector<double> ends() const;

  private:
    static constexpr double NEVER = std::numeric_limits<double>::infinity();

    enum class Of { member, configured, link, carrier };
    struct Key {
        Of of;
        unsigned node; // or link, of a carrier
        unsigned link;
        auto operator<=>(const Key &) const = default;
    };
    using Steps = std::vector<std::pair<double, bool>>;
    struct Life { // of an engine, as long as the observer was connected to it
        bool ready = false;
        double since = 0;
        double gone = NEVER;
        std::map<Key, Steps> steps;
        std::vector<ToldConfiguration> configurations;
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
    std::map<Key, bool> now_; // of the engine that runs
    std::map<Key, unsigned long> downs_;
    std::set<unsigned> configured_;
    std::set<unsigned> ever_configured_;
    std::map<unsigned, unsigned> links_; // how many each node has
    Steps none_;
    std::map<unsigned, Steps> carriers_; // by link; they go on without an engine
    unsigned refused_reloads_ = 0;
    unsigned good_reloads_ = 0;
    std::vector<double> callbacks_;
};

} // namespace hb_test

#endif
