// SPDX-License-Identifier: Apache-2.0
#include "common/printable.h"
#include "common/socket_path.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/live_picture.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/top/character_set.h"
#include "tools/hbctl/top/daemon_facts.h"
#include "tools/hbctl/top/frame_size.h"
#include "tools/hbctl/top/render_top.h"
#include "tools/hbctl/top/text_columns.h"
#include "tools/hbctl/top/top_screen.h"

namespace hbctl {
namespace {

int print_frame(const Arguments &arguments) {
    const Live_Picture live = ask_daemon(arguments, read_live_picture);
    Top_Model model(terminal::printable(common::socket_path_from_environment()));
    model.describe(read_daemon_facts().value_or(Daemon_Facts{}));
    const Moment now = Moment::now();
    model.connect(live.picture, now);
    const Frame_Size size = frame_size(arguments.top);
    const bool has_unicode = use_character_set();
    for (const Text_Line &line : plain_frame(model, size, now).lines) {
        put_line(has_unicode ? line.text() : ascii_text(line.text()));
    }
    return STATUS_SUCCESS;
}

} // namespace

int top(const Arguments &arguments) {
    return arguments.top.once ? print_frame(arguments) : top_on_screen(arguments);
}

} // namespace hbctl
