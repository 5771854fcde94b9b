// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/event_stream.h"

#include <string_view>
#include <utility>

#include "tools/hbctl/event_reader.h"
#include "tools/hbctl/library_call.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/subscription.h"

namespace hbctl {
namespace {

constexpr const char *PROBE_NAME = "hbctl-probe";

Picture picture_after_change(const Picture &old) {
    Picture fresh = read_picture();
    carry_states(old, fresh);
    carry_names(old, fresh);
    return fresh;
}

} // namespace

Event_Stream::Event_Stream() : group_(std::make_unique<Hb_Group>()) {}

void Event_Stream::attach() {
    int *descriptors = nullptr;
    int count = 0;
    require(hb_get_file_descriptor_array(&descriptors, &count), "get the descriptor to wait on");
    descriptors_.assign(descriptors, descriptors + count);
    hb_free_file_descriptor_array(descriptors);
}

void Event_Stream::attach_to_service() {
    from_service_ = true;
    attach();
}

// The daemon answers each subscription with the present members. One node is enough.
void Event_Stream::probe(const Picture &picture) {
    if (!picture.nodes.empty()) {
        const Member_Word node{static_cast<std::uint32_t>(picture.nodes.front().number), ""};
        has_probed_ = true;
        Subscription({PROBE_NAME, Selection::nodes, {node}, "", HB_EVENT_NEW_GROUP}).ask();
    }
}

Arrival Event_Stream::next(int stop_descriptor, const Deadline &deadline, Picture &picture,
                           Event_Record &event) {
    for (;;) {
        switch (wait_for(descriptors_, stop_descriptor, deadline, ready_)) {
        case Wake::stopped:
            return Arrival::stopped;
        case Wake::output_closed:
            return Arrival::output_closed;
        case Wake::time_over:
            return Arrival::time_over;
        case Wake::ready:
            break;
        }
        const Library_Call call; // a record whose end does not arrive blocks the library
        timeval at_once{};
        int kind = 0;
        Hb_Name name{};
        unsigned long sequence = 0;
        group_->Hb_ffdc_id[0] = '\0'; // a cluster service sets none and leaves the previous one in place
        if (hb_get_event_message(ready_.data(), &at_once, &kind, name, group_.get(), &sequence) == Hb_Success) {
            if (kind == HB_EVENT_NONE) {
                continue; // an event that turned out to be empty
            }
            if (has_probed_ && std::string_view(name) == PROBE_NAME) {
                return Arrival::answered;
            }
            if (kind == HB_EVENT_CONFIG) {
                picture = picture_after_change(picture);
            }
            event = read_event(kind, name, sequence, *group_, picture);
            apply_event(event, picture);
            if (kind == HB_EVENT_CONFIG) {
                event.counts = count(picture);
            }
            return Arrival::event;
        }
        if (from_service_) {
            return Arrival::failed;
        }
        const int error = hb_get_errno();
        if (error == HB_ERROR_DISCONNECTED || error == HB_ERROR_RECEIVE_FAILED) {
            return Arrival::lost;
        }
        if (error == HB_ERROR_UNEXPECTED_REPLY) {
            event = Event_Record{};
            event.sequence = static_cast<std::uint32_t>(sequence);
            return Arrival::dropped;
        }
        if (error != HB_ERROR_TIMEOUT) {
            require(Hb_Failure, "read an event");
        }
    }
}

} // namespace hbctl
