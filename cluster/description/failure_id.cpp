// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/failure_id.h"

#include <cerrno>
#include <cstring>

#include "host/log.h"
#include "host/text.h"
#include "qz_ffdc.h"

namespace wispd {

std::string make_failure_id() {
    fc_eid_t id = "";
    if (qz_ffdc_make_id(id) != 0) {
        log_error(text("cannot create a first-failure identifier: ", std::strerror(errno)));
        return {};
    }
    return id;
}

} // namespace wispd
