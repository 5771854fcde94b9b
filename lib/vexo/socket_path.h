// SPDX-License-Identifier: Apache-2.0
// The path of the daemon's socket.
#pragma once

#include <sys/un.h>

inline constexpr unsigned HB_SOCKET_PATH_SIZE = sizeof(sockaddr_un::sun_path);
static_assert(HB_SOCKET_PATH_SIZE == 108);

extern char HB_SERVER_SOCKET[HB_SOCKET_PATH_SIZE];  // base path
extern char SERVER_SOCK_FNAME[HB_SOCKET_PATH_SIZE]; // the path that is connected to

// Sets both from the environment, which is ignored in a program with more rights than its caller. Returns
// false, with neither changed, when a path does not fit: a truncated path would name another socket.
bool hb_resolve_socket_path();
