// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/wait_condition.h"

#include <algorithm>

#include "tools/hbctl/member_word.h"
#include "tools/hbctl/plain_text.h"

namespace hbctl {
namespace {

std::string subject_text(const Wait_Condition &condition) {
    switch (condition.subject) {
    case Wait_Subject::node:
        return "node " + word_text({condition.number, condition.name});
    case Wait_Subject::adapter:
        return "adapter " + word_text({condition.number, condition.name});
    case Wait_Subject::nodes:
        return counted(condition.number, "node");
    case Wait_Subject::daemon:
        break;
    }
    return "the daemon";
}

std::string verb_text(const Wait_Condition &condition) {
    return condition.subject == Wait_Subject::nodes && condition.number > 1 ? "are" : "is";
}

std::string state_text(const Wait_Condition &condition) {
    return condition.up ? "up" : "down";
}

} // namespace

bool is_met(const Wait_Condition &condition, const Picture &picture) {
    const Liveness wanted = condition.up ? Liveness::up : Liveness::down;
    if (condition.subject == Wait_Subject::node) {
        const Node_Row *node = picture.node(static_cast<int>(condition.number));
        return node != nullptr && node->state == wanted;
    }
    if (condition.subject == Wait_Subject::adapter) {
        const Adapter_Row *adapter = picture.adapter(condition.number);
        return adapter != nullptr && adapter->state == wanted;
    }
    return std::count_if(picture.nodes.begin(), picture.nodes.end(), [wanted](const Node_Row &node) {
               return node.state == wanted;
           }) >= static_cast<std::ptrdiff_t>(condition.number);
}

std::string condition_text(const Wait_Condition &condition) {
    const std::string least = condition.subject == Wait_Subject::nodes ? "at least " : "";
    return least + subject_text(condition) + " " + verb_text(condition) + " " + state_text(condition);
}

std::string unmet_text(const Wait_Condition &condition) {
    if (condition.subject == Wait_Subject::nodes) {
        return "fewer than " + subject_text(condition) + " are " + state_text(condition);
    }
    return subject_text(condition) + " is not " + state_text(condition);
}

} // namespace hbctl
