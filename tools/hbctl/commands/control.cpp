#include "tools/hbctl/commands/commands.h"

#include "common/ip_address.h"
#include "hb_client.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

Hb_IP_address4 address_of(const std::string &text) {
    return common::parse_ipv4<Hb_IP_address4>(text).value_or(Hb_IP_address4{});
}

Hb_Rc send(const ControlRequest &request) {
    switch (request.verb) {
    case ControlVerb::node_may_be_down:
        return hb_node_may_be_down(static_cast<short>(request.node));
    case ControlVerb::node_down:
        return hb_node_is_down(static_cast<short>(request.node));
    case ControlVerb::adapter_may_be_down:
        return hb_adapter_may_be_down(request.adapter);
    case ControlVerb::adapter_down:
        return hb_adapter_is_down(request.adapter);
    case ControlVerb::enable:
        return hb_enable_adapter(request.adapter);
    case ControlVerb::disable:
        return hb_disable_adapter(request.adapter);
    case ControlVerb::ifconfig_up:
        return hb_ifconfig_up(request.adapter);
    case ControlVerb::ifconfig_down:
        return hb_ifconfig_down(request.adapter);
    case ControlVerb::configure:
        return hb_configure_adapter(request.adapter, address_of(request.address));
    case ControlVerb::unconfigure:
        return hb_unconfigure_adapter(request.adapter);
    case ControlVerb::swap:
        return hb_swap_adapters(request.adapter, address_of(request.address));
    case ControlVerb::grace:
        return hb_adapter_grace(request.adapter, request.seconds);
    case ControlVerb::simulate_death:
        return hb_simulate_death(request.seconds);
    case ControlVerb::discard_stale:
        return hb_discard_stale_messages(request.on ? 1 : 0);
    case ControlVerb::client_heartbeat:
        return hb_client_heartbeat(request.sequence);
    case ControlVerb::manual_control: {
        std::string interface = request.interface;
        return hb_nim_manual_start_control(request.on ? HB_NIM_MANCTRL_ENABLE : HB_NIM_MANCTRL_DISABLED,
                                           interface.data());
    }
    case ControlVerb::shutdown:
        return hb_mox_delayed_daemon_shutdown();
    }
    return Hb_Failure;
}

} // namespace

int control(const Arguments &arguments) {
    open_library();
    const ControlRequest &request = arguments.control.request;
    require_request(send(request), request_purpose(request));
    put_line(arguments.json ? control_json(request) : control_text(request));
    return exit_success;
}

} // namespace hbctl
