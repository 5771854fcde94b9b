// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/state_watch.h"

#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/configured.h"
#include "tools/hbctl/library_call.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/retry_pause.h"
#include "tools/hbctl/subscription.h"

namespace hbctl {
namespace {

constexpr int STATES = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;

// The daemon answers the subscription with the present members, and reports each later change. So no change can fall
// between the first look and the subscription.
void subscribe_to(Wait_Subject subject) {
    if (subject == Wait_Subject::adapter) {
        Subscription({"hbctl-adapters", Selection::all_adapters, {}, "", STATES}).ask();
    } else {
        Subscription({"hbctl-nodes", Selection::all_nodes, {}, "", STATES}).ask();
    }
}

// A daemon that has restarted can have given the name another number.
void find_subject(Wait_Condition &condition, const Picture &picture) {
    const Member_Word word{condition.number, condition.name};
    if (condition.subject == Wait_Subject::node) {
        condition.number = static_cast<std::uint32_t>(find_node(word, picture));
    } else if (condition.subject == Wait_Subject::adapter) {
        condition.number = find_adapter(word, picture);
    }
}

} // namespace

State_Watch::State_Watch(const Wait_Condition &condition, const Deadline &deadline)
    : condition_(condition), deadline_(deadline) {}

bool State_Watch::run() {
    for (Retry_Pause pauses;;) {
        const Result result = try_once();
        hb_terminate();
        if (result != Result::disconnected) {
            return result == Result::met;
        }
        Deadline until = deadline_after(pauses.next());
        if (deadline_ && *deadline_ < *until) {
            until = deadline_;
        }
        std::vector<int> nobody;
        if (wait_for({}, -1, until, nobody) == Wake::output_closed) {
            throw Output_Closed{};
        }
        if (is_over(deadline_)) {
            return false;
        }
    }
}

State_Watch::Result State_Watch::try_once() {
    try {
        {
            const Library_Call call;
            open_library();
            picture_ = read_picture();
            find_subject(condition_, picture_);
            stream_.attach();
            subscribe_to(condition_.subject);
        }
        obstacle_.clear();
        const bool is_daemon = condition_.subject == Wait_Subject::daemon;
        return is_daemon && condition_.up ? Result::met : follow();
    } catch (const Request_Failed &failure) {
        if (!is_absence(failure)) {
            throw;
        }
        obstacle_ = failure.what();
        const bool nobody_listens = failure.number() == HB_ERROR_CONNECT_FAILED;
        return nobody_listens && is_absence_wanted() ? Result::met : Result::disconnected;
    }
}

State_Watch::Result State_Watch::follow() {
    for (;;) {
        Event_Record event;
        switch (stream_.next(-1, deadline_, picture_, event)) {
        case Arrival::event:
            if (condition_.subject != Wait_Subject::daemon && is_met(condition_, picture_)) {
                return Result::met;
            }
            break;
        case Arrival::lost:
            obstacle_ = "the heartbeat daemon at " + common::socket_path_from_environment() + " disconnected";
            return is_absence_wanted() ? Result::met : Result::disconnected;
        case Arrival::time_over:
            return Result::time_over;
        case Arrival::output_closed:
            throw Output_Closed{};
        case Arrival::answered:
        case Arrival::dropped:
        case Arrival::stopped:
        case Arrival::failed:
            break;
        }
    }
}

bool State_Watch::is_absence_wanted() const {
    return condition_.subject == Wait_Subject::daemon && !condition_.up;
}

} // namespace hbctl
