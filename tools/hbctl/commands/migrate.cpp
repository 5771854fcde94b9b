// SPDX-License-Identifier: Apache-2.0
#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/migration.h"
#include "tools/hbctl/migration_report.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

Migration_Report prepare_and_abort() {
    open_library();
    const Picture picture = read_picture();
    const Preparation preparation = prepare_migration();
    if (preparation.succeeded()) {
        hb_migrate_to_mox_abort();
    }
    hb_terminate();
    return {picture.local_node, picture.nodes.size(), preparation};
}

} // namespace

int check_migration(const Arguments &arguments) {
    const Migration_Report report = ask_daemon(arguments, prepare_and_abort);
    put_lines(arguments.json ? migration_json(report) : migration_text(report));
    return report.preparation.succeeded() ? STATUS_SUCCESS : STATUS_FAILURE;
}

} // namespace hbctl
