#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/configured.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/terminal.h"

namespace hbctl {
namespace {

std::vector<std::uint32_t> local_adapters(const Picture &picture) {
    std::vector<std::uint32_t> adapters;
    for (const Adapter_Row &adapter : picture.adapters) {
        if (adapter.node == picture.local_node) {
            adapters.push_back(adapter.number);
        }
    }
    return adapters;
}

std::vector<Adapter_State_Row> states_of(const std::optional<Member_Word> &one) {
    open_library();
    const Picture picture = read_picture();
    std::vector<std::uint32_t> adapters = local_adapters(picture);
    if (one) {
        adapters = {find_adapter(*one, picture)};
        require_local_adapter(adapters.front(), picture);
    }
    std::vector<Adapter_State_Row> rows;
    for (const std::uint32_t adapter : adapters) {
        int state = 0;
        require_request(hb_get_adapter_state(adapter, &state),
                        "read the state of adapter " + std::to_string(adapter));
        rows.push_back({adapter, state, picture.adapter(adapter)->name});
    }
    return rows;
}

} // namespace

int show_adapter_states(const Arguments &arguments) {
    const auto rows = ask_daemon(arguments, [&] { return states_of(arguments.control.adapter); });
    put_prepared(arguments.json ? adapter_states_json(rows)
                                : adapter_states_text(rows, table_style(arguments)));
    return STATUS_SUCCESS;
}

} // namespace hbctl
