// The control requests that a user can make, and the words of each.
#pragma once

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <vector>

#include "tools/hbctl/member_word.h"

namespace hbctl {

enum class Control_Verb {
    node_may_be_down,
    node_down,
    adapter_may_be_down,
    adapter_down,
    enable,
    disable,
    ifconfig_up,
    ifconfig_down,
    configure,
    unconfigure,
    swap,
    grace,
    simulate_death,
    discard_stale,
    client_heartbeat,
    manual_control,
    shutdown
};

enum class Operand { node, adapter, address, seconds, sequence, on_off, interface };

struct Control_Form {
    Control_Verb verb;
    const char *name; // on the command line
    const char *help;
    std::vector<Operand> operands; // in their order on the command line
    bool answered;                 // the daemon reports the result
    bool local = false;            // the adapter must be one of this node
};

const std::vector<Control_Form> &control_forms();
const Control_Form &form_of(Control_Verb verb);

struct Control_Request {
    Control_Verb verb = Control_Verb::shutdown;
    Member_Word node;
    Member_Word adapter;
    std::string address; // IPv4, as typed
    int seconds = 0;
    std::uint32_t sequence = 0;
    bool on = false;
    std::string interface; // empty: all
};

// "grace 97 5": the request as typed on a command line.
std::string request_text(const Control_Request &request);

// "give adapter 97 a grace of 5 s": the action, for an error message.
std::string request_purpose(const Control_Request &request);

} // namespace hbctl
