// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/ask_daemon.h"

#include "common/no_answer.h"
#include "common/socket_path.h"

namespace hbctl {

Ending silence(const Arguments &arguments) {
    return {"hbctl: " + common::no_answer_line(common::socket_path_from_environment(), arguments.patience),
            STATUS_FAILURE};
}

} // namespace hbctl
