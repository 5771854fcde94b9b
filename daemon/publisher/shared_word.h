// SPDX-License-Identifier: Apache-2.0
// Writes words in memory that other processes read without a lock.
#pragma once

#include <atomic>

namespace wispd {

template <typename Word> void put_word(Word &shared, Word value) {
    std::atomic_ref(shared).store(value, std::memory_order_relaxed);
}

} // namespace wispd
