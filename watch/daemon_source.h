/* SPDX-License-Identifier: Apache-2.0 */
/* The daemon as the source of the account: connects, subscribes, compares, and asks for signs of life. */
#pragma once

#include <stdint.h>
#include <sys/types.h>

#include "hb_watch.h"
#include "watch/account.h"
#include "watch/clock.h"
#include "watch/connection.h"
#include "watch/contact.h"
#include "watch/socket_path.h"

typedef struct Hbw_Daemon_Source {
    char path[HBW_PATH_LONGEST + 1];
    Hb_Watch_Options options; /* its path is not used */
    Hbw_Account *account;
    Hbw_Contact *contact;
    int epoll;
    uint32_t epoll_events; /* registered for the connection's descriptor */
    Hbw_Connection connection;
    pid_t pid;
    uint32_t due;           /* answers that must arrive before the account is whole */
    int compares_again;     /* a record was missed during the comparison */
    int questions;          /* for a sign of life, not answered yet */
    uint32_t next_sequence; /* of the next event */
    int64_t asked;          /* steady time of the oldest question without an answer; 0: none */
    int64_t heard;          /* steady time of the last record */
    int64_t retry_at;       /* steady time of the next attempt to connect */
    int64_t pause;          /* before the attempt after that */
    int64_t waiting_since;  /* steady time since when the daemon accepts no connection; 0: it does */
    uint64_t random;
} Hbw_Daemon_Source;

/* Everything else is zero.  `epoll` is the descriptor that the user waits on. */
void hbw_daemon_init(Hbw_Daemon_Source *source, int epoll, Hbw_Account *account, Hbw_Contact *contact);
/* Closes the connection. */
void hbw_daemon_disconnect(Hbw_Daemon_Source *source);
void hbw_daemon_free(Hbw_Daemon_Source *source);

/* Does the next thing: connects, reads one record, or asks for a sign of life.  Returns 1 if there may be more to do
 * now, else 0. */
int hbw_daemon_step(Hbw_Daemon_Source *source, Hbw_Time now);

/* Returns whether the account holds all that the daemon knows. */
int hbw_daemon_is_complete(const Hbw_Daemon_Source *source);
/* Returns whether a step has something to do without an arrival on the descriptor. */
int hbw_daemon_is_ready(const Hbw_Daemon_Source *source);
/* Returns the steady time of the next step that no arrival causes; INT64_MAX: none. */
int64_t hbw_daemon_deadline(const Hbw_Daemon_Source *source);
/* Starts the pauses again after contact was reported. */
void hbw_daemon_settle(Hbw_Daemon_Source *source);
