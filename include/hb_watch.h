/* SPDX-License-Identifier: Apache-2.0 */
/*
 * hb_watch.h - watches a cluster and reports each death and each join once, in libhb_watch.a
 *
 * A watch learns from the node's daemon which nodes and adapters are up.  It connects, subscribes, and connects
 * again after a loss.  After a loss it compares what it had reported with what is up now, and reports the
 * difference.  While it has no contact, it reports that, and does not guess.
 *
 *     Hb_Watch *watch = hb_watch_open(NULL);
 *     Hb_Watch_Report report;
 *     while (hb_watch_wait(watch, &report, -1) == 1)
 *         if (report.kind == HB_WATCH_NODE_DIED)
 *             printf("node %d died\n", report.node);
 *
 * CONVENTIONS
 *
 *  1. No call blocks, except hb_watch_wait, hb_watch_migrate and hb_watch_follow_service.  hb_watch_wait never
 *     exceeds its time-out, also while the daemon is suspended (SIGSTOP).  The watch starts no thread, changes no
 *     signal handler and raises no SIGPIPE.
 *  2. A watch has its own connection to the daemon.  It neither uses nor disturbs the session of hb_client.h.  A
 *     control request of the program therefore cannot swallow an event of the watch.
 *  3. Use a watch in one thread at a time.  Different watches are independent.
 *  4. A forked child may only close its copy of the watch.  The parent's watch continues.  A program started by
 *     exec inherits no descriptor.
 *  5. The watch allocates memory when it opens, when the configuration grows, and for a longer record than before.
 *     It allocates nothing for a report.
 *
 * Link with -lhb_watch -lhb_client.
 */
#ifndef HB_WATCH_H
#define HB_WATCH_H

#include <stdint.h>

#include "hb_client.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------------
 * Opening and closing
 * ---------------------------------------------------------------------------------------------- */

typedef struct Hb_Watch Hb_Watch;

/* What a watch reports. */
enum { HB_WATCH_NODES = 1, HB_WATCH_ADAPTERS = 2 };

/* How to watch.  All times are in milliseconds.
 *
 *   socket_path     the daemon's socket; null: the path that hb_client.h describes under ENVIRONMENT
 *   what            HB_WATCH_NODES, HB_WATCH_ADAPTERS, or both
 *   check_interval  after this silence the watch asks the daemon for a sign of life; default 1000, 0: never
 *   answer_timeout  without an answer for this time the daemon is considered unreachable, for example because it is
 *                   suspended; default 3000.  After five times as long the watch connects again
 *   retry_min       pause before the first attempt to connect again; default 100
 *   retry_max       longest pause; default 5000.  Each pause is twice the last, and up to a tenth longer, at random */
typedef struct Hb_Watch_Options {
    const char *socket_path;
    uint32_t what;
    int32_t check_interval;
    int32_t answer_timeout;
    int32_t retry_min;
    int32_t retry_max;
} Hb_Watch_Options;

/* Sets the defaults: no path, nodes and adapters, and the times above. */
void hb_watch_default_options(Hb_Watch_Options *options);

/* Begins to watch.  Null options mean the defaults.  Returns at once, whether a daemon runs or not; the first
 * report says what was found.  Copies the options.  The caller closes the watch with hb_watch_close.
 * Returns null with errno EINVAL for an option out of range, ENAMETOOLONG for a path longer than 107 bytes,
 * ENOMEM, EMFILE or ENFILE. */
Hb_Watch *hb_watch_open(const Hb_Watch_Options *options);

/* Ends the watch and releases its memory and its descriptors.  Null does nothing.  In cluster-event mode the
 * session of hb_client.h stays open. */
void hb_watch_close(Hb_Watch *watch);

/* ------------------------------------------------------------------------------------------------
 * Reports
 * ---------------------------------------------------------------------------------------------- */

