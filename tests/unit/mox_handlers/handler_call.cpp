// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/mox_handlers/handler_call.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <ostream>
#include <unistd.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/bytes.h"

namespace hb_test {
namespace {

constexpr unsigned char MARK = 0x5A;
constexpr std::size_t HEADER_SIZE = 16;

std::vector<int> nodes_of(const Hb_Group &group) {
    std::vector<int> nodes;
    for (int node = 0; node < 2049; ++node) {
        if (group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_node_list[node] == 1) {
            nodes.push_back(node);
        }
    }
    return nodes;
}

std::vector<unsigned> adapters_of(const Hb_Group &group) {
    std::vector<unsigned> adapters;
    for (unsigned adapter = 0; adapter < 98352; ++adapter) {
        if (group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[adapter] == 0) {
            adapters.push_back(adapter);
        }
    }
    return adapters;
}

bool all_marked(const Bytes &bytes) {
    return bytes == Bytes().fill(bytes.size(), MARK);
}

} // namespace

Handler_Call::Handler_Call() : group(new Hb_Group) {
    std::memset(group.get(), MARK, sizeof *group);
}

Hb_Rc Handler_Call::run(ORBFSHandler *handler) {
    char text[48] = {};
    name.copy(text, sizeof text - 1);
    set_hb_errno(NO_ERROR_NUMBER);
    errno = 0;
    const Hb_Rc result = handler->handler(&events, text, group.get(), &sequence);
    system_error = errno;
    error = hb_get_errno();
    name = text;
    return result;
}

bool Handler_Call::group_is_untouched() const {
    return all_marked(bytes_of(*group));
}

bool Handler_Call::header_is_untouched() const {
    return all_marked(bytes_of(group.get(), HEADER_SIZE));
}

std::vector<int> Handler_Call::nodes() const {
    return nodes_of(*group);
}

std::vector<unsigned> Handler_Call::adapters() const {
    return adapters_of(*group);
}

int Handler_Call::node_count() const {
    return group->Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes;
}

int Handler_Call::adapter_count() const {
    return group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters;
}

Hb_Incarnation Handler_Call::slot(unsigned adapter) const {
    return group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list[adapter];
}

void PrintTo(const Queued &event, std::ostream *out) {
    *out << "events " << event.events << " type " << event.type << " node " << event.node << " group type "
         << event.group_type << " count " << event.count << " nodes";
    for (const int node : event.nodes) {
        *out << " " << node;
    }
    *out << " adapters";
    for (const unsigned adapter : event.adapters) {
        *out << " " << adapter;
    }
}

std::vector<Queued> queued() {
    std::vector<Queued> all;
    for (const MOX_Event *ev = event_queue_list; ev != nullptr; ev = ev->next) {
        Queued one{ev->group.Hb_events, ev->type, ev->node_num, ev->group.Hb_group_type, {}, {}, 0};
        if (one.group_type == 0) {
            one.nodes = nodes_of(ev->group);
            one.count = ev->group.Hb_membership_grp_union.Hb_node_membership_grp.Hb_num_nodes;
        } else if (one.group_type == 1) {
            one.adapters = adapters_of(ev->group);
            one.count = ev->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters;
        }
        all.push_back(one);
    }
    return all;
}

Queued queued_nodes(int events, const std::vector<int> &nodes) {
    return {events, 0, 0, 0, nodes, {}, static_cast<int>(nodes.size())};
}

Queued queued_adapters(int events, const std::vector<unsigned> &adapters) {
    return {events, 0, 0, 1, {}, adapters, static_cast<int>(adapters.size())};
}

Queued queued_marker() {
    return {CONFIG, 0, 0, 3, {}, {}, 0};
}

MOX_Event *queue_event(int group_type, int events) {
    auto *ev = new MOX_Event();
    ev->group.Hb_group_type = group_type;
    ev->group.Hb_events = events;
    MOX_add_event_at_end(ev);
    return ev;
}

mox_sim::Event_Record node_record(qz_orb_event_type_t type, uint32_t node, uint64_t sequence) {
    mox_sim::Event_Record record;
    record.type = type;
    record.node = node;
    record.sequence = sequence;
    return record;
}

mox_sim::Event_Record adapter_record(qz_orb_event_type_t type, uint32_t node, const std::string &interface) {
    mox_sim::Event_Record record = node_record(type, node);
    record.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    record.name = interface;
    return record;
}

int state_of_node(int node) {
    const Hb_Node_Entry *entry = hb_find_node(global_config_tbl, node);
    return entry != nullptr ? entry->state : -1;
}

int reason_of_node(int node) {
    const Hb_Node_Entry *entry = hb_find_node(global_config_tbl, node);
    return entry != nullptr ? entry->reason : -1;
}

int state_of_adapter(unsigned adapter) {
    return hb_get_adap_entry(adapter)->Hb_state;
}

void set_node(int node, Hb_Entity_State state, Hb_Entity_State_Reason reason) {
    Hb_Node_Entry *entry = hb_find_node(global_config_tbl, node);
    entry->state = state;
    entry->reason = reason;
}

Mute_Event_Pipe::Mute_Event_Pipe() : writing_(event_pipe_handler_p->orbfs_pipe_write_fd) {
    event_pipe_handler_p->orbfs_pipe_write_fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
}

Mute_Event_Pipe::~Mute_Event_Pipe() {
    close(event_pipe_handler_p->orbfs_pipe_write_fd);
    event_pipe_handler_p->orbfs_pipe_write_fd = writing_;
}

std::vector<uint32_t> traced_ids(const Trace_Spy &spy) {
    std::vector<uint32_t> ids;
    for (const Trace_Record &record : spy.records()) {
        ids.push_back(record.id);
    }
    return ids;
}

const Trace_Record *traced(const Trace_Spy &spy, uint32_t id) {
    for (const Trace_Record &record : spy.records()) {
        if (record.id == id) {
            return &record;
        }
    }
    return nullptr;
}

} // namespace hb_test
