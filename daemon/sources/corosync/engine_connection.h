// The connection to the Corosync engine of this node.
#ifndef WISPD_ENGINE_CONNECTION_H
#define WISPD_ENGINE_CONNECTION_H

#include <memory>
#include <stdexcept>
#include <vector>

#include "daemon/sources/corosync/engine_view.h"

namespace wispd {

// The engine does not run, has ended, or does not answer any more. The connection is good for nothing but its end.
class Engine_Gone : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What the engine has told since it was last asked.
struct Engine_News {
    bool membership = false;     // somebody joined or left
    bool configuration = false;  // a reload is done, whether it changed anything or not
    bool refused_reload = false; // a reload was refused: the configuration is what it was
};

class Engine_Connection {
  public:
    // Connects, and asks to be told what happens. Throws Engine_Gone.
    Engine_Connection();
    Engine_Connection(const Engine_Connection &) = delete;
    Engine_Connection &operator=(const Engine_Connection &) = delete;
    ~Engine_Connection();

    // To be waited on for reading; they stay the connection's.
    std::vector<int> descriptors() const;
    // Reads what there is, without waiting. Throws Engine_Gone.
    Engine_News dispatch();

    // All throw Engine_Gone. The links have to be asked for again and again: the engine tells of them late.
    Engine_Configuration configuration();
    Engine_Members members();
    Engine_Links links();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace wispd

#endif
