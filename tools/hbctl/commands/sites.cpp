#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/terminal.h"

namespace hbctl {

int show_sites(const Arguments &arguments) {
    const Picture picture = ask_daemon(arguments, [] {
        open_library();
        return read_picture();
    });
    put_prepared(arguments.json ? sites_json(picture) : sites_text(picture, table_style(arguments)));
    return STATUS_SUCCESS;
}

} // namespace hbctl
