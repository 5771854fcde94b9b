// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/subscription_names.h"

#include <cstring>
#include <initializer_list>

Hb_Name nodeEventSubscriptionName;
Hb_Name networkEventSubscriptionName;
Hb_Name siteEventSubscriptionName;

void hb_clear_subscription_names() {
    for (Hb_Name *slot :
         {&nodeEventSubscriptionName, &networkEventSubscriptionName, &siteEventSubscriptionName}) {
        std::memset(*slot, 0, sizeof *slot);
    }
}

void hb_set_name(Hb_Name &slot, const char *name) {
    const std::size_t length = strnlen(name, sizeof slot - 1);
    std::memmove(slot, name, length); // the name may be the slot itself
    std::memset(slot + length, 0, sizeof slot - length);
}