enum {
    HB_WATCH_CURRENT = 1,        /* contact: all that is up has been reported, and the answers below are true */
    HB_WATCH_UNREACHABLE = 2,    /* no contact: the answers below are the last known ones */
    HB_WATCH_NODE_JOINED = 3,    /* a node is up */
    HB_WATCH_NODE_DIED = 4,      /* a node is not up any more */
    HB_WATCH_ADAPTER_JOINED = 5, /* an adapter is up */
    HB_WATCH_ADAPTER_DIED = 6,   /* an adapter is not up any more */
    HB_WATCH_CONFIGURATION = 7   /* the configuration changed; read it again with the functions below */
};

/* Properties of a report. */
enum {
    HB_WATCH_INITIAL = 1,   /* joined: it was up when the watch found it first.  No event */
    HB_WATCH_CAUGHT_UP = 2, /* found by comparison, because its event was missed: between `since` and `time` */
    HB_WATCH_REMOVED = 4    /* died: removed from the configuration.  A node's own event does not say so;
                             * HB_WATCH_CONFIGURATION follows, and hb_watch_node_state then returns Hb_Entity_Undef */
};

/* One report, 104 bytes in every program.
 *
 *   error  of HB_WATCH_UNREACHABLE, the reason as an Hb_Error: 2 the daemon does not answer (it may be suspended),
 *          10 it sent an invalid record, 13 no socket could be created, 15 no daemon listens or this user may not
 *          connect, 16 the daemon closed the connection, 17 no memory, 22 the daemon does not read.  In cluster-event
 *          mode the numbers of hb_get_event_message.  Otherwise 0
 *   time   when the watch learned it, in nanoseconds since 1970
 *   since  of HB_WATCH_UNREACHABLE, the last sign of life, 0 for none.  With HB_WATCH_CAUGHT_UP, until when the
 *          earlier state is known.  Otherwise equal to `time` */
typedef struct Hb_Watch_Report {
    int32_t kind;
    uint32_t flags;
    int32_t node;     /* of a node or adapter; otherwise -1 */
    int32_t network;  /* of an adapter; otherwise -1 */
    uint32_t adapter; /* otherwise 0xFFFFFFFF */
    int32_t error;
    int64_t time;
    int64_t since;
    Hb_FFDC_Id failure; /* the failure's identifier, to find it in logs; empty if the event has none */
    char padding[21];
} Hb_Watch_Report;

/* Returns the descriptor to wait on for reading, with poll, epoll or an event library.  It stays the same until the
 * watch is closed.  Do not read, write or close it.  It stays readable while a report is ready. */
int hb_watch_descriptor(const Hb_Watch *watch);

/* Writes the next report and returns 1, or returns 0 if there is none now.  Call it when the descriptor is
 * readable; a single call is enough, since the descriptor stays readable while more is ready.
 *
 * The order of the reports:
 *   - The first report is a join, HB_WATCH_CURRENT, or HB_WATCH_UNREACHABLE if no daemon listens or answers.
 *   - At the start everything that is up joins, with HB_WATCH_INITIAL; then HB_WATCH_CURRENT follows.
 *   - HB_WATCH_UNREACHABLE appears once for each loss.  When contact returns, the differences follow, with
 *     HB_WATCH_CAUGHT_UP unless their own event arrived; then HB_WATCH_CURRENT.
 *   - Differences that one event causes come in this order: adapters that died, nodes that died,
 *     HB_WATCH_CONFIGURATION, adapters that joined, nodes that joined; each group in ascending order.
 *   - Two reports about a node or an adapter alternate between joined and died.  Nothing is reported twice.
 *   - An adapter that died and joined again while the daemon lost an event is reported as both.  A node that did so
 *     while there was no contact is not reported: no state shows it. */
int hb_watch_next(Hb_Watch *watch, Hb_Watch_Report *report);

/* Waits for the next report, at most `timeout` milliseconds; a negative time-out waits without limit.  Returns 1 with
 * a report, 0 when the time is over, or -1 with errno EINTR when a signal handler ran. */
