// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/event_environment.h"

#include "tools/hbctl/event_names.h"

namespace hbctl {
namespace {

// The system limits one variable to 128 KiB.
constexpr std::size_t LONGEST_LIST = 100'000;

template <typename Member> std::string numbers_text(const std::vector<Member> &members) {
    std::string text;
    for (const Member &member : members) {
        text += (text.empty() ? "" : " ") + std::to_string(member.number);
    }
    return text;
}

template <typename Member>
void add_members(std::vector<std::string> &variables, const std::string &name,
                 const std::vector<Member> &members) {
    const std::string numbers = numbers_text(members);
    if (!numbers.empty() && numbers.size() <= LONGEST_LIST) {
        variables.push_back(name + "=" + numbers);
    }
}

} // namespace

std::vector<std::string> event_environment(const Event_Record &event) {
    std::vector<std::string> variables = notice_environment(event_name(event.kind), event.time);
    variables.push_back("HB_SEQ=" + std::to_string(event.sequence));
    variables.push_back("HB_SUBSCRIPTION=" + event.subscription);
    variables.push_back("HB_GROUP=" + member_kind_name(event.member_kind));
    add_members(variables, "HB_NODES", event.nodes);
    add_members(variables, "HB_ADAPTERS", event.adapters);
    if (!event.ffdc_id.empty()) {
        variables.push_back("HB_FFDC_ID=" + event.ffdc_id);
    }
    return variables;
}

std::vector<std::string> notice_environment(const std::string &kind, Wall_Time time) {
    return {"HB_EVENT=" + kind, "HB_TIME=" + utc_text(time)};
}

const std::vector<std::string> &event_variable_names() {
    static const std::vector<std::string> names{"HB_EVENT",        "HB_TIME",    "HB_SEQ",
                                                "HB_SUBSCRIPTION", "HB_GROUP",   "HB_NODES",
                                                "HB_ADAPTERS",     "HB_FFDC_ID", "HB_DROPPED"};
    return names;
}

} // namespace hbctl
