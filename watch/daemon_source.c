/* SPDX-License-Identifier: Apache-2.0 */
#define _GNU_SOURCE
#include "watch/daemon_source.h"

#include <sys/epoll.h>
#include <unistd.h>

/* Answers that are due. */
enum { CONFIGURATION_DUE = 1, NODES_DUE = 2, ADAPTERS_DUE = 4 };

enum { REMOVED_BIT = 0x08000000 };

void hbw_daemon_init(Hbw_Daemon_Source *source, int epoll, Hbw_Account *account, Hbw_Contact *contact) {
    hbw_connection_init(&source->connection);
    source->epoll = epoll;
    source->account = account;
    source->contact = contact;
    source->pid = getpid();
    const Hbw_Time now = hbw_now();
    source->random = (uint64_t)now.wall ^ ((uint64_t)source->pid << 32);
    source->retry_at = now.steady;
    source->pause = source->options.retry_min * HBW_MILLISECOND;
}

void hbw_daemon_free(Hbw_Daemon_Source *source) {
    hbw_connection_free(&source->connection);
}

static int is_connected(const Hbw_Daemon_Source *source) {
    return source->connection.descriptor >= 0;
}

/* ---- The user's descriptor ---- */

/* Waits for room, too, while something is kept for the daemon. */
static void wait_for_events(Hbw_Daemon_Source *source) {
    const uint32_t wanted = EPOLLIN | (source->connection.output_size > 0 ? (uint32_t)EPOLLOUT : 0);
    if (wanted != source->epoll_events) {
        struct epoll_event event = {wanted, {0}};
        epoll_ctl(source->epoll, source->epoll_events == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD,
                  source->connection.descriptor, &event);
        source->epoll_events = wanted;
    }
}

/* ---- Pauses ---- */

/* A random tenth keeps the clients of a daemon that has started again apart. */
static int64_t with_random_tenth(Hbw_Daemon_Source *source, int64_t length) {
    source->random = source->random * UINT64_C(6364136223846793005) + UINT64_C(1442695040888963407);
    return length + (int64_t)((source->random >> 33) % (uint64_t)(length / 10 + 1));
}

static void rest(Hbw_Daemon_Source *source, Hbw_Time now) {
    source->retry_at = now.steady + with_random_tenth(source, source->pause);
    const int64_t longest = source->options.retry_max * HBW_MILLISECOND;
    source->pause = source->pause * 2 < longest ? source->pause * 2 : longest;
}

void hbw_daemon_settle(Hbw_Daemon_Source *source) {
    source->pause = source->options.retry_min * HBW_MILLISECOND;
}

/* A forked child can hold a copy of the connection, so that closing it does not end its registration. */
void hbw_daemon_disconnect(Hbw_Daemon_Source *source) {
    if (source->epoll_events != 0) {
        epoll_ctl(source->epoll, EPOLL_CTL_DEL, source->connection.descriptor, NULL);
        source->epoll_events = 0;
    }
    hbw_connection_close(&source->connection);
}

static void lose(Hbw_Daemon_Source *source, int error, Hbw_Time now) {
    hbw_daemon_disconnect(source);
    source->waiting_since = 0;
    hbw_contact_lost(source->contact, error);
    rest(source, now);
}

/* ---- Requests ---- */

static int send_request(Hbw_Daemon_Source *source, const unsigned char *request, size_t size) {
    return hbw_send(&source->connection, request, size);
}

static int subscribe(Hbw_Daemon_Source *source) {
    unsigned char request[HBW_REQUEST_LONGEST];
    int result = HBW_DONE;
    if ((source->options.what & HB_WATCH_ADAPTERS) != 0) {
        source->due |= ADAPTERS_DUE;
        result = send_request(
            source, request,
            hbw_subscribe_all(request, source->pid, Hb_All_Adapters_Subscription, "hb_watch-adapters"));
    }
    if (result == HBW_DONE && (source->options.what & HB_WATCH_NODES) != 0) {
        source->due |= NODES_DUE;
        result =
            send_request(source, request,
                         hbw_subscribe_all(request, source->pid, Hb_All_Nodes_Subscription, "hb_watch-nodes"));
    }
    return result;
}

/* The route to the local node is the shortest question that any user may ask. */
static int ask_for_life(Hbw_Daemon_Source *source, Hbw_Time now) {
    unsigned char request[HBW_REQUEST_LONGEST];
    if (source->asked == 0) {
        source->asked = now.steady;
    }
    ++source->questions;
    return send_request(source, request,
                        hbw_ask_route(request, source->pid, source->account->configuration.local_node));
}

