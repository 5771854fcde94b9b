// SPDX-License-Identifier: Apache-2.0
#include "common/no_answer.h"
#include "common/socket_path.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/state_watch.h"
#include "tools/hbctl/time_limit.h"

namespace hbctl {

int wait(const Arguments &arguments) {
    const Wait_Condition &condition = arguments.wait;
    const std::string expired =
        unmet_text(condition) + " after " + common::seconds_text(arguments.patience) + ": ";
    const Deadline deadline = deadline_after(arguments.patience);
    State_Watch watch(condition, deadline);
    bool met = false;
    {
        const Time_Limit limit(deadline, {"hbctl: " + expired + "wispd does not answer at " +
                                              common::socket_path_from_environment(),
                                          STATUS_EXPIRED});
        met = watch.run();
    }
    if (!met) {
        complain(expired + (watch.obstacle().empty() ? "the time expired" : watch.obstacle()));
        return STATUS_EXPIRED;
    }
    put_line(arguments.json ? wait_json(watch.condition()) : condition_text(condition));
    return STATUS_SUCCESS;
}

} // namespace hbctl
