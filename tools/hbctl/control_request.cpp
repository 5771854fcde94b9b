#include "tools/hbctl/control_request.h"

#include <algorithm>

namespace hbctl {
namespace {

std::string operand_text(const ControlRequest &request, Operand operand) {
    switch (operand) {
    case Operand::node:
        return std::to_string(request.node);
    case Operand::adapter:
        return std::to_string(request.adapter);
    case Operand::address:
        return request.address;
    case Operand::seconds:
        return std::to_string(request.seconds);
    case Operand::sequence:
        return std::to_string(request.sequence);
    case Operand::on_off:
        return request.on ? "on" : "off";
    case Operand::interface:
        return request.interface;
    }
    return "";
}

} // namespace

const std::vector<ControlForm> &control_forms() {
    static const std::vector<ControlForm> forms{
        {ControlVerb::node_down, "node-down", "Report a node down; it dies at once", {Operand::node}, false},
        {ControlVerb::node_may_be_down,
         "node-may-be-down",
         "Report that a node may be down; it dies unless it shows a sign of life in time",
         {Operand::node},
         false},
        {ControlVerb::adapter_down,
         "adapter-down",
         "Report an adapter down; it dies at once",
         {Operand::adapter},
         false},
        {ControlVerb::adapter_may_be_down,
         "adapter-may-be-down",
         "Report that an adapter may be down; it dies unless it shows a sign of life in time",
         {Operand::adapter},
         false},
        {ControlVerb::enable,
         "enable",
         "Enable heartbeats on an adapter of this node",
         {Operand::adapter},
         false},
        {ControlVerb::disable,
         "disable",
         "Disable heartbeats on an adapter of this node; it is down until it is enabled",
         {Operand::adapter},
         false},
        {ControlVerb::ifconfig_up,
         "ifconfig-up",
         "Report that the interface of an adapter of this node is up",
         {Operand::adapter},
         false},
        {ControlVerb::ifconfig_down,
         "ifconfig-down",
         "Report that the interface of an adapter of this node is down",
         {Operand::adapter},
         false},
        {ControlVerb::configure,
         "configure",
         "Set the IPv4 address of an adapter of this node",
         {Operand::adapter, Operand::address},
         true},
        {ControlVerb::unconfigure,
         "unconfigure",
         "Remove the address of an adapter of this node",
         {Operand::adapter},
         true},
        {ControlVerb::swap,
         "swap",
         "Exchange the address of an adapter of this node with the adapter that has ADDRESS",
         {Operand::adapter, Operand::address},
         true},
        {ControlVerb::grace,
         "grace",
         "Do not suspect an adapter of this node for SECONDS",
         {Operand::adapter, Operand::seconds},
         true},
        {ControlVerb::simulate_death,
         "simulate-death",
         "Test hook: let this node die and rejoin, as after a sleep of SECONDS",
         {Operand::seconds},
         false},
        {ControlVerb::discard_stale,
         "discard-stale",
         "Discard stale messages in the daemon, or keep them",
         {Operand::on_off},
         false},
        {ControlVerb::client_heartbeat,
         "client-heartbeat",
         "Send a client heartbeat with this sequence number",
         {Operand::sequence},
         false},
        {ControlVerb::manual_control,
         "manual-control",
         "Put a network interface module under manual control, or release it (default: all modules)",
         {Operand::on_off, Operand::interface},
         false},
        {ControlVerb::shutdown, "shutdown", "Stop the daemon after its configured delay", {}, false},
    };
    return forms;
}

const ControlForm &form_of(ControlVerb verb) {
    return *std::find_if(control_forms().begin(), control_forms().end(),
                         [verb](const ControlForm &form) { return form.verb == verb; });
}

std::string request_text(const ControlRequest &request) {
    const ControlForm &form = form_of(request.verb);
    std::string text = form.name;
    for (Operand operand : form.operands) {
        const std::string word = operand_text(request, operand);
        if (!word.empty()) {
            text += " " + word;
        }
    }
    return text;
}

std::string request_purpose(const ControlRequest &request) {
    const std::string node = "node " + std::to_string(request.node);
    const std::string adapter = "adapter " + std::to_string(request.adapter);
    const std::string seconds = std::to_string(request.seconds) + " s";
    switch (request.verb) {
    case ControlVerb::node_may_be_down:
        return "report that " + node + " may be down";
    case ControlVerb::node_down:
        return "report that " + node + " is down";
    case ControlVerb::adapter_may_be_down:
        return "report that " + adapter + " may be down";
    case ControlVerb::adapter_down:
        return "report that " + adapter + " is down";
    case ControlVerb::enable:
        return "enable " + adapter;
    case ControlVerb::disable:
        return "disable " + adapter;
    case ControlVerb::ifconfig_up:
        return "report that the interface of " + adapter + " is up";
    case ControlVerb::ifconfig_down:
        return "report that the interface of " + adapter + " is down";
    case ControlVerb::configure:
        return "set the address of " + adapter + " to " + request.address;
    case ControlVerb::unconfigure:
        return "remove the address of " + adapter;
    case ControlVerb::swap:
        return "exchange the address of " + adapter + " with the adapter that has " + request.address;
    case ControlVerb::grace:
        return "set a grace of " + seconds + " for " + adapter;
    case ControlVerb::simulate_death:
        return "simulate the death of this node for " + seconds;
    case ControlVerb::discard_stale:
        return std::string(request.on ? "discard" : "keep") + " stale messages";
    case ControlVerb::client_heartbeat:
        return "send a client heartbeat";
    case ControlVerb::manual_control: {
        const std::string what =
            request.interface.empty() ? "all interfaces" : "interface " + request.interface;
        return request.on ? "put " + what + " under manual control"
                          : "release " + what + " from manual control";
    }
    case ControlVerb::shutdown:
        return "stop the daemon";
    }
    return "";
}

} // namespace hbctl
