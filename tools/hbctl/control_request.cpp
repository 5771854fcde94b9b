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
        {ControlVerb::node_down,
         "node-down",
         "Report that a node is down: it dies at once",
         {Operand::node},
         false},
        {ControlVerb::node_may_be_down,
         "node-may-be-down",
         "Report that a node may be down: it dies unless it shows life in time",
         {Operand::node},
         false},
        {ControlVerb::adapter_down,
         "adapter-down",
         "Report that an adapter is down: it dies at once",
         {Operand::adapter},
         false},
        {ControlVerb::adapter_may_be_down,
         "adapter-may-be-down",
         "Report that an adapter may be down: it dies unless it shows life in time",
         {Operand::adapter},
         false},
        {ControlVerb::enable,
         "enable",
         "Let an adapter of this node take part in heartbeats",
         {Operand::adapter},
         false},
        {ControlVerb::disable,
         "disable",
         "Keep an adapter of this node out of heartbeats: it is down until it is enabled",
         {Operand::adapter},
         false},
        {ControlVerb::ifconfig_up,
         "ifconfig-up",
         "Report that the interface of an adapter of this node was taken up",
         {Operand::adapter},
         false},
        {ControlVerb::ifconfig_down,
         "ifconfig-down",
         "Report that the interface of an adapter of this node was taken down",
         {Operand::adapter},
         false},
        {ControlVerb::configure,
         "configure",
         "Give an adapter of this node an IPv4 address",
         {Operand::adapter, Operand::address},
         true},
        {ControlVerb::unconfigure,
         "unconfigure",
         "Take the address of an adapter of this node away",
         {Operand::adapter},
         true},
        {ControlVerb::swap,
         "swap",
         "Exchange the addresses of an adapter of this node and of the one that has ADDRESS",
         {Operand::adapter, Operand::address},
         true},
        {ControlVerb::grace,
         "grace",
         "Do not take an adapter of this node for dead for so many seconds",
         {Operand::adapter, Operand::seconds},
         true},
        {ControlVerb::simulate_death,
         "simulate-death",
         "Test hook: this node dies and comes back, as after a sleep of so many seconds",
         {Operand::seconds},
         false},
        {ControlVerb::discard_stale,
         "discard-stale",
         "Have the daemon discard messages that waited too long, or not",
         {Operand::on_off},
         false},
        {ControlVerb::client_heartbeat,
         "client-heartbeat",
         "Send a client's sign of life with a sequence number",
         {Operand::sequence},
         false},
        {ControlVerb::manual_control,
         "manual-control",
         "Take a network interface module under manual control, or give it back; all without a name",
         {Operand::on_off, Operand::interface},
         false},
        {ControlVerb::shutdown, "shutdown", "Ask the daemon to end after its configured delay", {}, false},
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
        return "give " + adapter + " the address " + request.address;
    case ControlVerb::unconfigure:
        return "take the address of " + adapter + " away";
    case ControlVerb::swap:
        return "exchange the addresses of " + adapter + " and of the one that has " + request.address;
    case ControlVerb::grace:
        return "give " + adapter + " a grace of " + seconds;
    case ControlVerb::simulate_death:
        return "have this node die as after a sleep of " + seconds;
    case ControlVerb::discard_stale:
        return std::string("have stale messages ") + (request.on ? "discarded" : "kept");
    case ControlVerb::client_heartbeat:
        return "send a client's sign of life";
    case ControlVerb::manual_control: {
        const std::string what =
            request.interface.empty() ? "all interfaces" : "interface " + request.interface;
        return request.on ? "take " + what + " under manual control" : "give back " + what;
    }
    case ControlVerb::shutdown:
        return "have the daemon end";
    }
    return "";
}

} // namespace hbctl
