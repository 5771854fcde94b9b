// SPDX-License-Identifier: Apache-2.0
// The subscription names of node, network and site events in cluster-event mode. Empty: no subscription.
#pragma once

#include "hb_client.h"

extern Hb_Name nodeEventSubscriptionName;
extern Hb_Name networkEventSubscriptionName;
extern Hb_Name siteEventSubscriptionName;

void hb_clear_subscription_names();

// Copies at most 31 characters. The slot always ends with a NUL.
void hb_set_name(Hb_Name &slot, const char *name);
