// SPDX-License-Identifier: Apache-2.0
// Calls one handler as the dispatcher calls it, and checks the queue afterwards.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "providers/sim/simulated_service.h"
#include "tests/unit/tables/trace_spy.h"

namespace hb_test {

inline constexpr int DEATH = 1;
inline constexpr int JOIN = 2;
inline constexpr int CONFIG = 128;

// Every output is marked before the call, and the error number is 777.
class Handler_Call {
  public:
    static constexpr int NO_EVENTS = -77;
    static constexpr unsigned long NO_SEQUENCE = 77777;
    static constexpr int NO_ERROR_NUMBER = 777;

    Handler_Call();
    Hb_Rc run(ORBFSHandler *handler);

    bool group_is_untouched() const;
    bool header_is_untouched() const;       // type, cursor, events and status
    std::vector<int> nodes() const;         // the nodes that are set in the node list
    std::vector<unsigned> adapters() const; // the adapters whose slot is 0
    int node_count() const;
    int adapter_count() const;
    Hb_Incarnation slot(unsigned adapter) const;

    int events = NO_EVENTS;
    std::string name = "untouched";
    unsigned long sequence = NO_SEQUENCE;
    int error = NO_ERROR_NUMBER;
    int system_error = 0; // errno afterwards
    std::unique_ptr<Hb_Group> group;
};

// An event in the queue.
struct Queued {
    int events = 0;
    unsigned type = 0;
    int node = 0;
    int group_type = 0;
    std::vector<int> nodes;         // of a node group
    std::vector<unsigned> adapters; // of an adapter group
    int count = 0;                  // of its members

    bool operator==(const Queued &) const = default;
};
void PrintTo(const Queued &event, std::ostream *out);
std::vector<Queued> queued();
Queued queued_nodes(int events, const std::vector<int> &nodes);
Queued queued_adapters(int events, const std::vector<unsigned> &adapters);
Queued queued_marker();

// Appends an event made elsewhere to the queue.
MOX_Event *queue_event(int group_type, int events);

mox_sim::Event_Record node_record(qz_orb_event_type_t type, uint32_t node, uint64_t sequence = 5);
mox_sim::Event_Record adapter_record(qz_orb_event_type_t type, uint32_t node, const std::string &interface);

int state_of_node(int node);  // Hb_Entity_State, -1: not in the live table
int reason_of_node(int node); // Hb_Entity_State_Reason
int state_of_adapter(unsigned adapter);
void set_node(int node, Hb_Entity_State state, Hb_Entity_State_Reason reason);

// While an object exists, writing to the event pipe fails, and so does signalling.
class Mute_Event_Pipe {
  public:
    Mute_Event_Pipe();
    Mute_Event_Pipe(const Mute_Event_Pipe &) = delete;
    Mute_Event_Pipe &operator=(const Mute_Event_Pipe &) = delete;
    ~Mute_Event_Pipe();

  private:
    int writing_;
};

// Allocations of this many bytes or more are events of the library: no other record is as large.
inline constexpr std::size_t SIZE_OF_AN_EVENT = 390000;

// The ids that the spy has kept.
std::vector<uint32_t> traced_ids(const Trace_Spy &spy);
const Trace_Record *traced(const Trace_Spy &spy, uint32_t id); // the first one, or null

} // namespace hb_test
