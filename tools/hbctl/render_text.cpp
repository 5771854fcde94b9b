// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/render_text.h"

#include <algorithm>

#include "common/heartbeat_words.h"
#include "common/printable.h"
#include "hb_client.h"
#include "tools/hbctl/event_names.h"
#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/table_columns.h"
#include "tools/hbctl/text_table.h"
#include "tools/hbctl/text_width.h"

namespace hbctl {
namespace {

constexpr std::size_t SEQUENCE_WIDTH = 6;
constexpr std::size_t DATE_WIDTH = 10;
constexpr std::size_t TIME_WIDTH = 12;
constexpr std::size_t KIND_WIDTH = 14;

// A longer list of members is printed as numbers only.
constexpr std::size_t MOST_DESCRIBED = 8;

std::string or_dash(const std::string &text) {
    return text.empty() ? "-" : text;
}

std::string joined(const std::vector<std::string> &parts, const std::string &separator) {
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

std::string local_text(bool is_local) {
    return is_local ? "yes" : "-";
}

std::string up_text(std::size_t up, bool known) {
    return known ? std::to_string(up) : "?";
}

std::string configured_and_up(std::size_t configured, std::size_t up, bool known) {
    return std::to_string(configured) + " configured, " + up_text(up, known) + " up";
}

std::string heartbeat_text(const Heartbeat &heartbeat) {
    return common::heartbeat_words(heartbeat.enabled, heartbeat.threshold_seconds,
                                   heartbeat.threshold_microseconds) +
           ", daemon process " + std::to_string(heartbeat.daemon_pid);
}

std::string describe(const Node_Member &node) {
    std::vector<std::string> facts = node.addresses;
    if (!node.name.empty()) {
        facts.insert(facts.begin(), node.name);
    }
    const std::string number = std::to_string(node.number);
    return facts.empty() ? number : number + " (" + joined(facts, ", ") + ")";
}

std::string describe(const Adapter_Member &adapter) {
    std::vector<std::string> facts;
    if (!adapter.name.empty()) {
        facts.push_back(adapter.name);
    }
    if (!adapter.address.empty()) {
        facts.push_back(adapter.address);
    }
    if (!adapter.type.empty()) {
        facts.push_back(adapter.type);
    }
    if (adapter.name.empty() && !adapter.network_name.empty()) {
        facts.push_back("on " + adapter.network_name);
    }
    if (adapter.name.empty() && adapter.node >= 0) {
        facts.push_back("of node " + std::to_string(adapter.node));
    }
    std::string text = std::to_string(adapter.number);
    if (!facts.empty()) {
        text += " (" + joined(facts, " ") + ")";
    }
    return text;
}

template <typename Member> std::string name_or_number(const Member &member) {
    return member.name.empty() ? std::to_string(member.number) : member.name;
}

// How much a line says of each member.
enum class Description { numbers, names, facts };

template <typename Member>
std::string members_text(const std::vector<Member> &members, const std::string &noun, Description description) {
    if (members.empty()) {
        return "no " + noun + "s";
    }
    if (description != Description::numbers && members.size() <= MOST_DESCRIBED) {
        std::vector<std::string> parts;
        for (const Member &member : members) {
            parts.push_back(description == Description::facts ? describe(member) : name_or_number(member));
        }
        return noun + (members.size() == 1 ? " " : "s ") + joined(parts, ", ");
    }
    std::vector<std::uint32_t> numbers;
    for (const Member &member : members) {
        numbers.push_back(static_cast<std::uint32_t>(member.number));
    }
    return counted(members.size(), noun) + ": " + number_ranges(numbers);
}

// Returns an empty text if no member died because of a removal.
std::string removal_text(const std::vector<Adapter_Member> &adapters) {
    std::vector<std::uint32_t> removed;
    for (const Adapter_Member &adapter : adapters) {
        if (adapter.removed) {
            removed.push_back(adapter.number);
        }
    }
    if (removed.empty()) {
        return "";
    }
    const std::string text = "; removed from the configuration";
    return removed.size() == adapters.size() ? text : text + ": " + number_ranges(removed);
}

std::string membership_text(const Event_Record &event, bool is_short) {
    const Description description = event.kind == HB_EVENT_NEW_GROUP ? Description::numbers
                                    : is_short                       ? Description::names
                                                                     : Description::facts;
    std::string text;
    if (event.member_kind == Member_Kind::nodes) {
        text = members_text(event.nodes, "node", description);
    } else if (event.member_kind == Member_Kind::adapters) {
        text = members_text(event.adapters, "adapter", description) + removal_text(event.adapters);
    }
    if (event.adapter_group) {
        text += "; leader " + std::to_string(event.adapter_group->leader) + ", incarnation " +
                std::to_string(event.adapter_group->incarnation);
    }
    if (event.stable) {
        text += *event.stable ? "; stable" : "; unstable";
    }
    if (!event.ffdc_id.empty()) {
        text += "; failure identifier " + event.ffdc_id;
    }
    return text;
}

std::string site_side_text(const std::string &which, const Site_Side &side) {
    std::string text =
        which + " site " + std::to_string(side.site) + " (reported by node " + std::to_string(side.node);
    if (side.nodes_up) {
        text += ", " + counted(*side.nodes_up, "node") + " up";
    }
    return text + ")";
}

std::string sites_event_text(const Site_Pair &sites, bool split) {
    return site_side_text("local", sites.local) + " and " + site_side_text("remote", sites.remote) +
           (split ? " lost contact" : " regained contact");
}

std::string detail_text(const Event_Record &event, bool is_short) {
    if (event.counts) {
        return "now " + counts_text(*event.counts);
    }
    if (event.heartbeat) {
        return heartbeat_text(*event.heartbeat);
    }
    if (event.foreign) {
        return event.foreign->address + " uses configuration instance " +
               std::to_string(event.foreign->instance);
    }
    if (event.sites) {
        return sites_event_text(*event.sites, event.kind == HB_EVENT_SITE_SPLIT);
    }
    if (event.kind == HB_EVENT_FFDC) {
        return event.ffdc_id.empty() ? "no identifier" : event.ffdc_id;
    }
    return membership_text(event, is_short);
}

std::string kind_text(const Event_Record &event) {
    const std::string who = event.member_kind == Member_Kind::nodes      ? "node "
                            : event.member_kind == Member_Kind::adapters ? "adapter "
                                                                         : "";
    switch (event.kind) {
    case HB_EVENT_DEATH:
        return who + "death";
    case HB_EVENT_JOIN:
        return who + "join";
    case HB_EVENT_NEW_GROUP:
        return who + "group";
    case HB_EVENT_FFDC:
        return "failure";
    case HB_EVENT_SITE_SPLIT:
        return "site split";
    case HB_EVENT_SITE_MERGE:
        return "site merge";
    case HB_EVENT_DIFF_INSTANCE:
        return "other instance";
    default:
        return event_name(event.kind);
    }
}

std::string time_text(Wall_Time time, const Event_Style &style) {
    return (style.dates ? date_text(time) + " " : "") + clock_text(time);
}

std::string event_line(const std::string &sequence, const std::string &time, const std::string &kind,
                       const std::string &detail, const Event_Style &style) {
    const std::size_t time_width = style.dates ? DATE_WIDTH + 1 + TIME_WIDTH : TIME_WIDTH;
    std::string line = padded(sequence, SEQUENCE_WIDTH, Align::right) + "  " +
                       padded(time, time_width, Align::left) + "  " + padded(kind, KIND_WIDTH, Align::left) +
                       "  ";
    if (style.short_lines) {
        line += shortened(terminal::printable(detail), SHORT_LINE - width_of(line));
    } else {
        line += detail;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string security_text(const Security_State &state) {
    if (!state.on) {
        return "off";
    }
    return "on, " + counted(static_cast<std::size_t>(state.keys), "key") + ", the newest " +
           (state.signs ? "signs" : "does not sign") + " and " +
           (state.authenticates ? "authenticates" : "does not authenticate");
}

} // namespace

std::string counts_text(const Counts &counts) {
    std::string text = counted(counts.nodes, "node");
    if (counts.nodes_known) {
        text += " (" + std::to_string(counts.nodes_up) + " up)";
    }
    text += ", " + counted(counts.networks, "network") + ", " + counted(counts.adapters, "adapter");
    if (counts.adapters_known) {
        text += " (" + std::to_string(counts.adapters_up) + " up)";
    }
    if (counts.sites > 0) {
        text += ", " + counted(counts.sites, "site");
    }
    return text;
}

namespace {

std::string engine_text(const common::Cluster_File &file) {
    if (file.engine == "none") {
        return "none, a file describes the cluster";
    }
    const std::string name = file.engine_name.empty() ? "Corosync" : file.engine_name;
    return name + (file.engine == "silent" ? " does not respond" : " " + file.engine);
}

template <typename Fact> std::string known(const std::optional<common::Cluster_File> &file, const Fact &fact) {
    return file ? terminal::printable(fact(*file)) : "unknown";
}

} // namespace

Lines status_text(const Status_Report &report) {
    const Counts &counts = report.counts;
    return {
        "socket      " + terminal::printable(report.socket),
        "cluster     " + known(report.daemon, [](const auto &file) { return file.cluster; }),
        "version     " + known(report.daemon, [](const auto &file) { return file.version; }),
        "uptime      " +
            known(report.daemon, [&](const auto &file) { return duration_text(report.now - file.started); }),
        "engine      " + known(report.daemon, [](const auto &file) { return engine_text(file); }),
        "local node  " + std::to_string(report.local_node) +
            (report.local_name.empty() ? "" : " (" + report.local_name + ")"),
        "nodes       " + configured_and_up(counts.nodes, counts.nodes_up, counts.nodes_known),
        "networks    " + std::to_string(counts.networks) + " configured",
        "adapters    " + configured_and_up(counts.adapters, counts.adapters_up, counts.adapters_known),
        "sites       " + std::to_string(counts.sites) + " configured",
        "heartbeat   " + (report.heartbeat ? heartbeat_text(*report.heartbeat) : "not received yet"),
    };
}

Lines migration_text(const Migration_Report &report) {
    const bool possible = report.preparation.succeeded();
    const std::string nodes = std::to_string(report.nodes) + (report.nodes == 1 ? " node" : " nodes");
    const auto verdict = [](Agreement agreement, const std::string &agrees, const std::string &differs) {
        return agreement == Agreement::not_compared ? "not compared"
                                                    : (agreement == Agreement::agrees ? agrees : differs);
    };
    Lines lines{
        "cluster service  " + (service_answers(report) ? "answers" : obstacle_text(report.preparation)),
        "local node       " + verdict(local_node_agreement(report),
                                      "agrees: " + std::to_string(report.local_node),
                                      "differs: " + obstacle_text(report.preparation)),
        "nodes            " + verdict(nodes_agreement(report),
                                      "agree: the service knows all of the daemon's " + nodes,
                                      "differ: " + obstacle_text(report.preparation)),
        std::string("migration        ") + (possible ? "possible" : "not possible") + "; nothing was changed",
    };
    return lines;
}

Lines nodes_text(const Picture &picture, const Table_Style &style) {
    Text_Table table(node_columns());
    for (const Node_Row &row : picture.nodes) {
        std::vector<std::string> addresses;
        for (const std::uint32_t number : row.adapters) {
            const Adapter_Row *adapter = picture.adapter(number);
            if (adapter != nullptr) {
                addresses.push_back(adapter->address);
            }
        }
        table.add({std::to_string(row.number), or_dash(row.name), local_text(row.local),
                   liveness_name(row.state), or_dash(number_ranges(row.adapters)),
                   or_dash(joined(addresses, ", "))});
    }
    return table.lines(style);
}

Lines networks_text(const Picture &picture, const Table_Style &style) {
    Text_Table table(network_columns());
    for (const Network_Row &row : picture.networks) {
        const auto up = adapters_up(row, picture);
        table.add({std::to_string(row.number), row.name, or_dash(row.type), std::to_string(row.adapters.size()),
                   up_text(up.value_or(0), up.has_value())});
    }
    return table.lines(style);
}

Lines adapters_text(const Picture &picture, const Table_Style &style) {
    Text_Table table(adapter_columns());
    for (const Adapter_Row &row : picture.adapters) {
        const Network_Row *network = picture.network(row.network);
        table.add({std::to_string(row.number), or_dash(row.name), std::to_string(row.node),
                   network == nullptr ? "-" : network->name, row.address, or_dash(row.type),
                   local_text(row.node == picture.local_node), liveness_name(row.state)});
    }
    return table.lines(style);
}

Lines sites_text(const Picture &picture, const Table_Style &style) {
    if (picture.sites.empty()) {
        return {"no sites are configured"};
    }
    Text_Table table(site_columns());
    for (const unsigned site : picture.sites) {
        table.add({std::to_string(site)});
    }
    return table.lines(style);
}

Lines route_text(const Route_Report &report) {
    const std::string name = report.name.empty() ? "" : " (" + report.name + ")";
    Lines lines{"route to node " + std::to_string(report.node) + name + ": " +
                counted(report.hops.size(), "hop") + (report.shared ? ", from shared memory" : "")};
    Text_Table table({{"HOP", Align::right}, {"ADDRESS"}});
    for (std::size_t i = 0; i < report.hops.size(); ++i) {
        table.add({std::to_string(i + 1), report.hops[i]});
    }
    const Lines rows = table.lines();
    lines.insert(lines.end(), rows.begin(), rows.end());
    return lines;
}

Lines keys_text(const Key_Report &report) {
    Lines lines{"security    " + security_text(report.current), "before      " + security_text(report.previous),
                "generation  " + std::to_string(report.generation)};
    Text_Table table({{"KEY"}, {"TYPE"}, {"VERSION", Align::right}, {"BYTES", Align::right}});
    for (const Key_Row &key : report.keys) {
        if (key.present) {
            table.add(
                {key.role, key_type_name(key.type), std::to_string(key.version), std::to_string(key.length)});
        } else {
            table.add({key.role, "none", "-", "-"});
        }
    }
    const Lines rows = table.lines();
    lines.insert(lines.end(), rows.begin(), rows.end());
    return lines;
}

Lines adapter_states_text(const std::vector<Adapter_State_Row> &rows, const Table_Style &style) {
    if (rows.empty()) {
        return {"no adapters are configured on this node"};
    }
    Text_Table table(adapter_state_columns());
    for (const Adapter_State_Row &row : rows) {
        table.add({std::to_string(row.adapter), or_dash(row.name), entity_state_name(row.state)});
    }
    return table.lines(style);
}

std::string control_text(const Control_Request &request, Request_Result result) {
    return terminal::printable(request_text(request)) + ": " + result_text(result);
}

std::string multicast_text(const Multicast_Request &request, std::size_t bytes, Request_Result result) {
    return "multicast: " + counted(bytes, "byte") + " " + result_text(result) + " for port " +
           std::to_string(request.port) + " of " + counted(request.nodes.size(), "node");
}

std::string event_kind_text(const Event_Record &event) {
    return kind_text(event);
}

std::string event_detail_text(const Event_Record &event) {
    return detail_text(event, false);
}

std::string event_heading_text(const Event_Style &style) {
    return event_line("SEQ", "TIME", "EVENT", "WHAT", style);
}

std::string notice_text(Wall_Time time, const std::string &kind, const std::string &detail,
                        const Event_Style &style) {
    return event_line("-", time_text(time, style), kind, detail, style);
}

std::string event_text(const Event_Record &event, const Event_Style &style) {
    return event_line(std::to_string(event.sequence), time_text(event.time, style), kind_text(event),
                      detail_text(event, style.short_lines), style);
}

} // namespace hbctl
