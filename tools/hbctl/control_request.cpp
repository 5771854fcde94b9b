#include "tools/hbctl/control_request.h"

#include <algorithm>

namespace hbctl {
namespace {

std::string operand_text(const Control_Request &request, Operand operand) {
    switch (operand) {
    case Operand::node:
        return word_text(request.node);
    case Operand::adapter:
        return word_text(request.adapter);
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

const std::vector<Control_Form> &control_forms() {
    static const std::vector<Control_Form> forms{
        {Control_Verb::node_down, "node-down", "Report a node down; it dies at once", {Operand::node}, false},
        {Control_Verb::node_may_be_down,
         "node-may-be-down",
         "Report that a node may be down; it dies unless it shows a sign of life in time",
         {Operand::node},
         false},
        {Control_Verb::adapter_down,
         "adapter-down",
         "Report an adapter down; it dies at once",
         {Operand::adapter},
         false},
        {Control_Verb::adapter_may_be_down,
         "adapter-may-be-down",
         "Report that an adapter may be down; it dies unless it shows a sign of life in time",
         {Operand::adapter},
         false},
        {Control_Verb::enable,
         "enable",
         "Enable heartbeats on an adapter of this node",
         {Operand::adapter},
         false,
         true},
        {Control_Verb::disable,
         "disable",
         "Disable heartbeats on an adapter of this node; it is down until it is enabled",
         {Operand::adapter},
         false,
         true},
        {Control_Verb::ifconfig_up,
         "ifconfig-up",
         "Report that the interface of an adapter of this node is up",
         {Operand::adapter},
         false,
         true},
        {Control_Verb::ifconfig_down,
         "ifconfig-down",
         "Report that the interface of an adapter of this node is down",
         {Operand::adapter},
         false,
         true},
        {Control_Verb::configure,
         "configure",
         "Set the IPv4 address of an adapter of this node",
         {Operand::adapter, Operand::address},
         true,
         true},
        {Control_Verb::unconfigure,
         "unconfigure",
         "Remove the address of an adapter of this node",
         {Operand::adapter},
         true,
         true},
        {Control_Verb::swap,
         "swap",
         "Exchange the address of an adapter of this node with the adapter that has ADDRESS",
         {Operand::adapter, Operand::address},
         true,
         true},
        {Control_Verb::grace,
         "grace",
         "Do not suspect an adapter of this node for SECONDS",
         {Operand::adapter, Operand::seconds},
         true,
         true},
        {Control_Verb::simulate_death,
         "simulate-death",
         "Test hook: let this node die and rejoin, as after a sleep of SECONDS",
         {Operand::seconds},
         false},
        {Control_Verb::discard_stale,
         "discard-stale",
         "Discard stale messages in the daemon, or keep them",
         {Operand::on_off},
         false},
        {Control_Verb::client_heartbeat,
         "client-heartbeat",
         "Send a client heartbeat with this sequence number",
         {Operand::sequence},
         false},
        {Control_Verb::manual_control,
         "manual-control",
         "Put a network interface module under manual control, or release it (default: all modules)",
         {Operand::on_off, Operand::interface},
         false},
        {Control_Verb::shutdown, "shutdown", "Stop the daemon after its configured delay", {}, false},
    };
    return forms;
}

const Control_Form &form_of(Control_Verb verb) {
    return *std::find_if(control_forms().begin(), control_forms().end(),
                         [verb](const Control_Form &form) { return form.verb == verb; });
}

std::string request_text(const Control_Request &request) {
    const Control_Form &form = form_of(request.verb);
    std::string text = form.name;
    for (Operand operand : form.operands) {
        const std::string word = operand_text(request, operand);
        if (!word.empty()) {
            text += " " + word;
        }
    }
    return text;
}

std::string request_purpose(const Control_Request &request) {
    const std::string node = "node " + word_text(request.node);
    const std::string adapter = "adapter " + word_text(request.adapter);
    const std::string seconds = std::to_string(request.seconds) + " s";
    switch (request.verb) {
    case Control_Verb::node_may_be_down:
        return "report that " + node + " may be down";
    case Control_Verb::node_down:
        return "report that " + node + " is down";
    case Control_Verb::adapter_may_be_down:
        return "report that " + adapter + " may be down";
    case Control_Verb::adapter_down:
        return "report that " + adapter + " is down";
    case Control_Verb::enable:
        return "enable " + adapter;
    case Control_Verb::disable:
        return "disable " + adapter;
    case Control_Verb::ifconfig_up:
        return "report that the interface of " + adapter + " is up";
    case Control_Verb::ifconfig_down:
        return "report that the interface of " + adapter + " is down";
    case Control_Verb::configure:
        return "set the address of " + adapter + " to " + request.address;
    case Control_Verb::unconfigure:
        return "remove the address of " + adapter;
    case Control_Verb::swap:
        return "exchange the address of " + adapter + " with the adapter that has " + request.address;
    case Control_Verb::grace:
        return "set a grace of " + seconds + " for " + adapter;
    case Control_Verb::simulate_death:
        return "simulate the death of this node for " + seconds;
    case Control_Verb::discard_stale:
        return std::string(request.on ? "discard" : "keep") + " stale messages";
    case Control_Verb::client_heartbeat:
        return "send a client heartbeat";
    case Control_Verb::manual_control: {
        const std::string what =
            request.interface.empty() ? "all interfaces" : "interface " + request.interface;
        return request.on ? "put " + what + " under manual control"
                          : "release " + what + " from manual control";
    }
    case Control_Verb::shutdown:
        return "stop the daemon";
    }
    return "";
}

} // namespace hbctl
