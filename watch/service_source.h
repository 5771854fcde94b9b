/* SPDX-License-Identifier: Apache-2.0 */
/* The cluster service as the source of the account, through the events of hb_client.h. */
#pragma once

#include <poll.h>
#include <stdint.h>

#include "hb_watch.h"
#include "watch/account.h"
#include "watch/clock.h"
#include "watch/contact.h"

typedef struct Hbw_Service_Source {
    uint32_t what;
    int64_t pause;
    Hbw_Account *account;
    Hbw_Contact *contact;
    int epoll;
    struct pollfd *descriptors; /* null: the service is not the source */
    int count;
    Hb_Group *event;
    Hb_Subscription_Group *group;
    int configuration_due;
    uint32_t due;     /* groups that must arrive before the account is whole */
    int64_t retry_at; /* steady time at which a service that failed is asked again; 0: it did not fail */
} Hbw_Service_Source;

/* Subscribes in the session of hb_client.h, which is in cluster-event mode.  Everything else of the source is zero.
 * Returns Hb_Success, or Hb_Failure with nothing changed. */
Hb_Rc hbw_service_begin(Hbw_Service_Source *source, uint32_t what, int64_t pause, int epoll,
                        Hbw_Account *account, Hbw_Contact *contact);
void hbw_service_free(Hbw_Service_Source *source);

/* As for the daemon. */
int hbw_service_step(Hbw_Service_Source *source, Hbw_Time now);
int hbw_service_is_complete(const Hbw_Service_Source *source);
int64_t hbw_service_deadline(const Hbw_Service_Source *source);
