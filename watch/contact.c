/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/contact.h"

#include <string.h>

void hbw_contact_alive(Hbw_Contact *contact, int64_t wall) {
    contact->last_life = wall;
    if (contact->is_current) {
        contact->known_until = wall;
    }
}

void hbw_contact_lost(Hbw_Contact *contact, int error) {
    if (!contact->is_lost) {
        contact->is_lost = 1;
        if (contact->known_until == 0) {
            contact->known_until = contact->last_life; /* of the part that was known */
        }
        contact->loss_due = 1;
        contact->error = error;
    }
}

static void begin_report(int kind, int64_t wall, Hb_Watch_Report *report) {
    memset(report, 0, sizeof *report);
    report->kind = kind;
    report->node = -1;
    report->network = -1;
    report->adapter = 0xFFFFFFFFU;
    report->time = wall;
    report->since = wall;
}

int hbw_contact_report_loss(Hbw_Contact *contact, int64_t wall, Hb_Watch_Report *report) {
    if (!contact->loss_due) {
        return 0;
    }
    begin_report(HB_WATCH_UNREACHABLE, wall, report);
    report->error = contact->error;
    report->since = contact->last_life;
    contact->loss_due = 0;
    contact->is_current = 0;
    return 1;
}

int hbw_contact_report_current(Hbw_Contact *contact, int64_t wall, Hb_Watch_Report *report) {
    if (contact->is_current) {
        return 0;
    }
    begin_report(HB_WATCH_CURRENT, wall, report);
    contact->is_current = 1;
    contact->is_lost = 0;
    contact->known_until = wall;
    return 1;
}
