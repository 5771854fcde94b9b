#include "lib/hb_global_data/made_events.h"

#include <new>

#include "lib/hb_global_data/event_queue.h"

namespace {

struct Made {
    const MOX_Event *ev;
    Made *next;
};

Made *made_list = nullptr; // guarded by the queue's mutex

} // namespace

void MOX_remember_made_event(const MOX_Event *ev) {
    auto *made = new (std::nothrow) Made{ev, nullptr};
    if (made != nullptr) {
        MOX_with_queue_locked([&] {
            made->next = made_list;
            made_list = made;
        });
    }
}

bool MOX_forget_made_event(const MOX_Event *ev) {
    Made *found = nullptr;
    MOX_with_queue_locked([&] {
        for (Made **link = &made_list; *link != nullptr; link = &(*link)->next) {
            if ((*link)->ev == ev) {
                found = *link;
                *link = found->next;
                break;
            }
        }
    });
    const bool was_made = found != nullptr;
    delete found;
    return was_made;
}