/* Requests the configuration and all that is up.  The local node is known from an earlier configuration, if at all. */
static int compare(Hbw_Daemon_Source *source, Hbw_Time now) {
    unsigned char request[HBW_REQUEST_LONGEST];
    source->due |= CONFIGURATION_DUE;
    int result = send_request(source, request, hbw_ask_configuration(request, source->pid));
    if (result == HBW_DONE) {
        result = subscribe(source);
    }
    if (result == HBW_DONE && source->account->configuration.known) {
        result = ask_for_life(source, now);
    }
    return result;
}

static int open_session(Hbw_Daemon_Source *source, Hbw_Time now) {
    source->waiting_since = 0;
    source->due = 0;
    source->compares_again = 0;
    source->questions = 0;
    source->next_sequence = 1;
    source->asked = now.steady;
    source->heard = now.steady;
    source->account->same_source = 0;
    return compare(source, now);
}

static int64_t patience(const Hbw_Daemon_Source *source) {
    return source->options.answer_timeout * HBW_MILLISECOND;
}

static void wait_for_room(Hbw_Daemon_Source *source, Hbw_Time now) {
    if (source->waiting_since == 0) {
        source->waiting_since = now.steady;
    }
    source->retry_at = now.steady + source->options.retry_min * HBW_MILLISECOND;
    if (now.steady - source->waiting_since >= patience(source)) {
        hbw_contact_lost(source->contact, HB_ERROR_TIMEOUT);
    }
}

static int try_to_connect(Hbw_Daemon_Source *source, Hbw_Time now) {
    if (now.steady < source->retry_at) {
        return 0;
    }
    int result = hbw_connect(&source->connection, source->path);
    if (result == HBW_NOTHING_NOW) {
        wait_for_room(source, now);
        return 1;
    }
    if (result == HBW_DONE) {
        result = open_session(source, now);
    }
    if (result == HBW_DONE) {
        wait_for_events(source);
    } else {
        lose(source, result, now);
    }
    return 1;
}

/* ---- Records ---- */

static uint32_t group_of(Hbw_Sort sort) {
    return sort == HBW_NODE ? (uint32_t)NODES_DUE : (uint32_t)ADAPTERS_DUE;
}

static int is_watched(const Hbw_Daemon_Source *source, Hbw_Sort sort) {
    return (source->options.what &
            (sort == HBW_NODE ? (uint32_t)HB_WATCH_NODES : (uint32_t)HB_WATCH_ADAPTERS)) != 0;
}

static int read_configuration(Hbw_Daemon_Source *source, const Hbw_Record *record, int announced) {
    const int error = hbw_configuration_read(&source->account->next, record->body, record->size);
    if (error != 0) {
        return error;
    }
    return hbw_account_configure(source->account, announced) == 0 ? HBW_DONE : HB_ERROR_NO_MEMORY;
}

static int read_reply_configuration(Hbw_Daemon_Source *source, const Hbw_Record *record, Hbw_Time now) {
    if ((source->due & CONFIGURATION_DUE) == 0) {
        return HBW_DONE;
    }
    const int error = read_configuration(source, record, 0);
    if (error != HBW_DONE) {
        return error;
    }
    source->due &= ~(uint32_t)CONFIGURATION_DUE;
    return source->questions == 0 ? ask_for_life(source, now) : HBW_DONE;
}

typedef enum Change { DEATH, JOIN, GROUP } Change;

static void change_member(Hbw_Account *account, Change change, Hbw_Sort sort, uint32_t number,
                          uint32_t incarnation) {
    switch (change) {
    case DEATH:
        hbw_account_die(account, sort, number, sort == HBW_ADAPTER && (incarnation & REMOVED_BIT) != 0);
        break;
    case JOIN:
        hbw_account_join(account, sort, number, incarnation);
        break;
    case GROUP:
        hbw_account_add_member(account, sort, number, incarnation);
        break;
    }
}

enum { PAIR_COUNT_SIZE = 4, PAIR_SIZE = 8, NODE_SIZE = 4 };

static int64_t pairs_of(const Hbw_Record *record) {
    return (int64_t)hbw_number_at(record->body) + 1;
}

