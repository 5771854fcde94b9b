// What a handler tells its caller beside the group record.
#ifndef MOX_OUTPUT_H
#define MOX_OUTPUT_H

#include <cstring>

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

// Nothing happened that the caller is to know of.
inline void MOX_tell_nothing(int *events, char *name, unsigned long *seqnum_p) {
    *events = HB_EVENT_NONE;
    *seqnum_p = 0;
    std::strcpy(name, MOX_EMPTY_EVENT);
}

// The event under the subscription's name. False, and nothing told, when there is no such subscription.
inline bool MOX_tell(int event, const char *subscription, int *events, char *name) {
    const bool is_subscribed = subscription[0] != '\0';
    *events = is_subscribed ? event : HB_EVENT_NONE;
    std::strcpy(name, is_subscribed ? subscription : MOX_EMPTY_EVENT);
    return is_subscribed;
}

#endif
