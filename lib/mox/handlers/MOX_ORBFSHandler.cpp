// SPDX-License-Identifier: Apache-2.0
// A handler's descriptor and its entry in the registry.
#include "lib/mox/handlers/MOX_ORBFSHandler.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/base/uncancelled.h"
#include "qz_mox.h"

// A failed assertion calls this function. It is declared here because with NDEBUG <cassert> does not declare
// it.
extern "C" [[noreturn]] void __assert_fail(const char *assertion, const char *file, unsigned int line,
                                           const char *function) noexcept;

namespace {

constexpr int SLOTS_STEP = 10;
constexpr FDHandlerArray FREE_SLOT = {-1, nullptr};

FDHandlerArray *find_slot(FDHandlerArray *first, FDHandlerArray *end, int fd) {
    return std::find_if(first, end,
                        [fd](const FDHandlerArray &slot) { return slot.fd == fd && slot.handler != nullptr; });
}

char *copy_of(const char *text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    auto *copy = new (std::nothrow) char[size];
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

void trace_open_failure(const char *fname, int result, int error) {
    if (hb_trace_on(HB_TRACE_ERRORS)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_MONITOR_NOT_OPENED, pTokens[HB_TRACE_ERRORS], 3, fname,
                            static_cast<int>(std::strlen(fname) + 1), &result, 4, &error, 4);
    }
}

void trace_monitor(Hb_Trace_Category category, Hb_Trace_Id id, const char *fname, int fd) {
    if (hb_trace_on(category)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, id, pTokens[category], 2, fname,
                            static_cast<int>(std::strlen(fname) + 1), &fd, 4);
    }
}

} // namespace

ORBFSHandler::ORBFSHandler(char *fname)
    : orbfs_fd(-1), orbfs_fname(nullptr), mox_open_file_rc(-1), open_file_errno(0) {
    if (fname == nullptr) {
        hb_trace_id(HB_TRACE_ERRORS, HB_TR_MONITOR_WITHOUT_NAME);
        __assert_fail("__null != fname", "lib/mox/handlers/MOX_ORBFSHandler", __LINE__,
                      "ORBFSHandler::ORBFSHandler(char*)");
    }
    mox_open_file_rc = qz_orb_open_monitor(fname, &orbfs_fd);
    open_file_errno = errno;
    if (mox_open_file_rc != 0 || orbfs_fd < 0) {
        trace_open_failure(fname, mox_open_file_rc, open_file_errno);
        mox_open_file_rc = mox_open_file_rc != 0 ? mox_open_file_rc : -1;
        orbfs_fd = -1;
        return;
    }
    open_file_errno = 0;
    orbfs_fname = copy_of(fname);
    trace_monitor(HB_TRACE_INFO, HB_TR_MONITOR_OPENED, fname, orbfs_fd);
    selfRegister();
}

ORBFSHandler::ORBFSHandler(int *, char *fname)
    : orbfs_fd(-1), orbfs_fname(copy_of(fname)), mox_open_file_rc(-1), open_file_errno(0) {}

ORBFSHandler::~ORBFSHandler() {
    // Slots are found by descriptor. Another handler with the same descriptor may come first: its slot is
    // freed, and it moves to this one's slot. No slot may point to a deleted object.
    HandlerInstancesMap *const end = handlerInstances + handlerListSlots;
    HandlerInstancesMap *const first = find_slot(handlerInstances, end, orbfs_fd);
    ORBFSHandler *displaced = first != end && first->handler != this ? first->handler : nullptr;
    selfUnregister();
    for (HandlerInstancesMap *slot = handlerInstances; slot != end; ++slot) {
        if (slot->handler == this) {
            const bool moves = displaced != nullptr;
            *slot = moves ? FDHandlerArray{slot->fd, displaced} : FREE_SLOT;
            displaced = nullptr;
            numbersOfFileDescriptors -= !moves && numbersOfFileDescriptors > 0 ? 1 : 0;
        }
    }
    if (orbfs_fd != -1) {
        const Hb_Uncancelled guard; // close is a cancellation point
        close(orbfs_fd);
        orbfs_fd = -1;
    }
    delete[] orbfs_fname;
}

void ORBFSHandler::selfRegister() {
    if (orbfs_fd == -1) {
        if (orbfs_fname != nullptr) {
            trace_monitor(HB_TRACE_ERRORS, HB_TR_REGISTER_NAMED_WITHOUT_FD, orbfs_fname, orbfs_fd);
        } else {
            hb_trace_values(HB_TRACE_ERRORS, HB_TR_REGISTER_WITHOUT_FD, orbfs_fd);
        }
        return;
    }
    if (handlerInstances == nullptr) {
        handlerInstances = new (std::nothrow) HandlerInstancesMap[SLOTS_STEP];
        if (handlerInstances == nullptr) {
            return;
        }
        std::fill_n(handlerInstances, SLOTS_STEP, FREE_SLOT);
        handlerListSlots = SLOTS_STEP;
        currentSlots = 0;
        numbersOfFileDescriptors = 0;
    } else if (currentSlots == handlerListSlots) {
        auto *grown =
            new (std::nothrow) HandlerInstancesMap[static_cast<std::size_t>(handlerListSlots + SLOTS_STEP)]();
        if (grown == nullptr) {
            return;
        }
        std::copy_n(handlerInstances, currentSlots, grown);
        delete[] handlerInstances;
        handlerInstances = grown;
        handlerListSlots += SLOTS_STEP;
    }
    handlerInstances[currentSlots] = {orbfs_fd, this};
    ++currentSlots;
    ++numbersOfFileDescriptors;
}

void ORBFSHandler::selfUnregister() {
    HandlerInstancesMap *const end = handlerInstances + handlerListSlots;
    HandlerInstancesMap *const first = find_slot(handlerInstances, end, orbfs_fd);
    if (first == end) {
        return;
    }
    *first = FREE_SLOT;
    if (numbersOfFileDescriptors < 1) {
        set_hb_errno(HB_ERROR_HANDLER_NOT_REGISTERED);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_UNREGISTER_WITHOUT_COUNT, HB_ERROR_HANDLER_NOT_REGISTERED,
                        numbersOfFileDescriptors);
        return;
    }
    --numbersOfFileDescriptors;
}
