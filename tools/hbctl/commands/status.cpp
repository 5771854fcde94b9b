#include "common/cluster_file.h"
#include "common/socket_path.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/live_picture.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"

namespace hbctl {

int show_status(const Arguments &arguments) {
    const Live_Picture live = ask_daemon(arguments, read_live_picture);
    const std::string socket = common::socket_path_from_environment();
    const Node_Row *local = live.picture.node(live.picture.local_node);
    const Status_Report report{socket,
                               live.picture.local_node,
                               count(live.picture),
                               live.heartbeat,
                               local == nullptr ? "" : local->name,
                               common::read_cluster_file(socket),
                               std::chrono::system_clock::now()};
    put_lines(arguments.json ? status_json(report) : status_text(report));
    return STATUS_SUCCESS;
}

} // namespace hbctl
