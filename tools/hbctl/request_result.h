// SPDX-License-Identifier: Apache-2.0
// What is known of a request after it was sent.
#pragma once

#include <string>

namespace hbctl {

enum class Request_Result {
    done,       // the daemon answered that it did it
    sent,       // the daemon does not answer such a request, but it acts for this user
    unconfirmed // it is unknown whether the daemon acts for this user
};

// Whether the daemon permits a request that has just been sent, and that it does not answer. Throws Request_Failed if it
// does not.
Request_Result result_without_answer(const std::string &purpose);

// "done", "sent", "sent, not confirmed"
std::string result_text(Request_Result result);

// "done", "sent", "unconfirmed"
std::string result_word(Request_Result result);

} // namespace hbctl
