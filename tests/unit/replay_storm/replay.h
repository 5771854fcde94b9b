// What a client knows that goes by the events it was given and by nothing else, and what it may expect of them.
#ifndef HB_TEST_REPLAY_STORM_REPLAY_H
#define HB_TEST_REPLAY_STORM_REPLAY_H

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qz_mox.h"
#include "tests/unit/replay_storm/cluster_state.h"

namespace hb_test::replay_storm {

// A rule that was broken, and how.
class Violation : public std::runtime_error {
  public:
    Violation(std::string rule, const std::string &what)
        : std::runtime_error(rule + ": " + what), rule_(std::move(rule)) {}
    const std::string &rule() const { return rule_; }

  private:
    std::string rule_;
};

// One event as the client got it. The adapters are what the client's queries say of the numbers, asked right behind
// the event: a death comes before the configuration changes, and a join behind it.
struct Delivered {
    int events = 0;
    bool of_nodes = false;
    std::vector<int> nodes;
    std::vector<std::pair<unsigned, std::optional<Adapter_Id>>> adapters;
};

class Replay {
  public:
    // The client starts with this configuration, and knows no states. The accounts of the nodes and of the adapters
    // that are up follow as events.
    void start(const Configuration &configuration);

    // The cluster is, or was for a while, like this: what is up may join, and what is not may die.
    void possible(const Cluster_State &state);
    // What happened before no longer counts as a cause.
    void forget_causes();
    // The library read this about a node, or about the peer on it.
    void read(qz_orb_event_category_t category, qz_orb_event_type_t type, int node);
    void message_from(int node);
    // The client moves from the daemon to the service. With a configuration a daemon sends no node's state, so the
    // library knows a node's state from later events only. What it does not know it cannot compare.
    void forgive_unknown_nodes();

    // The service did not answer the commit that leaves the daemon, so that older events are still unread. By one of
    // them a reading may find a node down for itself, and its return may be reported, whatever its peers said since.
    void keeps_older_events() { has_older_events_ = true; }

    // Whether the service has failed to answer since the last comparison. A node that joined meanwhile is not known yet,
    // and its own record is evidence all the same: its death may be reported.
    void missed_answers(bool missed) { has_missed_answers_ = missed; }

    // Throws Violation.
    void take(const Delivered &event);
    void take_configuration(const Configuration &configuration);
    // Nothing is left to read: what the events reported is what there is.
    void compare(const Cluster_State &state, const Configuration &queried);

  private:
    // What the peer on a node was last found to be. Which of several monitors was read first decides it for a node
    // that died and came back meanwhile.
    enum class Peer { alive, dead, unsure };
    using Up = std::set<std::string>;

    Peer peer_of(int node) const;
    bool is_up(const std::string &name) const { return up_.contains(name); }
    bool was_ever_down(const std::string &name) const;
    bool was_ever_up(const std::string &name) const;
    void add_causes();
    void add_join(int node);
    void change(int events, const std::string &name);
    void learn_of(const Delivered &event);
    void take_account(const Delivered &event, const std::vector<std::string> &members);

    Configuration configuration_;
    std::set<int> nodes_seen_; // in a configuration since the last comparison
    Up up_;
    std::set<int> accounts_;       // of nodes (1) and of adapters (0) that came
    std::set<int> nodes_reported_; // since the last configuration
    std::set<int> unknown_;        // nodes of which the next event, or the next comparison, says what they are
    std::map<int, Peer> peers_;
    std::optional<Cluster_State> state_;
    bool has_missed_answers_ = false;
    bool has_older_events_ = false;
    std::vector<Up> causes_;
    Up joins_;                    // of nodes whose peers live
    std::set<int> nodes_ever_up_; // by the cluster alone, since causes count
};

} // namespace hb_test::replay_storm

#endif
