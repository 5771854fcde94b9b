/* SPDX-License-Identifier: Apache-2.0 */
#define _GNU_SOURCE
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "hb_watch.h"
#include "watch/account.h"
#include "watch/clock.h"
#include "watch/contact.h"
#include "watch/daemon_source.h"
#include "watch/service_source.h"

/* Records that a call reads at most without a report, so that it ends. */
enum { RECORDS_MOST = 64 };

struct Hb_Watch {
    int epoll;     /* the user's descriptor */
    int timer;     /* readable when a step is due, also while a report is ready */
    int64_t armed; /* the steady time to which the timer is set */
    int follows_service;
    Hbw_Account account;
    Hbw_Contact contact;
    Hbw_Daemon_Source daemon;
    Hbw_Service_Source service;
};

_Static_assert(sizeof(Hb_Watch_Report) == 104, "the report has the same size in every program");
_Static_assert(sizeof(Hb_Watch_Adapter) == 64, "the adapter has the same size in every program");

/* The events of hb_client.h can be read by one watch of the process only. */
static const Hb_Watch *follower;

/* ---- Opening and closing ---- */

void hb_watch_default_options(Hb_Watch_Options *options) {
    memset(options, 0, sizeof *options);
    options->what = HB_WATCH_NODES | HB_WATCH_ADAPTERS;
    options->check_interval = 1000;
    options->answer_timeout = 3000;
    options->retry_min = 100;
    options->retry_max = 5000;
}

static int are_valid(const Hb_Watch_Options *options) {
    const int has_path = options->socket_path == NULL || *options->socket_path != '\0';
    return has_path && options->what != 0 &&
           (options->what & ~(uint32_t)(HB_WATCH_NODES | HB_WATCH_ADAPTERS)) == 0 &&
           options->check_interval >= 0 && options->answer_timeout > 0 && options->retry_min > 0 &&
           options->retry_max >= options->retry_min;
}

static int open_descriptors(Hb_Watch *watch) {
    struct epoll_event event = {EPOLLIN, {0}};
    watch->epoll = epoll_create1(EPOLL_CLOEXEC);
    watch->timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    return watch->epoll >= 0 && watch->timer >= 0 ? epoll_ctl(watch->epoll, EPOLL_CTL_ADD, watch->timer, &event)
                                                  : -1;
}

/* A time of 0 would disarm the timer. */
static void arm_timer(Hb_Watch *watch, int64_t steady) {
    if (steady == watch->armed) {
        return;
    }
    watch->armed = steady;
    const int64_t second = 1000 * HBW_MILLISECOND;
    struct itimerspec time;
    memset(&time, 0, sizeof time);
    if (steady != INT64_MAX) {
        time.it_value.tv_sec = (time_t)(steady / second);
        time.it_value.tv_nsec = (long)(steady % second);
    }
    timerfd_settime(watch->timer, TFD_TIMER_ABSTIME, &time, NULL);
}

enum { AT_ONCE = 1 };

Hb_Watch *hb_watch_open(const Hb_Watch_Options *given) {
    Hb_Watch_Options options;
    hb_watch_default_options(&options);
    if (given != NULL) {
        options = *given;
    }
    if (!are_valid(&options)) {
        errno = EINVAL;
        return NULL;
    }
    Hb_Watch *watch = calloc(1, sizeof *watch);
    if (watch == NULL) {
        return NULL;
    }
    watch->epoll = -1;
    watch->timer = -1;
    watch->daemon.connection.descriptor = -1;
    if (hbw_socket_path(options.socket_path, watch->daemon.path) != 0) {
        errno = ENAMETOOLONG;
    } else if (open_descriptors(watch) == 0) {
        watch->daemon.options = options;
        watch->daemon.options.socket_path = NULL;
        hbw_daemon_init(&watch->daemon, watch->epoll, &watch->account, &watch->contact);
        arm_timer(watch, AT_ONCE);
        return watch;
    }
    const int reason = errno;
    hb_watch_close(watch);
    errno = reason;
    return NULL;
}

