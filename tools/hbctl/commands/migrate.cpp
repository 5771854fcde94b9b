#include "hb_client.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/migration.h"
#include "tools/hbctl/migration_report.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {

int check_migration(const Arguments &arguments) {
    open_library();
    const Picture picture = read_picture();
    const Preparation preparation = prepare_migration();
    if (preparation.succeeded()) {
        hb_migrate_to_mox_abort();
    }
    const Migration_Report report{picture.local_node, picture.nodes.size(), preparation};
    put_lines(arguments.json ? migration_json(report) : migration_text(report));
    hb_terminate();
    return preparation.succeeded() ? STATUS_SUCCESS : STATUS_FAILURE;
}

} // namespace hbctl
