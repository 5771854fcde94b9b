// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/message_events.h"

#include <new>

#include "lib/hb_global_data/event_queue.h"

namespace {

struct Made {
    const MOX_Event *ev;
    MOX_Event *kept; // the event itself, while it waits for reuse
    Made *next;
};

Made *made_list = nullptr; // guarded by the queue's mutex

// Unlinks and returns the first entry for which wanted(entry) holds. Null: there is none.
template <typename Wanted> Made *unlink(Wanted wanted) {
    Made *found = nullptr;
    MOX_with_queue_locked([&] {
        for (Made **link = &made_list; *link != nullptr; link = &(*link)->next) {
            if (wanted(**link)) {
                found = *link;
                *link = found->next;
                break;
            }
        }
    });
    return found;
}

} // namespace

bool MOX_remember_message_event(const MOX_Event *ev) {
    auto *made = new (std::nothrow) Made{ev, nullptr, nullptr};
    if (made == nullptr) {
        return false;
    }
    MOX_with_queue_locked([&] {
        made->next = made_list;
        made_list = made;
    });
    return true;
}

void MOX_keep_message_event(MOX_Event *ev) {
    MOX_with_queue_locked([&] {
        for (Made *made = made_list; made != nullptr; made = made->next) {
            if (made->ev == ev) {
                made->kept = ev;
            }
        }
    });
}

MOX_Event *MOX_reuse_message_event() {
    MOX_Event *kept = nullptr;
    MOX_with_queue_locked([&] {
        for (Made *made = made_list; made != nullptr && kept == nullptr; made = made->next) {
            kept = made->kept;
            made->kept = nullptr;
        }
    });
    return kept;
}

void MOX_delete_event(MOX_Event *ev) {
    delete unlink([ev](const Made &made) { return made.ev == ev; });
    delete ev;
}

void MOX_drop_kept_message_events() {
    while (Made *made = unlink([](const Made &entry) { return entry.kept != nullptr; })) {
        delete made->kept;
        delete made;
    }
}
