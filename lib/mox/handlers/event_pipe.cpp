// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/event_pipe.h"

#include <cerrno>
#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/mox/handlers/process_handlers.h"

int MOX_write_byte(int fd, char byte) {
    return static_cast<int>(write(fd, &byte, 1));
}

void MOX_wake_for_queued_events() {
    MOX_with_queue_locked([] {
        bool others = false;
        for (const MOX_Event *ev = event_queue_list; ev != nullptr; ev = ev->next) {
            if (ev->type == MOX_MESSAGE_RECEIVED) {
                MOX_write_byte(event_pipe_handler_p->getWriteFd(), 1);
            } else {
                others = true;
            }
        }
        if (others) {
            MOX_write_byte(event_pipe_handler_p->getWriteFd(), 1);
        }
    });
}

Hb_Rc MOX_write_to_event_pipe() {
    Hb_Rc result = Hb_Success;
    int write_errno = 0;
    MOX_with_queue_locked([&] {
        if (event_queue_list == nullptr) {
            event_sequence = 0;
            return;
        }
        const int written =
            MOX_write_byte(event_pipe_handler_p != nullptr ? event_pipe_handler_p->getWriteFd() : -1, 1);
        if (written == 1) {
            hb_trace_id(HB_TRACE_INFO, HB_TR_EVENT_PIPE_WRITTEN);
            return;
        }
        write_errno = errno;
        hb_trace_values(HB_TRACE_INFO, HB_TR_EVENT_PIPE_WRITE_FAILED, written, write_errno);
        set_hb_errno(HB_ERROR_WAKE_UP_FAILED);
        result = Hb_Failure;
    });
    if (result != Hb_Success) {
        errno = write_errno;
    }
    return result;
}
