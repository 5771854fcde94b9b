// SPDX-License-Identifier: Apache-2.0
// One function for each verb. Each returns the exit status, or throws Request_Failed or Output_Closed.
#pragma once

#include "tools/hbctl/arguments.h"

namespace hbctl {

int show_status(const Arguments &arguments);
int show_nodes(const Arguments &arguments);
int show_networks(const Arguments &arguments);
int show_adapters(const Arguments &arguments);
int show_sites(const Arguments &arguments);
int check_migration(const Arguments &arguments);
int watch(const Arguments &arguments);
int subscribe(const Arguments &arguments);
int top(const Arguments &arguments);
int show_route(const Arguments &arguments);
int show_keys(const Arguments &arguments);
int show_adapter_states(const Arguments &arguments);
int wait(const Arguments &arguments);
int check(const Arguments &arguments);
int report(const Arguments &arguments);
int multicast(const Arguments &arguments);
int control(const Arguments &arguments);

int run_command(const Arguments &arguments);

} // namespace hbctl