/* A record must hold what it announces, before it changes anything. */
static int has_members(const Hbw_Account *account, Hbw_Sort sort, const Hbw_Record *record) {
    if (sort == HBW_NODE) {
        return record->size / NODE_SIZE >= account->configuration.node_slots;
    }
    return record->size >= PAIR_COUNT_SIZE && pairs_of(record) >= 0 &&
           (uint64_t)pairs_of(record) <= (record->size - PAIR_COUNT_SIZE) / PAIR_SIZE;
}

static void read_adapters(Hbw_Account *account, Change change, const Hbw_Record *record) {
    const int64_t pairs = pairs_of(record);
    for (int64_t i = 0; i < pairs; ++i) {
        const unsigned char *pair = record->body + PAIR_COUNT_SIZE + i * PAIR_SIZE;
        const uint32_t incarnation = (uint32_t)hbw_number_at(pair + 4);
        if (incarnation != 0xFFFFFFFFU) { /* "not in the group" */
            change_member(account, change, HBW_ADAPTER, (uint32_t)hbw_number_at(pair), incarnation);
        }
    }
}

static void read_nodes(Hbw_Account *account, Change change, const Hbw_Record *record) {
    for (uint32_t node = 0; node < account->configuration.node_slots; ++node) {
        if (hbw_number_at(record->body + (size_t)node * NODE_SIZE) == Hb_True) {
            change_member(account, change, HBW_NODE, node, 0);
        }
    }
}

static void read_members(Hbw_Account *account, Change change, Hbw_Sort sort, const Hbw_Record *record) {
    if (sort == HBW_NODE) {
        read_nodes(account, change, record);
    } else {
        read_adapters(account, change, record);
    }
}

/* A group before the configuration that it is about has no meaning. */
static int read_group(Hbw_Daemon_Source *source, Hbw_Sort sort, const Hbw_Record *record) {
    if (!is_watched(source, sort) || (source->due & CONFIGURATION_DUE) != 0) {
        return HBW_DONE;
    }
    if (!has_members(source->account, sort, record)) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    hbw_account_begin_group(source->account, sort);
    read_members(source->account, GROUP, sort, record);
    hbw_account_end_group(source->account, sort);
    source->due &= ~group_of(sort);
    if (sort == HBW_ADAPTER) {
        source->account->same_source = 1;
    }
    return HBW_DONE;
}

/* An event before the group that is due adds nothing to it.  Nor does one before the next comparison. */
static int read_event(Hbw_Daemon_Source *source, Change change, Hbw_Sort sort, const Hbw_Record *record) {
    if (!is_watched(source, sort) || (source->due & group_of(sort)) != 0 || source->compares_again) {
        return HBW_DONE;
    }
    if (!has_members(source->account, sort, record)) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    read_members(source->account, change, sort, record);
    return HBW_DONE;
}

/* The daemon answers in order.  So everything that was due before the question has arrived with its answer, unless it
 * was missed. */
static int read_answer(Hbw_Daemon_Source *source, Hbw_Time now) {
    if (source->questions == 0 || --source->questions > 0) {
        return HBW_DONE;
    }
    source->asked = 0;
    if (source->compares_again) {
        source->compares_again = 0;
        return compare(source, now);
    }
    return source->due == 0 ? HBW_DONE : HB_ERROR_UNEXPECTED_REPLY;
}

/* Returns whether the record is to be read.  A record that was read before, or that a later one has overtaken, is not.
 * After a missing record, the watch compares, one comparison after the other. */
static int check_sequence(Hbw_Daemon_Source *source, const Hbw_Record *record, Hbw_Time now, int *error) {
    const int32_t ahead = (int32_t)(record->sequence - source->next_sequence);
    *error = HBW_DONE;
    if (ahead < 0) {
        return 0;
    }
    source->next_sequence = record->sequence == UINT32_MAX ? 1 : record->sequence + 1; /* 0 is a reply's */
    if (ahead > 0 && source->due != 0) {
        source->compares_again = 1;
    } else if (ahead > 0) {
        *error = compare(source, now);
    }
    return *error == HBW_DONE;
}

