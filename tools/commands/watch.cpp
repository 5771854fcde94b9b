#include "tools/commands/commands.h"

#include "tools/watcher.h"

namespace hbctl {

int watch(const Arguments &arguments) {
    return Watcher(arguments.json, arguments.limits).run({});
}

} // namespace hbctl
