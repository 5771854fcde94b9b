// What a client that leaves the daemon for the cluster service has to be told, event by event.
//
// It knows what each side has told and what the client has read of it. Nodes that come and go as a whole and
// adapters that come and go by themselves have to be on different nodes: the service tells of them on two
// descriptors, and what is told of one node on both depends on which of them is read first.
#ifndef HB_TEST_SYSTEM_MIGRATION_MODEL_H
#define HB_TEST_SYSTEM_MIGRATION_MODEL_H

#include <cstddef>
#include <deque>
#include <iosfwd>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// Who is up. A node N has the adapters N x 48 and N x 48 + 1.
struct Who_Is_Up {
    std::set<unsigned> nodes;
    std::set<unsigned> adapters;

    bool operator==(const Who_Is_Up &) const = default;
};
void PrintTo(const Who_Is_Up &who, std::ostream *out);

inline constexpr unsigned SLOTS = 48;
std::set<unsigned> adapters_of(unsigned node);

// One node or one adapter dies or comes up.
struct Change {
    enum class Of { node, adapter };
    Of of;
    unsigned number;
    bool up;

    std::string command() const;
    void make_in(Who_Is_Up &who) const;
};

class Migration_Model {
  public:
    explicit Migration_Model(const Who_Is_Up &start) : table_(start), service_(start) {}

    void daemon_tells(const Change &change);
    void service_tells(const Change &change);
    void prepare() { watching_ = true; }
    void give_up();
    void commit();

    // Events that wait for the client in an order that is known: the daemon's, then those of the commit.
    std::size_t waiting() const { return waiting_.size(); }
    // What the service has told on its descriptors and the client has not read.
    std::size_t records_waiting() const { return node_records_.size() + adapter_records_.size(); }
    // The client reads that many of the waiting events.
    std::vector<std::string> read(std::size_t count);

    // After the commit the client reads all there is, while nothing happens. What comes behind the waiting ones
    // comes from two descriptors; each of them has an order.
    struct Rest {
        std::vector<std::string> of_nodes;
        std::vector<std::string> of_adapters;
    };
    Rest read_rest();

    // What the client holds for the truth.
    const Who_Is_Up &table() const { return table_; }

  private:
    struct Waiting {
        std::string event;
        std::set<unsigned> nodes;
        std::set<unsigned> adapters;
        bool up = false;
        bool brings_table = false;
    };

    void report_difference(bool up, const Who_Is_Up &one, const Who_Is_Up &other);
    void node_died(unsigned node, std::vector<std::string> &events);
    void node_came_up(unsigned node, std::vector<std::string> &events);

    Who_Is_Up table_;
    Who_Is_Up service_;
    Who_Is_Up working_table_;
    bool watching_ = false;
    std::deque<Waiting> waiting_;
    std::vector<Change> node_records_;
    std::vector<Change> adapter_records_;
};

// The same from the client's side: what it knows by nothing but the events that it was told.
class Client_View {
  public:
    // An event in the model's words.
    void take(const std::string &event);
    const Who_Is_Up &who() const { return who_; }

  private:
    void change(std::set<unsigned> &members, unsigned member, bool up);

    Who_Is_Up who_;
};

// A line of the client program in the model's words: "death a 96 97", "join n 2", "configuration"; empty for an
// event that tells nothing.
std::string in_short(const std::string &line);

} // namespace hb_test

#endif
