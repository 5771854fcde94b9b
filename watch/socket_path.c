/* SPDX-License-Identifier: Apache-2.0 */
#define _GNU_SOURCE /* secure_getenv: the caller of a program with more rights must not choose its daemon */
#include "watch/socket_path.h"

#include <stdio.h>
#include <stdlib.h>

static const char DEFAULT_PATH[] = "/var/ha/soc/wisp/server_socket";

static const char *suffix_from_environment(void) {
    static const char *const names[] = {"HA_DOMAIN_NAME", "HA_SYSPAR_NAME"};
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
        const char *value = secure_getenv(names[i]);
        if (value != NULL && *value != '\0') {
            return value;
        }
    }
    return NULL;
}

static int fits(int length) {
    return length >= 0 && length <= HBW_PATH_LONGEST ? 0 : -1;
}

int hbw_socket_path(const char *given, char *out) {
    if (given != NULL) {
        return fits(snprintf(out, HBW_PATH_LONGEST + 1, "%s", given));
    }
    const char *base = secure_getenv("HB_SERVER_SOCKET");
    const char *suffix = suffix_from_environment();
    return fits(snprintf(out, HBW_PATH_LONGEST + 1, "%s%s%s", base != NULL ? base : DEFAULT_PATH,
                         suffix != NULL ? "." : "", suffix != NULL ? suffix : ""));
}
