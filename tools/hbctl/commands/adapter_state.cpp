#include "hb_client.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

std::vector<std::uint32_t> local_adapters() {
    const Picture picture = read_picture();
    std::vector<std::uint32_t> adapters;
    for (const Adapter_Row &adapter : picture.adapters) {
        if (adapter.node == picture.local_node) {
            adapters.push_back(adapter.number);
        }
    }
    return adapters;
}

} // namespace

int show_adapter_states(const Arguments &arguments) {
    open_library();
    std::vector<Adapter_State_Row> rows;
    for (const std::uint32_t adapter : arguments.control.adapter
                                           ? std::vector<std::uint32_t>{*arguments.control.adapter}
                                           : local_adapters()) {
        int state = 0;
        require_request(hb_get_adapter_state(adapter, &state),
                        "read the state of adapter " + std::to_string(adapter));
        rows.push_back({adapter, state});
    }
    put_lines(arguments.json ? adapter_states_json(rows) : adapter_states_text(rows));
    return STATUS_SUCCESS;
}

} // namespace hbctl
