#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/live_picture.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/terminal.h"

namespace hbctl {

int show_adapters(const Arguments &arguments) {
    const Picture picture = ask_daemon(arguments, [] { return read_live_picture().picture; });
    put_prepared(arguments.json ? adapters_json(picture) : adapters_text(picture, table_style(arguments)));
    return STATUS_SUCCESS;
}

} // namespace hbctl
