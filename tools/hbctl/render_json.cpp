#include "tools/hbctl/render_json.h"

#include <algorithm>
#include <cstdint>

#include <nlohmann/json.hpp>

#include "common/printable.h"
#include "tools/hbctl/event_names.h"
#include "tools/hbctl/plain_text.h"

namespace hbctl {
namespace {

using Json = nlohmann::ordered_json;

// Texts from the daemon may be invalid UTF-8.
std::string dump(const Json &object) {
    return terminal::printable_json(object.dump(-1, ' ', false, Json::error_handler_t::replace));
}

// Grows when a key is removed or changes its meaning; new keys keep it.
constexpr int FORMAT = 1;

Json new_line() {
    return {{"format", FORMAT}};
}

Json number_or_null(std::size_t number, bool known) {
    return known ? Json(number) : Json(nullptr);
}

void add_counts(Json &object, const Counts &counts) {
    object["nodes"] = counts.nodes;
    object["nodes_up"] = number_or_null(counts.nodes_up, counts.nodes_known);
    object["networks"] = counts.networks;
    object["adapters"] = counts.adapters;
    object["adapters_up"] = number_or_null(counts.adapters_up, counts.adapters_known);
    object["sites"] = counts.sites;
}

Json heartbeat_object(const Heartbeat &heartbeat) {
    Json object;
    object["enabled"] = heartbeat.enabled;
    object["threshold_seconds"] = heartbeat.threshold_seconds;
    object["threshold_microseconds"] = heartbeat.threshold_microseconds;
    object["daemon_pid"] = heartbeat.daemon_pid;
    return object;
}

void add_status(Json &object, const Status_Report &report) {
    object["socket"] = report.socket;
    object["local_node"] = report.local_node;
    add_counts(object, report.counts);
}

void add_daemon(Json &object, const Status_Report &report) {
    const std::optional<common::Cluster_File> &file = report.daemon;
    object["cluster"] = file ? Json(file->cluster) : Json(nullptr);
    object["version"] = file ? Json(file->version) : Json(nullptr);
    object["started"] = file ? Json(utc_text(file->started)) : Json(nullptr);
    object["uptime_seconds"] = nullptr;
    if (file) {
        const auto uptime = std::chrono::floor<std::chrono::seconds>(report.now - file->started);
        object["uptime_seconds"] = std::max<std::int64_t>(0, uptime.count());
    }
    object["engine"] = file ? Json(file->engine) : Json(nullptr);
}

Json nullable_number(int number) {
    return number < 0 ? Json(nullptr) : Json(number);
}

Json nullable_text(const std::string &text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json member_object(const Adapter_Member &adapter) {
    Json object;
    object["adapter"] = adapter.number;
    object["incarnation"] = adapter.incarnation;
    object["removed"] = adapter.removed;
    object["node"] = nullable_number(adapter.node);
    object["network"] = nullable_number(adapter.network);
    object["network_name"] = nullable_text(adapter.network_name);
    object["address"] = nullable_text(adapter.address);
    object["type"] = nullable_text(adapter.type);
    object["name"] = nullable_text(adapter.name);
    return object;
}

Json site_object(const Site_Side &side) {
    Json object;
    object["site"] = side.site;
    object["node"] = side.node;
    if (side.nodes_up) {
        object["nodes_up"] = *side.nodes_up;
    }
    return object;
}

void add_members(Json &object, const Event_Record &event) {
    object["nodes"] = Json::array();
    for (const Node_Member &node : event.nodes) {
        object["nodes"].push_back(node.number);
    }
    object["adapters"] = Json::array();
    for (const Adapter_Member &adapter : event.adapters) {
        object["adapters"].push_back(member_object(adapter));
    }
}

void add_names(Json &object, const Event_Record &event) {
    object["node_names"] = Json::array();
    for (const Node_Member &node : event.nodes) {
        object["node_names"].push_back(nullable_text(node.name));
    }
}

void add_group_facts(Json &object, const Event_Record &event) {
    if (event.stable) {
        object["stable"] = *event.stable;
    }
    if (event.adapter_group) {
        object["leader"] = event.adapter_group->leader;
        object["incarnation"] = event.adapter_group->incarnation;
    }
    if (!event.ffdc_id.empty()) {
        object["ffdc_id"] = event.ffdc_id;
    }
}

void add_other_facts(Json &object, const Event_Record &event) {
    if (event.foreign) {
        object["address"] = event.foreign->address;
        object["instance"] = event.foreign->instance;
    }
    if (event.heartbeat) {
        object["heartbeat"] = heartbeat_object(*event.heartbeat);
    }
    if (event.sites) {
        object["local_site"] = site_object(event.sites->local);
        object["remote_site"] = site_object(event.sites->remote);
    }
    if (event.counts) {
        add_counts(object["counts"], *event.counts);
    }
}

Json security_object(const Security_State &state) {
    Json object;
    object["on"] = state.on;
    object["keys"] = state.keys;
    object["signs"] = state.signs;
    object["authenticates"] = state.authenticates;
    object["klom_compatible"] = state.klom_compatible;
    return object;
}

Json key_object(const Key_Row &key) {
    Json object;
    object["key"] = key.role;
    object["type"] = key.present ? Json(key_type_name(key.type)) : Json(nullptr);
    object["version"] = key.present ? Json(key.version) : Json(nullptr);
    object["bytes"] = key.present ? Json(key.length) : Json(nullptr);
    return object;
}

void add_operand(Json &object, const Control_Request &request, Operand operand) {
    switch (operand) {
    case Operand::node:
        object["node"] = request.node.number;
        break;
    case Operand::adapter:
        object["adapter"] = request.adapter.number;
        break;
    case Operand::address:
        object["address"] = request.address;
        break;
    case Operand::seconds:
        object["seconds"] = request.seconds;
        break;
    case Operand::sequence:
        object["sequence"] = request.sequence;
        break;
    case Operand::on_off:
        object["on"] = request.on;
        break;
    case Operand::interface:
        object["interface"] = nullable_text(request.interface);
        break;
    }
}

const char *agreement_name(Agreement agreement) {
    switch (agreement) {
    case Agreement::agrees:
        return "agrees";
    case Agreement::differs:
        return "differs";
    case Agreement::not_compared:
        break;
    }
    return "not-compared";
}

void add_obstacle(Json &object, const Preparation &preparation) {
    object["error"] = preparation.error ? Json(*preparation.error) : Json(nullptr);
    object["reason"] = preparation.succeeded() ? Json(nullptr) : Json(obstacle_text(preparation));
}

} // namespace

Lines migration_json(const Migration_Report &report) {
    Json object = new_line();
    object["possible"] = report.preparation.succeeded();
    object["service"] = service_answers(report);
    object["local_node"] = agreement_name(local_node_agreement(report));
    object["nodes"] = agreement_name(nodes_agreement(report));
    add_obstacle(object, report.preparation);
    return {dump(object)};
}

std::string migration_step_json(Wall_Time time, const std::string &step, const Preparation &preparation) {
    Json object = new_line();
    object["time"] = utc_text(time);
    object["event"] = "migration";
    object["step"] = step;
    add_obstacle(object, preparation);
    return dump(object);
}

Lines status_json(const Status_Report &report) {
    Json object = new_line();
    add_status(object, report);
    object["heartbeat"] = report.heartbeat ? heartbeat_object(*report.heartbeat) : Json(nullptr);
    object["local_name"] = nullable_text(report.local_name);
    add_daemon(object, report);
    return {dump(object)};
}

Lines nodes_json(const Picture &picture) {
    Lines lines;
    for (const Node_Row &row : picture.nodes) {
        Json object = new_line();
        object["node"] = row.number;
        object["state"] = liveness_name(row.state);
        object["local"] = row.local;
        object["adapters"] = row.adapters;
        object["name"] = nullable_text(row.name);
        lines.push_back(dump(object));
    }
    return lines;
}

Lines networks_json(const Picture &picture) {
    Lines lines;
    for (const Network_Row &row : picture.networks) {
        Json object = new_line();
        object["network"] = row.number;
        object["name"] = row.name;
        object["type"] = row.type;
        object["adapters"] = row.adapters.size();
        const auto up = adapters_up(row, picture);
        object["adapters_up"] = number_or_null(up.value_or(0), up.has_value());
        lines.push_back(dump(object));
    }
    return lines;
}

Lines adapters_json(const Picture &picture) {
    Lines lines;
    for (const Adapter_Row &row : picture.adapters) {
        const Network_Row *network = picture.network(row.network);
        Json object = new_line();
        object["adapter"] = row.number;
        object["node"] = row.node;
        object["network"] = nullable_number(row.network);
        object["network_name"] = network == nullptr ? Json(nullptr) : Json(network->name);
        object["address"] = row.address;
        object["type"] = row.type;
        object["state"] = liveness_name(row.state);
        object["name"] = nullable_text(row.name);
        lines.push_back(dump(object));
    }
    return lines;
}

Lines sites_json(const Picture &picture) {
    Lines lines;
    for (const unsigned site : picture.sites) {
        Json object = new_line();
        object["site"] = site;
        lines.push_back(dump(object));
    }
    return lines;
}

Lines route_json(const Route_Report &report) {
    Json object = new_line();
    object["node"] = report.node;
    object["shared"] = report.shared;
    object["hops"] = report.hops;
    object["name"] = nullable_text(report.name);
    return {dump(object)};
}

Lines keys_json(const Key_Report &report) {
    Json object = new_line();
    object["generation"] = report.generation;
    object["current"] = security_object(report.current);
    object["previous"] = security_object(report.previous);
    object["cached"] = report.cached;
    object["keys"] = Json::array();
    for (const Key_Row &key : report.keys) {
        object["keys"].push_back(key_object(key));
    }
    return {dump(object)};
}

Lines adapter_states_json(const std::vector<Adapter_State_Row> &rows) {
    Lines lines;
    for (const Adapter_State_Row &row : rows) {
        Json object = new_line();
        object["adapter"] = row.adapter;
        object["state"] = entity_state_name(row.state);
        object["name"] = nullable_text(row.name);
        lines.push_back(dump(object));
    }
    return lines;
}

std::string wait_json(const Wait_Condition &condition) {
    Json object = new_line();
    switch (condition.subject) {
    case Wait_Subject::node:
        object["node"] = condition.number;
        break;
    case Wait_Subject::adapter:
        object["adapter"] = condition.number;
        break;
    case Wait_Subject::nodes:
        object["nodes_at_least"] = condition.number;
        break;
    case Wait_Subject::daemon:
        object["daemon"] = true;
        break;
    }
    object["state"] = condition.up ? "up" : "down";
    return dump(object);
}

std::string control_json(const Control_Request &request, Request_Result result) {
    const Control_Form &form = form_of(request.verb);
    Json object = new_line();
    object["request"] = form.name;
    for (const Operand operand : form.operands) {
        add_operand(object, request, operand);
    }
    object["result"] = result_word(result);
    return dump(object);
}

std::string multicast_json(const Multicast_Request &request, std::size_t bytes, Request_Result result) {
    Json object = new_line();
    object["request"] = "multicast";
    object["port"] = request.port;
    object["nodes"] = Json::array();
    for (const Member_Word &node : request.nodes) {
        object["nodes"].push_back(node.number);
    }
    object["bytes"] = bytes;
    object["result"] = result_word(result);
    return dump(object);
}

std::string event_json(const Event_Record &event) {
    Json object = new_line();
    object["seq"] = event.sequence;
    object["time"] = utc_text(event.time);
    object["event"] = event_name(event.kind);
    object["subscription"] = event.subscription;
    object["group"] = member_kind_name(event.member_kind);
    add_members(object, event);
    add_group_facts(object, event);
    add_other_facts(object, event);
    add_names(object, event);
    return dump(object);
}

std::string disconnected_json(Wall_Time time, const std::string &socket) {
    Json object = new_line();
    object["time"] = utc_text(time);
    object["event"] = "disconnected";
    object["socket"] = socket;
    return dump(object);
}

std::string reconnected_json(Wall_Time time, const Status_Report &report) {
    Json object = new_line();
    object["time"] = utc_text(time);
    object["event"] = "reconnected";
    add_status(object, report);
    return dump(object);
}

} // namespace hbctl