static void close_descriptor(int descriptor) {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

void hb_watch_close(Hb_Watch *watch) {
    if (watch == NULL) {
        return;
    }
    if (watch->follows_service) {
        follower = NULL;
    }
    hbw_daemon_free(&watch->daemon);
    hbw_service_free(&watch->service);
    hbw_account_free(&watch->account);
    close_descriptor(watch->timer);
    close_descriptor(watch->epoll);
    free(watch);
}

/* ---- Reports ---- */

int hb_watch_descriptor(const Hb_Watch *watch) {
    return watch->epoll;
}

static int step(Hb_Watch *watch, Hbw_Time now) {
    return watch->follows_service ? hbw_service_step(&watch->service, now)
                                  : hbw_daemon_step(&watch->daemon, now);
}

static int is_complete(const Hb_Watch *watch) {
    return watch->follows_service ? hbw_service_is_complete(&watch->service)
                                  : hbw_daemon_is_complete(&watch->daemon);
}

static int64_t deadline(const Hb_Watch *watch) {
    return watch->follows_service ? hbw_service_deadline(&watch->service) : hbw_daemon_deadline(&watch->daemon);
}

static int is_current_due(const Hb_Watch *watch) {
    return !watch->contact.is_current && is_complete(watch);
}

static int is_report_due(const Hb_Watch *watch) {
    return hbw_account_has_more(&watch->account) || watch->contact.loss_due || is_current_due(watch) ||
           (!watch->follows_service && hbw_daemon_is_ready(&watch->daemon));
}

static int report_contact(Hb_Watch *watch, Hbw_Time now, Hb_Watch_Report *report) {
    if (hbw_contact_report_loss(&watch->contact, now.wall, report)) {
        return 1;
    }
    if (is_current_due(watch) && hbw_contact_report_current(&watch->contact, now.wall, report)) {
        hbw_daemon_settle(&watch->daemon);
        return 1;
    }
    return 0;
}

int hb_watch_next(Hb_Watch *watch, Hb_Watch_Report *report) {
    const Hbw_Time now = hbw_now();
    int records = 0;
    int is_more = 1;
    int found = 0;
    while (!found && is_more && records < RECORDS_MOST) {
        found = hbw_account_next(&watch->account, report) || report_contact(watch, now, report);
        if (!found) {
            is_more = step(watch, now);
            ++records;
        }
    }
    if (!found && is_more) {
        watch->armed = 0; /* the timer fires once more, so that an edge-triggered user calls again */
    }
    const int is_at_once = found ? is_report_due(watch) : is_more;
    arm_timer(watch, is_at_once ? AT_ONCE : deadline(watch));
    return found;
}

/* Milliseconds to wait, rounded up, so that the wait does not end before the time-out. */
static int left_until(int64_t end) {
    const int64_t left = end - hbw_now().steady;
    return left <= 0 ? 0 : (int)((left + HBW_MILLISECOND - 1) / HBW_MILLISECOND);
}

/* Waits until the descriptor is readable, with the caller's signals.  A readable descriptor does not hide a signal that
 * came before.  Returns 0, or -1 with errno. */
static int wait_for_more(const Hb_Watch *watch, int left, const sigset_t *signals) {
    const struct timespec time = {left / 1000, (long)(left % 1000) * (long)HBW_MILLISECOND};
    const struct timespec none = {0, 0};
    struct pollfd ready = {watch->epoll, POLLIN, 0};
    const int result = ppoll(&ready, 1, left < 0 ? NULL : &time, signals);
    return result > 0 ? ppoll(NULL, 0, &none, signals) : result;
}

static int wait_with(const sigset_t *signals, Hb_Watch *watch, Hb_Watch_Report *report, int timeout) {
    const int64_t end = timeout < 0 ? INT64_MAX : hbw_now().steady + timeout * HBW_MILLISECOND;
    for (;;) {
        if (hb_watch_next(watch, report)) {
            return 1;
        }
        const int left = timeout < 0 ? -1 : left_until(end);
        if (left == 0) {
            return 0; /* also while the descriptor is readable all the time */
        }
        if (wait_for_more(watch, left, signals) < 0) {
            return -1;
        }
    }
}

/* Between two waits a signal is kept for the next one: its handler could not end a wait that begins after it. */
int hb_watch_wait(Hb_Watch *watch, Hb_Watch_Report *report, int timeout) {
    sigset_t all;
    sigset_t signals;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &signals);
    const int result = wait_with(&signals, watch, report, timeout);
    const int reason = errno;
    pthread_sigmask(SIG_SETMASK, &signals, NULL);
    errno = reason;
    return result;
}

