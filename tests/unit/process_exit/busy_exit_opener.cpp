// SPDX-License-Identifier: Apache-2.0
// A program's own library that opens the session when it is loaded.
#include "hb_client.h"

__attribute__((constructor)) static void open_session() {
    hb_init();
}
