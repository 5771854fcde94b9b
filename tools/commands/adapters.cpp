#include "tools/commands/commands.h"

#include "tools/live_picture.h"
#include "tools/output.h"
#include "tools/render_json.h"
#include "tools/render_text.h"

namespace hbctl {

int show_adapters(const Arguments &arguments) {
    const Picture picture = read_live_picture().picture;
    put_lines(arguments.json ? adapters_json(picture) : adapters_text(picture));
    return exit_success;
}

} // namespace hbctl
