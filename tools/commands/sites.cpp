#include "tools/commands/commands.h"

#include "tools/output.h"
#include "tools/read_picture.h"
#include "tools/render_json.h"
#include "tools/render_text.h"
#include "tools/request.h"

namespace hbctl {

int show_sites(const Arguments &arguments) {
    open_library();
    const Picture picture = read_picture();
    put_lines(arguments.json ? sites_json(picture) : sites_text(picture));
    return exit_success;
}

} // namespace hbctl
