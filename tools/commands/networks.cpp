#include "tools/commands/commands.h"

#include "tools/live_picture.h"
#include "tools/output.h"
#include "tools/render_json.h"
#include "tools/render_text.h"

namespace hbctl {

int show_networks(const Arguments &arguments) {
    const Picture picture = read_live_picture().picture;
    put_lines(arguments.json ? networks_json(picture) : networks_text(picture));
    return exit_success;
}

} // namespace hbctl
