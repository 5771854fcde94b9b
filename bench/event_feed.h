// The daemon's end of a connection, in this process: what is fed into it lies ready in the socket before
// the clock starts, so that a measurement holds no scheduling.
#ifndef BENCH_EVENT_FEED_H
#define BENCH_EVENT_FEED_H

#include <string>
#include <vector>

// Which adapters are the members: all those of the first nodes, as when nodes die, or one of each node, as
// when a network fails. The second touches a page of the table for each member.
enum class Members { Of_Whole_Nodes, Of_One_Network };

// An adapter death or join (Hb_Client_Reply) of so many members, as a whole record with its length prefix.
std::vector<char> adapter_record(int kind, int count, Members members);

class Listener {
  public:
    Listener();
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    const std::string &path() const { return path_; }
    // The connection that a client has made.
    int accept_one() const;

  private:
    std::string path_;
    int fd_;
};

// A plain client's connection with the library's buffer sizes.
int connect_plainly(const std::string &path);

// Puts the record into the connection; false when the socket does not take that much.
bool feed(int connection, const std::vector<char> &record);

#endif
