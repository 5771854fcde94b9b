// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/watcher.h"

namespace hbctl {

int subscribe(const Arguments &arguments) {
    return Watcher(arguments.json, arguments.limits).run({arguments.subscription});
}

} // namespace hbctl
