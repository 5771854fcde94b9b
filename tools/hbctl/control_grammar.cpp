#include "tools/hbctl/control_grammar.h"

#include <limits>

#include "hb_client.h"
#include "tools/hbctl/member_word.h"
#include "tools/hbctl/validators.h"

namespace hbctl {
namespace {

constexpr std::uint32_t HIGHEST_NODE = HB_NODE_SLOTS - 1;
constexpr std::uint32_t HIGHEST_ADAPTER = HB_ADAPTER_SLOTS - 1;
constexpr int HIGHEST_PORT = 65535;
constexpr std::size_t LONGEST_INTERFACE = 16384;

CLI::Validator interface_name() {
    return CLI::Validator(
        [](std::string &text) {
            return text.size() <= LONGEST_INTERFACE
                       ? std::string()
                       : "an interface name has at most " + std::to_string(LONGEST_INTERFACE) + " bytes";
        },
        "");
}

void add_node(CLI::App &verb, std::string &word) {
    verb.add_option("node", word, "Number or name of the node")
        ->required()
        ->check(member_up_to(HIGHEST_NODE))
        ->type_name("N");
}

void add_operand(CLI::App &verb, Operand operand, Control_Words &words) {
    Control_Request &request = words.request;
    switch (operand) {
    case Operand::node:
        add_node(verb, words.node);
        break;
    case Operand::adapter:
        verb.add_option("adapter", words.adapter, "Number of the adapter, or its name, as in alpha/net_a")
            ->required()
            ->check(member_up_to(HIGHEST_ADAPTER))
            ->type_name("A");
        break;
    case Operand::address:
        verb.add_option("address", request.address, "IPv4 address")
            ->required()
            ->check(ipv4_address())
            ->type_name("ADDRESS");
        break;
    case Operand::seconds:
        verb.add_option("seconds", request.seconds, "Time in whole seconds")
            ->required()
            ->check(whole_number(std::numeric_limits<int>::min(), std::numeric_limits<int>::max()))
            ->type_name("SECONDS");
        break;
    case Operand::sequence:
        verb.add_option("sequence", request.sequence, "Sequence number")
            ->required()
            ->check(whole_number(0, std::numeric_limits<std::uint32_t>::max()))
            ->type_name("SEQUENCE");
        break;
    case Operand::on_off:
        verb.add_option("switch", words.on_off, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
        break;
    case Operand::interface:
        verb.add_option("interface", request.interface, "Name of the interface (default: all)")
            ->check(interface_name())
            ->type_name("INTERFACE");
        break;
    }
}

void add_route(CLI::App &app, Control_Words &words) {
    Route_Query &route = words.route;
    CLI::App *verb = app.add_subcommand("route", "Show the route to a node, hop by hop");
    add_node(*verb, words.node);
    verb->add_flag("--shared", route.shared, "Read the route from shared memory instead of asking the daemon");
    verb->add_flag("--ip", route.ip_only, "Read the route from shared memory; accept an IP route only");
}

void add_multicast(CLI::App &app, Control_Words &words) {
    CLI::App *verb =
        app.add_subcommand("multicast", "Deliver a message to a port of nodes, through the daemon");
    verb->add_option("--port", words.port, "Port, 0 to 65535")
        ->required()
        ->check(whole_number(0, HIGHEST_PORT))
        ->type_name("PORT");
    verb->add_option("--nodes", words.nodes, "Nodes to deliver to, by number or name, for example 1,beta,5-7")
        ->required()
        ->check(member_list_up_to(HIGHEST_NODE))
        ->type_name("LIST");
    verb->add_option("text", words.text, "Message (default: read standard input)")
        ->check(not_empty("the message"))
        ->type_name("TEXT");
}

} // namespace

void add_control_verbs(CLI::App &app, Control_Words &words) {
    add_route(app, words);
    app.add_subcommand("keys", "Show the security keys in use: type and validity, never their bytes");
    app.add_subcommand("adapter-state", "Show the daemon's state of an adapter of this node, or of all")
        ->add_option("adapter", words.adapter,
                     "Number or name of the adapter (default: all adapters of this node)")
        ->check(member_up_to(HIGHEST_ADAPTER))
        ->type_name("A");
    add_multicast(app, words);
    for (const Control_Form &form : control_forms()) {
        CLI::App *verb = app.add_subcommand(form.name, form.help)->group("Requests to the daemon");
        for (const Operand operand : form.operands) {
            add_operand(*verb, operand, words);
        }
    }
}

Control_Arguments control_arguments(const std::string &verb, const Control_Words &words) {
    Control_Arguments arguments;
    arguments.route = words.route;
    arguments.route.node = member_word(words.node);
    if (!words.adapter.empty()) {
        arguments.adapter = member_word(words.adapter);
    }
    if (verb == "multicast") {
        arguments.multicast.port = words.port;
        arguments.multicast.nodes = parse_member_list(words.nodes, HIGHEST_NODE).members;
        if (!words.text.empty()) {
            arguments.multicast.text = words.text;
        }
    }
    arguments.request = words.request;
    arguments.request.node = member_word(words.node);
    arguments.request.adapter = member_word(words.adapter);
    arguments.request.on = words.on_off == "on";
    for (const Control_Form &form : control_forms()) {
        if (form.name == verb) {
            arguments.request.verb = form.verb;
        }
    }
    return arguments;
}

} // namespace hbctl
