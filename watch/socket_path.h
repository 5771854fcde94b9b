/* SPDX-License-Identifier: Apache-2.0 */
/* Where the daemon's socket lies. */
#pragma once

#include <stddef.h>

/* Longest path of a socket, without the NUL. */
enum { HBW_PATH_LONGEST = 107 };

/* Writes `given`, or for null the path from the environment.  `out` holds HBW_PATH_LONGEST + 1 bytes.  Returns 0, or
 * -1 if the path is too long. */
int hbw_socket_path(const char *given, char *out);
