// SPDX-License-Identifier: Apache-2.0
// The common part of all handlers that watch a monitor: reads one event and acts on the result.
#pragma once

#include <cerrno>
#include <cstring>

#include "hb_client.h"
#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/uncancelled.h"
#include "lib/mox/event_output.h"
#include "qz_mox.h"

// An event that was read. The object returns it to the service.
class MOX_Read_Event {
  public:
    MOX_Read_Event() = default;
    MOX_Read_Event(const MOX_Read_Event &) = delete;
    MOX_Read_Event &operator=(const MOX_Read_Event &) = delete;
    ~MOX_Read_Event() {
        if (held_) {
            const Hb_Errno_Keeper kept;
            const Hb_Uncancelled guard;
            qz_orb_release_event(&event_);
        }
    }

    int read(int fd, int category) {
        const int result = qz_orb_read_event(fd, category, &event_);
        held_ = result == 0;
        return result;
    }
    const qz_orb_event_metadata_t &metadata() const { return event_; }
    bool has_record() const {
        const void *record = nullptr; // valid for every category, because each member is a pointer
        static_assert(sizeof record == sizeof event_.event);
        std::memcpy(&record, &event_.event, sizeof record);
        return record != nullptr;
    }

  private:
    qz_orb_event_metadata_t event_ = {};
    bool held_ = false;
};

// A handler's trace records. 0: the handler has no such record.
struct MOX_Handler_Records {
    Hb_Trace_Id entry;
    Hb_Trace_Id read_failed;
    Hb_Trace_Id exit;
    Hb_Trace_Id no_event;
};

inline constexpr int MOX_NO_EVENT = -16;

// Reads and discards events until there is none or a read fails. The limit stops it if a service never runs
// out of events. Returns whether there was any event.
inline bool MOX_skip_unread_events(int fd, int category) {
    constexpr int most_events = 200'000; // two for every possible adapter
    const Hb_Errno_Keeper kept;
    int skipped = 0;
    for (int result = 0; result == 0 && skipped < most_events;) {
        MOX_Read_Event event;
        result = event.read(fd, category);
        skipped += result == 0 ? 1 : 0;
    }
    return skipped > 0;
}

// States whether a handler uses the record of its event.
enum class MOX_Record_Use { needed, not_needed };

inline void MOX_trace_handler(Hb_Trace_Id id, int fd) {
    if (id != Hb_Trace_Id{}) {
        hb_trace_values(HB_TRACE_INFO, id, fd);
    }
}

// Reads one event of the category and passes it to `process`, which returns the result of the call. Without
// an event *out.events becomes 0. A failed read changes nothing, not even errno, and sets no error number. A
// needed record that is missing counts as a failed read.
template <typename Process>
Hb_Rc MOX_handle_event(int fd, int category, const MOX_Handler_Records &records, const MOX_Event_Output &out,
                       Process process, MOX_Record_Use use = MOX_Record_Use::needed) {
    MOX_Read_Event event;
    const int result = event.read(fd, category);
    if (result == MOX_NO_EVENT) {
        MOX_trace_handler(records.no_event, fd);
        *out.events = HB_EVENT_NONE;
        return Hb_Success;
    }
    const bool usable = use == MOX_Record_Use::not_needed || event.has_record();
    if (result != 0 || !usable) {
        hb_trace_values(HB_TRACE_INFO, records.read_failed, result, fd, int{errno});
        return Hb_Failure;
    }
    const Hb_Rc processed = process(event.metadata());
    MOX_trace_handler(records.exit, fd);
    return processed;
}
