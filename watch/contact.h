/* SPDX-License-Identifier: Apache-2.0 */
/* Whether the source of the account answers, and what of that has been reported. */
#pragma once

#include <stdint.h>

#include "hb_watch.h"

typedef struct Hbw_Contact {
    int is_current;      /* HB_WATCH_CURRENT was the last report about contact */
    int is_lost;         /* HB_WATCH_UNREACHABLE was, or it is due */
    int loss_due;        /* it is due */
    int error;           /* of the loss */
    int64_t last_life;   /* wall time of the last sign of life; 0: none yet */
    int64_t known_until; /* wall time until which all that is up was known */
} Hbw_Contact;

/* Records a sign of life. */
void hbw_contact_alive(Hbw_Contact *contact, int64_t wall);
/* Records a loss.  Only the first one since the last contact is reported. */
void hbw_contact_lost(Hbw_Contact *contact, int error);

/* Write a report and return 1, or return 0 if none is due. */
int hbw_contact_report_loss(Hbw_Contact *contact, int64_t wall, Hb_Watch_Report *report);
int hbw_contact_report_current(Hbw_Contact *contact, int64_t wall, Hb_Watch_Report *report);
