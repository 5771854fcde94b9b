// SPDX-License-Identifier: Apache-2.0
// The registry of handlers: lists their descriptors, and dispatches to the handler of a ready one.
#include <new>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"

HandlerInstancesMap *ORBFSHandler::handlerInstances = nullptr;
int ORBFSHandler::handlerListSlots = 0;
int ORBFSHandler::currentSlots = 0;
int ORBFSHandler::numbersOfFileDescriptors = 0;

int *ORBFSHandler::getFileDescriptors() {
    auto *list = new (std::nothrow) int[static_cast<std::size_t>(numbersOfFileDescriptors + 1)];
    if (list == nullptr) {
        return nullptr;
    }
    int copied = 0;
    for (int slot = 0; slot < handlerListSlots && copied < numbersOfFileDescriptors; ++slot) {
        if (handlerInstances[slot].fd != -1) {
            list[copied++] = handlerInstances[slot].fd;
        }
    }
    list[copied] = -1;
    return list;
}

void ORBFSHandler::dispatch(int *ready_fds, int *events, char *subscription_name, Hb_Group *group,
                            unsigned long *length, Hb_Rc *rc) {
    if (ready_fds == nullptr) {
        return;
    }
    for (const int *fd = ready_fds; *fd != -1; ++fd) {
        for (int slot = 0; slot < handlerListSlots; ++slot) {
            if (handlerInstances[slot].fd == *fd && handlerInstances[slot].handler != nullptr) {
                *rc = handlerInstances[slot].handler->handler(events, subscription_name, group, length);
                return;
            }
        }
    }
    set_hb_errno(HB_ERROR_NO_HANDLER);
    hb_trace_values(HB_TRACE_ERRORS, HB_TR_DISPATCH_UNKNOWN, ready_fds[0]);
    *rc = Hb_Failure;
}
