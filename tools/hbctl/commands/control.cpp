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

Hb_IP_address4 address_of(const std::string &text) {
    return common::parse_ipv4<Hb_IP_address4>(text).value_or(Hb_IP_address4{});
}

Hb_Rc send(const Control_Request &request) {
    switch (request.verb) {
    case Control_Verb::node_may_be_down:
        return hb_node_may_be_down(static_cast<short>(request.node.number));
    case Control_Verb::node_down:
        return hb_node_is_down(static_cast<short>(request.node.number));
    case Control_Verb::adapter_may_be_down:
        return hb_adapter_may_be_down(request.adapter.number);
    case Control_Verb::adapter_down:
        return hb_adapter_is_down(request.adapter.number);
    case Control_Verb::enable:
        return hb_enable_adapter(request.adapter.number);
    case Control_Verb::disable:
        return hb_disable_adapter(request.adapter.number);
    case Control_Verb::ifconfig_up:
        return hb_ifconfig_up(request.adapter.number);
    case Control_Verb::ifconfig_down:
        return hb_ifconfig_down(request.adapter.number);
    case Control_Verb::configure:
        return hb_configure_adapter(request.adapter.number, address_of(request.address));
    case Control_Verb::unconfigure:
        return hb_unconfigure_adapter(request.adapter.number);
    case Control_Verb::swap:
        return hb_swap_adapters(request.adapter.number, address_of(request.address));
    case Control_Verb::grace:
        return hb_adapter_grace(request.adapter.number, request.seconds);
    case Control_Verb::simulate_death:
        return hb_simulate_death(request.seconds);
    case Control_Verb::discard_stale:
        return hb_discard_stale_messages(request.on ? 1 : 0);
    case Control_Verb::client_heartbeat:
        return hb_client_heartbeat(request.sequence);
    case Control_Verb::manual_control: {
        std::string interface = request.interface;
        return hb_nim_manual_start_control(request.on ? HB_NIM_MANCTRL_ENABLE : HB_NIM_MANCTRL_DISABLED,
                                           interface.data());
    }
    case Control_Verb::shutdown:
        return hb_mox_delayed_daemon_shutdown();
    }
    return Hb_Failure;
}

// What the user typed must be in the configuration.
void find_operands(Control_Request &request) {
    const Picture picture = read_picture();
    for (const Operand operand : form_of(request.verb).operands) {
        if (operand == Operand::node) {
            request.node.number = static_cast<std::uint32_t>(find_node(request.node, picture));
        } else if (operand == Operand::adapter) {
            request.adapter.number = find_adapter(request.adapter, picture);
            if (form_of(request.verb).local) {
                require_local_adapter(request.adapter.number, picture);
            }
        }
    }
}

Request_Result act(Control_Request &request) {
    open_library();
    find_operands(request);
    require_request(send(request), request_purpose(request));
    if (form_of(request.verb).answered) {
        return Request_Result::done;
    }
    // Every user may send a client heartbeat.
    return request.verb == Control_Verb::client_heartbeat ? Request_Result::sent
                                                          : result_without_answer(request_purpose(request));
}

} // namespace

int control(const Arguments &arguments) {
    Control_Request request = arguments.control.request;
    const Request_Result result = ask_daemon(arguments, [&] { return act(request); });
    put_line(arguments.json ? control_json(request, result) : control_text(request, result));
    return STATUS_SUCCESS;
}

} // namespace hbctl
