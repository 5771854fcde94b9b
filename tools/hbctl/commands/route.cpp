#include <algorithm>

#include "common/ip_address.h"
#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/configured.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

Hb_Rc ask(const Route_Query &query, int number, Hb_Route &route, std::uint16_t &length) {
    const auto node = static_cast<Hb_Node_Number>(number);
    if (query.ip_only) {
        return hb_read_ip_route(node, &route, &length);
    }
    return query.shared ? hb_read_route(node, &route, &length) : hb_get_route(node, &route, &length);
}

Route_Report read_route(const Route_Query &query) {
    open_library();
    const Picture picture = read_picture();
    auto node = static_cast<int>(query.node.number);
    const bool from_memory = query.shared || query.ip_only;
    if (!from_memory ||
        !query.node.name.empty()) { // shared memory has routes to nodes that are not configured, too
        node = find_node(query.node, picture);
    }
    Hb_Route route{};
    std::uint16_t length = 0;
    require(ask(query, node, route, length), "read the route to node " + word_text(query.node));
    const Node_Row *row = picture.node(node);
    Route_Report report{node, from_memory, {}, row == nullptr ? "" : row->name};
    for (int hop = 0; hop < std::min<int>(length, HB_ROUTE_HOPS); ++hop) {
        report.hops.push_back(common::address_text(route.sr_address[hop]));
    }
    return report;
}

} // namespace

int show_route(const Arguments &arguments) {
    const Route_Report report = ask_daemon(arguments, [&] { return read_route(arguments.control.route); });
    put_lines(arguments.json ? route_json(report) : route_text(report));
    return STATUS_SUCCESS;
}

} // namespace hbctl