int hb_watch_wait(Hb_Watch *watch, Hb_Watch_Report *report, int timeout);

/* ------------------------------------------------------------------------------------------------
 * What is configured and up.  These functions answer from the watch's memory, as of the last report.
 * ---------------------------------------------------------------------------------------------- */

/* Returns 1 after HB_WATCH_CURRENT and until HB_WATCH_UNREACHABLE, otherwise 0. */
int hb_watch_is_current(const Hb_Watch *watch);

/* Returns the local node's number, or -1 before the first configuration. */
int hb_watch_local_node(const Hb_Watch *watch);

/* Return the configured node, adapter or network that follows `previous` in ascending order.  Begin with -1, or with
 * 0xFFFFFFFF for adapters; the same value marks the end. */
int hb_watch_next_node(const Hb_Watch *watch, int previous);
Hb_Adapter_Number hb_watch_next_adapter(const Hb_Watch *watch, Hb_Adapter_Number previous);
int hb_watch_next_network(const Hb_Watch *watch, int previous);

/* Return whether a node or an adapter is up, as reported last: Hb_Entity_Up or Hb_Entity_Down.  Hb_Entity_Undef means
 * that it is not configured, not watched, or that nothing is known yet. */
Hb_Entity_State hb_watch_node_state(const Hb_Watch *watch, int node);
Hb_Entity_State hb_watch_adapter_state(const Hb_Watch *watch, Hb_Adapter_Number adapter);

/* One adapter, 64 bytes in every program. */
typedef struct Hb_Watch_Adapter {
    Hb_Adapter_Number number;
    Hb_Entity_State state;
    int16_t node;
    int16_t network;
    Hb_IP_address6 address;
    Hb_Adapter_Type type;
} Hb_Watch_Adapter;

/* Describe a configured adapter or network.  Return 1, or 0 if it is not configured; then nothing is written. */
int hb_watch_adapter(const Hb_Watch *watch, Hb_Adapter_Number number, Hb_Watch_Adapter *adapter);
int hb_watch_network(const Hb_Watch *watch, int number, Hb_Network_Entry *network);

/* Returns the path of the daemon's socket.  The text belongs to the watch. */
const char *hb_watch_socket_path(const Hb_Watch *watch);

/* ------------------------------------------------------------------------------------------------
 * Cluster-event mode
 * ---------------------------------------------------------------------------------------------- */

/* Moves the program from the daemon to the operating system's cluster service, as hb_migrate_to_mox_prep and
 * hb_migrate_to_mox_commit do, and lets this watch follow the service.  The watch reports what differs between the
 * two.  It then reads the events of hb_client.h: do not call hb_get_event_message, hb_terminate or a call of the
 * migration yourself, and subscribe nothing.  At most one watch of a process can follow the service.
 * Opens the library, and then waits and signals as hb_init does.  A session that is open already asks its own daemon
 * to end: a daemon that has started since stays.
 * Adapters can have other numbers there: then the old number dies, with HB_WATCH_REMOVED, and the new one joins.
 * Returns Hb_Success, or Hb_Failure.  Then hb_get_errno() has the error number of the preparation or of hb_init, or
 * errno is EBUSY or EALREADY as for hb_watch_follow_service; the watch and the program stay with the daemon.  If only
 * the last step fails, the program has moved; its errors are those of hb_watch_follow_service, which can be called
 * again. */
Hb_Rc hb_watch_migrate(Hb_Watch *watch);

/* The same for a program that has already called hb_migrate_to_mox_commit.  Returns Hb_Failure with the error number of
 * hb_get_file_descriptor_array or hb_subscribe, or with errno EINVAL if the program is not in cluster-event mode,
 * EBUSY if another watch follows the service, EALREADY if this one does, ENOMEM.  The watch then stays as it is. */
Hb_Rc hb_watch_follow_service(Hb_Watch *watch);

#ifdef __cplusplus
}
#endif

#endif
