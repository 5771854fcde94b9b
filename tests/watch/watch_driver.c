/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Watches with hb_watch.h and prints one line for each report.  The tests run it beside drivers in other languages:
 * all of them have the same options, commands and lines.
 *
 * OPTIONS, each as --name=value
 *   socket                     the daemon's socket
 *   what                       nodes, adapters or both
 *   check, answer, min, max    the check interval, the answer time-out and the two pauses, in milliseconds
 *   loop                       poll (default): waits on the descriptor.  wait: calls hb_watch_wait
 *
 * COMMANDS, one in each line of the standard input.  Its end is the command "end".
 *   state         prints what the watch knows
 *   control N     makes N rounds of requests of hb_client.h in this process
 *   pause, resume stops and starts the reading of reports
 *   migrate       moves to the cluster service
 *   follow        moves with hb_client.h alone; the watch then follows
 *   times         prints how long the longest calls lasted
 *   end           closes the watch and exits
 *
 * LINES, with tabs between the fields
 *   report <text> time=T since=S node=N network=W failure=F
 *   answer <command> <result>
 * The texts are "current", "unreachable E", "configuration", "node N joined", "node N died", "adapter A joined" and
 * "adapter A died", with the words "initial", "caught-up" and "removed" behind them, in this order, where they apply.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "hb_watch.h"

enum { WAIT_MILLISECONDS = 20, LINE_SIZE = 256 };

typedef struct Driver {
    Hb_Watch *watch;
    int waits; /* the loop calls hb_watch_wait */
    int paused;
    int ended;
    char line[LINE_SIZE];
    size_t line_length;
    long long longest_next; /* in microseconds */
    long long longest_excess;
    unsigned long calls;
} Driver;

static long long microseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (long long)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static void print_report(const Hb_Watch_Report *report) {
    printf("report\t");
    switch (report->kind) {
    case HB_WATCH_CURRENT:
        printf("current");
        break;
    case HB_WATCH_UNREACHABLE:
        printf("unreachable %d", report->error);
        break;
    case HB_WATCH_CONFIGURATION:
        printf("configuration");
        break;
    case HB_WATCH_NODE_JOINED:
        printf("node %d joined", report->node);
        break;
    case HB_WATCH_NODE_DIED:
        printf("node %d died", report->node);
        break;
    case HB_WATCH_ADAPTER_JOINED:
        printf("adapter %u joined", (unsigned)report->adapter);
        break;
    case HB_WATCH_ADAPTER_DIED:
        printf("adapter %u died", (unsigned)report->adapter);
        break;
    default:
        printf("kind %d", report->kind);
    }
    printf("%s%s%s", report->flags & HB_WATCH_INITIAL ? " initial" : "",
           report->flags & HB_WATCH_CAUGHT_UP ? " caught-up" : "",
           report->flags & HB_WATCH_REMOVED ? " removed" : "");
    printf("\ttime=%lld\tsince=%lld\tnode=%d\tnetwork=%d\tfailure=%.*s\n", (long long)report->time,
           (long long)report->since, report->node, report->network, (int)sizeof report->failure,
           report->failure);
}

static void print_state(const Hb_Watch *watch) {
    printf("answer\tstate\tcurrent=%d local=%d nodes=", hb_watch_is_current(watch), hb_watch_local_node(watch));
    for (int node = -1; (node = hb_watch_next_node(watch, node)) != -1;)
        printf("%d:%d,", node, hb_watch_node_state(watch, node));
    printf(" adapters=");
    for (Hb_Adapter_Number adapter = 0xFFFFFFFFU;
         (adapter = hb_watch_next_adapter(watch, adapter)) != 0xFFFFFFFFU;) {
        Hb_Watch_Adapter facts;
        if (hb_watch_adapter(watch, adapter, &facts) != 1 || facts.number != adapter ||
            facts.state != hb_watch_adapter_state(watch, adapter))
            printf("contradiction!");
        printf("%u:%d,", (unsigned)adapter, facts.state);
    }
    printf(" networks=");
    for (int network = -1; (network = hb_watch_next_network(watch, network)) != -1;) {
        Hb_Network_Entry facts;
        if (hb_watch_network(watch, network, &facts) != 1)
            printf("contradiction!");
        printf("%d,", network);
    }
    printf("\n");
}

/* A request that is answered, one that is answered by another record, and one without an answer.  The client library
 * may raise SIGPIPE here; a watch never does, so the signal is ignored for this time only. */
static void control(int rounds) {
    int done = 0, failed = 0, error = 0;
    void (*before)(int) = signal(SIGPIPE, SIG_IGN);
    for (int i = 0; i < rounds; ++i) {
        Hb_Node_Number local;
        Hb_Adapter_Number adapter;
        Hb_Cursor cursor;
        Hb_Route route;
        uint16_t length;
        int state;
        if (hb_get_my_node_number(&local) == Hb_Success &&
            hb_get_first_configured_adapter_in_node(local, &adapter, &cursor) == Hb_Success &&
            hb_get_adapter_state(adapter, &state) == Hb_Success &&
            hb_get_route(local, &route, &length) == Hb_Success &&
            hb_client_heartbeat((unsigned long)i) == Hb_Success) {
            ++done;
        } else {
            ++failed;
            error = hb_get_errno();
            hb_terminate();
        }
    }
    signal(SIGPIPE, before);
    printf("answer\tcontrol\tdone=%d failed=%d error=%d\n", done, failed, failed ? error : 0);
}

