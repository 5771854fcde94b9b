// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/commands/commands.h"

namespace hbctl {

int run_command(const Arguments &arguments) {
    switch (arguments.verb) {
    case Verb::status:
        return show_status(arguments);
    case Verb::nodes:
        return show_nodes(arguments);
    case Verb::networks:
        return show_networks(arguments);
    case Verb::adapters:
        return show_adapters(arguments);
    case Verb::sites:
        return show_sites(arguments);
    case Verb::migrate:
        return check_migration(arguments);
    case Verb::watch:
        return watch(arguments);
    case Verb::subscribe:
        return subscribe(arguments);
    case Verb::top:
        return top(arguments);
    case Verb::route:
        return show_route(arguments);
    case Verb::keys:
        return show_keys(arguments);
    case Verb::adapter_state:
        return show_adapter_states(arguments);
    case Verb::wait:
        return wait(arguments);
    case Verb::check:
        return check(arguments);
    case Verb::report:
        return report(arguments);
    case Verb::multicast:
        return multicast(arguments);
    case Verb::control:
        return control(arguments);
    }
    return STATUS_USAGE;
}

} // namespace hbctl
