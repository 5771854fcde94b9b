// SPDX-License-Identifier: Apache-2.0
// The C headers of the watch's parts, for C++.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

#include "hb_watch.h"

extern "C" {
#include "watch/account.h"
#include "watch/bits.h"
#include "watch/configuration.h"
#include "watch/socket_path.h"
#include "watch/wire.h"
}