/* ---- What is configured and up ---- */

int hb_watch_is_current(const Hb_Watch *watch) {
    return watch->contact.is_current && !watch->contact.is_lost;
}

int hb_watch_local_node(const Hb_Watch *watch) {
    return watch->account.configuration.known ? watch->account.configuration.local_node : -1;
}

int hb_watch_next_node(const Hb_Watch *watch, int previous) {
    const uint32_t found = hbw_bits_next(&watch->account.configuration.nodes, (uint32_t)previous + 1);
    return found == HBW_NO_MEMBER ? -1 : (int)found;
}

Hb_Adapter_Number hb_watch_next_adapter(const Hb_Watch *watch, Hb_Adapter_Number previous) {
    const Hbw_Configuration *configuration = &watch->account.configuration;
    const size_t place = hbw_configuration_place(configuration, previous + 1);
    return place < configuration->adapter_count ? configuration->adapters[place].number : HBW_NO_MEMBER;
}

int hb_watch_next_network(const Hb_Watch *watch, int previous) {
    for (int64_t number = previous < 0 ? 0 : (int64_t)previous + 1; number < HB_NETWORK_SLOTS; ++number) {
        if (watch->account.configuration.networks[number].Hb_network_name[0] != '\0') {
            return (int)number;
        }
    }
    return -1;
}

Hb_Entity_State hb_watch_node_state(const Hb_Watch *watch, int node) {
    return hbw_account_node_state(&watch->account, node);
}

Hb_Entity_State hb_watch_adapter_state(const Hb_Watch *watch, Hb_Adapter_Number adapter) {
    return hbw_account_adapter_state(&watch->account, adapter);
}

int hb_watch_adapter(const Hb_Watch *watch, Hb_Adapter_Number number, Hb_Watch_Adapter *adapter) {
    const Hb_Watch_Adapter *found = hbw_configuration_find(&watch->account.configuration, number);
    if (found == NULL) {
        return 0;
    }
    *adapter = *found;
    adapter->state = hbw_account_adapter_state(&watch->account, number);
    return 1;
}

int hb_watch_network(const Hb_Watch *watch, int number, Hb_Network_Entry *network) {
    if (number < 0 || number >= HB_NETWORK_SLOTS ||
        watch->account.configuration.networks[number].Hb_network_name[0] == '\0') {
        return 0;
    }
    *network = watch->account.configuration.networks[number];
    return 1;
}

const char *hb_watch_socket_path(const Hb_Watch *watch) {
    return watch->daemon.path;
}

/* ---- Cluster-event mode ---- */

static int may_follow(const Hb_Watch *watch) {
    if (follower != NULL) {
        errno = follower == watch ? EALREADY : EBUSY;
    }
    return follower == NULL;
}

Hb_Rc hb_watch_follow_service(Hb_Watch *watch) {
    if (!may_follow(watch)) {
        return Hb_Failure;
    }
    const Hb_Watch_Options *options = &watch->daemon.options;
    if (hbw_service_begin(&watch->service, options->what, options->retry_min * HBW_MILLISECOND, watch->epoll,
                          &watch->account, &watch->contact) != Hb_Success) {
        return Hb_Failure;
    }
    hbw_daemon_disconnect(&watch->daemon);
    watch->account.same_source = 0;
    watch->follows_service = 1;
    follower = watch;
    arm_timer(watch, AT_ONCE);
    return Hb_Success;
}

/* Another preparation would make the descriptors and events of the watch that follows invalid. */
Hb_Rc hb_watch_migrate(Hb_Watch *watch) {
    if (!may_follow(watch)) {
        return Hb_Failure;
    }
    if (hb_init() != Hb_Success) {
        return Hb_Failure;
    }
    if (hb_migrate_to_mox_prep() != Hb_Success) {
        hb_migrate_to_mox_abort();
        return Hb_Failure;
    }
    hb_migrate_to_mox_commit();
    return hb_watch_follow_service(watch);
}
