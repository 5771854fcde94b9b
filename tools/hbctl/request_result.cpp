// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/request_result.h"

#include "hb_client.h"
#include "tools/hbctl/permission.h"
#include "tools/hbctl/request.h"

namespace hbctl {

Request_Result result_without_answer(const std::string &purpose) {
    switch (permission_to_act()) {
    case Permission::given:
        return Request_Result::sent;
    case Permission::refused:
        throw Request_Failed(request_failure_line(purpose, HB_ERROR_REQUEST_REFUSED), HB_ERROR_REQUEST_REFUSED);
    case Permission::unknown:
        break;
    }
    return Request_Result::unconfirmed;
}

std::string result_text(Request_Result result) {
    return result == Request_Result::unconfirmed ? "sent, not confirmed" : result_word(result);
}

std::string result_word(Request_Result result) {
    switch (result) {
    case Request_Result::done:
        return "done";
    case Request_Result::sent:
        return "sent";
    case Request_Result::unconfirmed:
        break;
    }
    return "unconfirmed";
}

} // namespace hbctl
