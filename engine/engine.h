// The Corosync engine of this node, as one who follows it needs it.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "engine/engine_view.h"

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

// A connection that stands from its construction on.
class Engine {
  public:
    Engine() = default;
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    virtual ~Engine() = default;

    // To be waited on for reading; they stay the connection's.
    virtual std::vector<int> descriptors() const = 0;
    // Reads what there is, without waiting. Throws Engine_Gone, as do all that follow.
    virtual Engine_News dispatch() = 0;

    virtual Engine_Configuration configuration() = 0;
    // As they were told last. Asks nothing: the engine is slow to answer while it forms a membership, and who is to
    // be told of it must not wait for that. How often one has joined is counted from what was told, therefore.
    virtual Engine_Members members() = 0;
    // The same, with what the engine itself counts.
    virtual Engine_Members count_joins() = 0;
    // Has to be asked for again and again: the engine tells of its links late.
    virtual Engine_Links links(const Engine_Configuration &of) = 0;
};

// Makes the connection; throws Engine_Gone.
using Engine_Connect = std::function<std::unique_ptr<Engine>()>;

} // namespace wispd
