/* SPDX-License-Identifier: Apache-2.0 */
/* Runs a command when a node dies: react SECONDS COMMAND [ARGUMENT...]. The variable DEAD_NODE holds the node's number.
 * The command may run for SECONDS after the report.
 *
 * A command that exceeds the limit is ended with SIGALRM, and a line says so. The death is not reported again: decide
 * here what follows, for example an alarm. The signal reaches the command, not the programs that the command started.
 * Each death has its own command, so a slow one delays no other. */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hb_watch.h"

static void child_ended(int number) {
    (void)number; /* a handler ends the wait for a report */
}

static void start(char **command, unsigned limit, int node) {
    const pid_t child = fork();
    char number[16];

    if (child == 0) {
        snprintf(number, sizeof number, "%d", node);
        setenv("DEAD_NODE", number, 1);
        alarm(limit); /* the time-out continues in the command */
        execvp(command[0], command);
        _exit(127);
    }
    printf("node %d died: started process %d\n", node, (int)child);
}

int main(int argc, char **argv) {
    struct sigaction action = {.sa_handler = child_ended};
    const int limit = argc < 3 ? 0 : atoi(argv[1]);
    Hb_Watch *watch = limit < 1 ? NULL : hb_watch_open(NULL);
    Hb_Watch_Report report;
    int status;
    pid_t child;

    if (watch == NULL) {
        fputs(limit < 1 ? "usage: react SECONDS COMMAND [ARGUMENT...]\n" : "react: no watch opened\n", stderr);
        return 2;
    }
    sigaction(SIGCHLD, &action, NULL);
    setvbuf(stdout, NULL, _IOLBF, 0);
    for (;;) {
        const int kind = hb_watch_wait(watch, &report, 1000) == 1 ? report.kind : 0;
        if (kind == HB_WATCH_CURRENT)
            puts("watching");
        else if (kind == HB_WATCH_NODE_DIED && (report.flags & HB_WATCH_REMOVED) == 0) /* not removed */
            start(argv + 2, (unsigned)limit, report.node);
        while ((child = waitpid(-1, &status, WNOHANG)) > 0)
            if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
                printf("process %d exceeded %d s and was ended\n", (int)child, limit);
            else
                printf("process %d ended with status %d\n", (int)child, WEXITSTATUS(status));
    }
}
