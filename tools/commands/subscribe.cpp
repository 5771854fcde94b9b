#include "tools/commands/commands.h"

#include "tools/watcher.h"

namespace hbctl {

int subscribe(const Arguments &arguments) {
    return Watcher(arguments.json, arguments.limits).run({arguments.subscription});
}

} // namespace hbctl
