// SPDX-License-Identifier: Apache-2.0
// Reads memory that the daemon may be changing. Each word is read once, so that the value that was checked is
// the value that is used.
#pragma once

template <typename Word> Word hb_read_once(const Word &shared) {
    return static_cast<const volatile Word &>(shared);
}

// The same, and everything that follows in the program is read after it.
template <typename Word> Word hb_read_in_order(const Word &shared) {
    return __atomic_load_n(&shared, __ATOMIC_ACQUIRE);
}
