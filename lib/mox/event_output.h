// SPDX-License-Identifier: Apache-2.0
// The outputs through which a handler reports an event to its caller.
#pragma once

#include <cstring>

#include "hb_client.h"

inline constexpr char MOX_EMPTY_EVENT[] = HB_EVENT_NAME_EMPTY;

// The four outputs of every handler. Below the handler's own signature they are passed as one.
struct MOX_Event_Output {
    int *events;
    char *name;
    Hb_Group *group; // null: the caller wants no group record
    unsigned long *sequence_number;

    void report_no_event() const {
        *events = HB_EVENT_NONE;
        *sequence_number = 0;
        std::strcpy(name, MOX_EMPTY_EVENT);
    }

    // Reports the event under the subscription's name. Without a subscription it reports no event and returns
    // false.
    bool report(int event, const char *subscription) const {
        const bool is_subscribed = subscription[0] != '\0';
        *events = is_subscribed ? event : 0;
        std::strcpy(name, is_subscribed ? subscription : MOX_EMPTY_EVENT);
        return is_subscribed;
    }

    void report_configuration_change() const {
        *events = HB_EVENT_CONFIG;
        std::strcpy(name, HB_EVENT_NAME_CONFIG);
    }
};
