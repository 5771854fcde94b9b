// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/event_queue.h"

#include "lib/base/MOX_HBC_trace.h"

MOX_Event *event_queue_list = nullptr;
int event_sequence = 0;
pthread_mutex_t event_queue_list_and_sequence_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace {

// The number wraps from the largest to the smallest value.
int next_sequence() {
    const int sequence = event_sequence;
    event_sequence = static_cast<int>(static_cast<unsigned>(sequence) + 1U);
    return sequence;
}

} // namespace

void MOX_keep_queue_usable_after_fork() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] {
        pthread_atfork(nullptr, nullptr,
                       [] { event_queue_list_and_sequence_mutex = PTHREAD_MUTEX_INITIALIZER; });
    });
}

int hb_mox_next_event_sequence() {
    int sequence = 0;
    MOX_with_queue_locked([&] { sequence = next_sequence(); });
    return sequence;
}

void MOX_add_event_at_end(MOX_Event *ev) {
    if (ev == nullptr) {
        return;
    }
    MOX_with_queue_locked([&] {
        ev->sequence_num = next_sequence();
        // There is no tail pointer: every wake-up drains the queue, so it stays short.
        MOX_Event **link = &event_queue_list;
        while (*link != nullptr) {
            link = &(*link)->next;
        }
        ev->next = nullptr;
        *link = ev;
    });
}

MOX_Event *MOX_get_event_from_head() {
    MOX_Event *head = nullptr;
    MOX_with_queue_locked([&] {
        head = event_queue_list;
        if (head != nullptr) {
            event_queue_list = head->next;
        }
    });
    return head;
}

int MOX_event_queue_is_empty() {
    int empty = 0;
    MOX_with_queue_locked([&] { empty = event_queue_list == nullptr ? 1 : 0; });
    return empty;
}

void MOX_display_event_list() {
    MOX_with_queue_locked([] {
        for (const MOX_Event *ev = event_queue_list; ev != nullptr; ev = ev->next) {
            hb_trace_values(HB_TRACE_INFO, HB_TR_QUEUED_EVENT, ev->sequence_num, ev->group.Hb_group_type,
                            ev->group.Hb_events);
        }
        hb_trace_strings(HB_TRACE_INFO, HB_TR_QUEUE_END, "End of event list");
    });
}