static void print_result(const char *command, Hb_Rc result) {
    if (result == Hb_Success)
        printf("answer\t%s\tok\n", command);
    else
        printf("answer\t%s\tfailed %d\n", command, hb_get_errno());
}

static void follow(Driver *driver) {
    Hb_Rc result = hb_init();
    if (result == Hb_Success)
        result = hb_migrate_to_mox_prep();
    if (result == Hb_Success)
        result = hb_migrate_to_mox_commit();
    if (result == Hb_Success)
        result = hb_watch_follow_service(driver->watch);
    print_result("follow", result);
}

static void obey(Driver *driver, const char *command) {
    int number;
    if (strcmp(command, "state") == 0) {
        print_state(driver->watch);
    } else if (sscanf(command, "control %d", &number) == 1) {
        control(number);
    } else if (strcmp(command, "pause") == 0 || strcmp(command, "resume") == 0) {
        driver->paused = command[0] == 'p';
        printf("answer\t%s\tok\n", command);
    } else if (strcmp(command, "migrate") == 0) {
        print_result(command, hb_watch_migrate(driver->watch));
    } else if (strcmp(command, "follow") == 0) {
        follow(driver);
    } else if (strcmp(command, "times") == 0) {
        printf("answer\ttimes\tnext=%lld excess=%lld calls=%lu\n", driver->longest_next, driver->longest_excess,
               driver->calls);
    } else if (strcmp(command, "end") == 0) {
        driver->ended = 1;
    } else {
        printf("answer\t%s\tunknown\n", command);
    }
}

static void read_commands(Driver *driver) {
    char bytes[LINE_SIZE];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0)
        driver->ended = 1;
    for (ssize_t i = 0; i < count; ++i) {
        if (bytes[i] == '\n') {
            driver->line[driver->line_length] = '\0';
            driver->line_length = 0;
            obey(driver, driver->line);
        } else if (driver->line_length < LINE_SIZE - 1) {
            driver->line[driver->line_length++] = bytes[i];
        }
    }
}

/* One call for each time that the descriptor is readable: it has to stay readable while a report is ready. */
static void next_report(Driver *driver) {
    Hb_Watch_Report report;
    const long long began = microseconds();
    const int got = hb_watch_next(driver->watch, &report);
    const long long lasted = microseconds() - began;
    ++driver->calls;
    if (lasted > driver->longest_next)
        driver->longest_next = lasted;
    if (got == 1)
        print_report(&report);
}

static void wait_report(Driver *driver) {
    Hb_Watch_Report report;
    const long long began = microseconds();
    const int got = hb_watch_wait(driver->watch, &report, WAIT_MILLISECONDS);
    const long long excess = microseconds() - began - WAIT_MILLISECONDS * 1000LL;
    ++driver->calls;
    if (excess > driver->longest_excess)
        driver->longest_excess = excess;
    if (got == 1)
        print_report(&report);
}

static void turn(Driver *driver) {
    const int reads = !driver->paused;
    struct pollfd wanted[2] = {{STDIN_FILENO, POLLIN, 0}, {hb_watch_descriptor(driver->watch), POLLIN, 0}};
    if (reads && driver->waits)
        wait_report(driver);
    if (poll(wanted, reads && !driver->waits ? 2 : 1, reads && driver->waits ? 0 : -1) < 0 && errno != EINTR)
        exit(3);
    if (wanted[0].revents)
        read_commands(driver);
    else if (wanted[1].revents)
        next_report(driver);
}

static int number_option(const char *argument, const char *name, int32_t *value) {
    const size_t length = strlen(name);
    if (strncmp(argument, name, length) != 0)
        return 0;
    *value = (int32_t)atoi(argument + length);
    return 1;
}

static int read_option(const char *argument, Hb_Watch_Options *options, Driver *driver) {
    if (strncmp(argument, "--socket=", 9) == 0)
        options->socket_path = argument + 9;
    else if (strcmp(argument, "--what=nodes") == 0)
        options->what = HB_WATCH_NODES;
    else if (strcmp(argument, "--what=adapters") == 0)
        options->what = HB_WATCH_ADAPTERS;
    else if (strcmp(argument, "--what=both") == 0)
        options->what = HB_WATCH_NODES | HB_WATCH_ADAPTERS;
    else if (strcmp(argument, "--loop=poll") == 0 || strcmp(argument, "--loop=wait") == 0)
        driver->waits = argument[7] == 'w';
    else
        return number_option(argument, "--check=", &options->check_interval) ||
               number_option(argument, "--answer=", &options->answer_timeout) ||
               number_option(argument, "--min=", &options->retry_min) ||
               number_option(argument, "--max=", &options->retry_max);
    return 1;
}

int main(int argc, char **argv) {
    Driver driver;
    Hb_Watch_Options options;
    memset(&driver, 0, sizeof driver);
    hb_watch_default_options(&options);
    for (int i = 1; i < argc; ++i) {
        if (!read_option(argv[i], &options, &driver)) {
            fprintf(stderr, "watch_driver: unknown option %s\n", argv[i]);
            return 2;
        }
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    driver.watch = hb_watch_open(&options);
    if (driver.watch == NULL) {
        perror("hb_watch_open");
        return 1;
    }
    printf("answer\topen\tok\n");
    while (!driver.ended)
        turn(&driver);
    hb_watch_close(driver.watch);
    printf("answer\tend\tok\n");
    return 0;
}
