// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/error_text.h"

#include <algorithm>
#include <array>

#include "hb_error.h"

namespace hbctl {
namespace {

struct Meaning {
    int number;
    const char *text;
};

// Where hbctl knows more than the library's own text says: which of two meanings a query gives.
constexpr std::array QUERY_MEANINGS{
    Meaning{HB_ERROR_NONE, "no reason was given"},
    Meaning{HB_ERROR_NOT_AVAILABLE, "what was asked for is not there"},
    Meaning{HB_ERROR_NETWORK_NOT_CONFIGURED, "the network is not configured"},
};

// The same where the daemon judges a request.
constexpr std::array REQUEST_MEANINGS{
    Meaning{HB_ERROR_REQUEST_REFUSED,
            "the daemon does not permit this user to act: run as root or as a member of its act_group"},
    Meaning{HB_ERROR_BAD_ARGUMENT, "out of range, or not of this node"},
    Meaning{HB_ERROR_ADAPTER_NOT_CONFIGURED,
            "the adapter is not configured, or no adapter of this node has the address"},
    Meaning{HB_ERROR_REQUEST_FAILED, "the daemon could not do it, or does not permit this user to act"},
    Meaning{HB_ERROR_UNEXPECTED_REPLY, "the daemon sent something else than the answer"},
    Meaning{HB_ERROR_GRACE_OUT_OF_RANGE, "the time is out of range"},
    Meaning{HB_ERROR_MESSAGE_TOO_LARGE, "the message is too large"},
    Meaning{HB_ERROR_ADAPTER_DOWN, "the adapter is down"},
};

template <typename Meanings> const char *find(const Meanings &table, int number) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [number](const Meaning &meaning) { return meaning.number == number; });
    return found != table.end() ? found->text : nullptr;
}

} // namespace

std::string error_text(int number) {
    const char *text = find(QUERY_MEANINGS, number);
    return text != nullptr ? text : hb_error_text(number);
}

std::string request_error_text(int number) {
    const char *text = find(REQUEST_MEANINGS, number);
    return text != nullptr ? text : error_text(number);
}

} // namespace hbctl
