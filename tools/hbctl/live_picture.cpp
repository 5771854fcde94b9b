// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/live_picture.h"

#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/event_stream.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/subscription.h"

namespace hbctl {
namespace {

constexpr std::chrono::seconds PATIENCE{5};

void subscribe_for_states() {
    Subscription nodes({"hbctl-nodes", Selection::all_nodes, {}, "", HB_EVENT_NEW_GROUP | HB_EVENT_HEARTBEAT});
    nodes.ask();
    Subscription adapters({"hbctl-adapters", Selection::all_adapters, {}, "", HB_EVENT_NEW_GROUP});
    adapters.ask();
}

} // namespace

Live_Picture read_live_picture() {
    open_library();
    Live_Picture live;
    live.picture = read_picture();
    Event_Stream stream;
    stream.attach();
    subscribe_for_states();

    const Deadline deadline = deadline_after(PATIENCE);
    bool nodes_received = false;
    bool adapters_received = false;
    while (!nodes_received || !adapters_received) {
        Event_Record event;
        const Arrival arrival = stream.next(-1, deadline, live.picture, event);
        if (arrival == Arrival::time_over) {
            complain("the daemon at " + common::socket_path_from_environment() +
                     " did not report which nodes and adapters are up within " +
                     std::to_string(PATIENCE.count()) + " seconds");
            break;
        }
        if (arrival == Arrival::lost) {
            throw Request_Failed(failure_line("learn which nodes and adapters are up from the daemon at " +
                                                  common::socket_path_from_environment(),
                                              HB_ERROR_DISCONNECTED),
                                 HB_ERROR_DISCONNECTED);
        }
        if (arrival == Arrival::output_closed) {
            throw Output_Closed{};
        }
        if (event.kind == HB_EVENT_NEW_GROUP) {
            nodes_received = nodes_received || event.member_kind == Member_Kind::nodes;
            adapters_received = adapters_received || event.member_kind == Member_Kind::adapters;
        }
        if (event.heartbeat) {
            live.heartbeat = event.heartbeat;
        }
    }
    return live;
}

} // namespace hbctl