static int read_by_kind(Hbw_Daemon_Source *source, const Hbw_Record *record, Hbw_Time now) {
    switch (record->kind) {
    case HBW_CONFIGURATION:
        return read_reply_configuration(source, record, now);
    case HBW_CONFIGURATION_UPDATE:
        return (source->due & CONFIGURATION_DUE) != 0 ? HBW_DONE : read_configuration(source, record, 1);
    case HBW_ADAPTER_DEATH:
        return read_event(source, DEATH, HBW_ADAPTER, record);
    case HBW_ADAPTER_JOIN:
        return read_event(source, JOIN, HBW_ADAPTER, record);
    case HBW_ADAPTER_GROUP:
        return read_group(source, HBW_ADAPTER, record);
    case HBW_NODE_DEATH:
        return read_event(source, DEATH, HBW_NODE, record);
    case HBW_NODE_JOIN:
        return read_event(source, JOIN, HBW_NODE, record);
    case HBW_NODE_GROUP:
        return read_group(source, HBW_NODE, record);
    case HBW_ROUTE:
        return read_answer(source, now);
    default:
        return HBW_DONE; /* for other readers */
    }
}

static int has_failure_identifier(const Hbw_Record *record) {
    return record->kind == HBW_ADAPTER_DEATH || record->kind == HBW_ADAPTER_JOIN ||
           record->kind == HBW_NODE_DEATH || record->kind == HBW_NODE_JOIN;
}

static int read_record(Hbw_Daemon_Source *source, const Hbw_Record *record, Hbw_Time now) {
    int error = HBW_DONE;
    hbw_account_stamp(source->account, now.wall, source->contact->known_until,
                      has_failure_identifier(record) ? record->failure : NULL);
    if (record->sequence != 0 && !check_sequence(source, record, now, &error)) {
        return error;
    }
    error = read_by_kind(source, record, now);
    if (source->due == 0 && !source->compares_again) {
        hbw_contact_alive(source->contact, now.wall);
    } else {
        source->contact->last_life = now.wall;
    }
    return error;
}

/* ---- Silence ---- */

static int64_t silence_ends(const Hbw_Daemon_Source *source) {
    return (source->asked > source->heard ? source->asked : source->heard) + patience(source);
}

static int64_t question_is_due(const Hbw_Daemon_Source *source) {
    return source->heard + source->options.check_interval * HBW_MILLISECOND;
}

/* A suspended daemon answers when it continues.  One that hangs may have been replaced: then only a new connection
 * reaches its successor. */
static int64_t connection_ends(const Hbw_Daemon_Source *source) {
    enum { TIMES = 4 };
    return silence_ends(source) + TIMES * patience(source);
}

static int watch_silence(Hbw_Daemon_Source *source, Hbw_Time now) {
    if (source->asked != 0) {
        if (now.steady >= connection_ends(source)) {
            lose(source, HB_ERROR_TIMEOUT, now);
            return 1;
        }
        if (!source->contact->is_lost && now.steady >= silence_ends(source)) {
            hbw_contact_lost(source->contact, HB_ERROR_TIMEOUT);
            return 1;
        }
    } else if (source->options.check_interval > 0 && now.steady >= question_is_due(source)) {
        const int error = ask_for_life(source, now);
        if (error != HBW_DONE) {
            lose(source, error, now);
        }
    }
    return 0;
}

/* ---- Steps ---- */

static int listen_to_daemon(Hbw_Daemon_Source *source, Hbw_Time now) {
    Hbw_Record record;
    hbw_flush(&source->connection);
    int result = hbw_receive(&source->connection, &record);
    if (result == HBW_NOTHING_NOW) {
        result = watch_silence(source, now);
        if (is_connected(source)) {
            wait_for_events(source);
        }
        return result;
    }
    if (result == HBW_DONE) {
        source->heard = now.steady;
        result = read_record(source, &record, now);
    }
    if (result != HBW_DONE) {
        lose(source, result, now);
    }
    return 1;
}

int hbw_daemon_step(Hbw_Daemon_Source *source, Hbw_Time now) {
    return is_connected(source) ? listen_to_daemon(source, now) : try_to_connect(source, now);
}

int hbw_daemon_is_complete(const Hbw_Daemon_Source *source) {
    return is_connected(source) && source->due == 0 && source->questions == 0;
}

int hbw_daemon_is_ready(const Hbw_Daemon_Source *source) {
    return is_connected(source) && hbw_has_record(&source->connection);
}

int64_t hbw_daemon_deadline(const Hbw_Daemon_Source *source) {
    if (!is_connected(source)) {
        return source->retry_at;
    }
    if (source->asked != 0) {
        return source->contact->is_lost ? connection_ends(source) : silence_ends(source);
    }
    return source->options.check_interval > 0 ? question_is_due(source) : INT64_MAX;
}
