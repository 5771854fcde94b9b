// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/security_record.h"

#include <atomic>
#include <cstring>

#include "daemon/publisher/shared_word.h"

namespace wispd {

namespace {

void write_key(Hb_sec_buffer_desc &shared, const Hb_sec_buffer_desc &fresh) {
    if (std::memcmp(&shared, &fresh, sizeof fresh) == 0) {
        return;
    }
    put_word(shared.length, int32_t{0});
    std::atomic_thread_fence(std::memory_order_seq_cst);
    std::memcpy(shared.value, fresh.value, sizeof shared.value);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.length, fresh.length);
}

void write_status(Hb_Shared_Security_Status &shared, const Hb_Shared_Security_Status &fresh) {
    put_word(shared.securityOn, fresh.securityOn);
    put_word(shared.keyCount, fresh.keyCount);
    put_word(shared.KLOM_compatible, fresh.KLOM_compatible);
    put_word(shared.is_valid_for_signing, fresh.is_valid_for_signing);
    put_word(shared.is_valid_for_authenticating, fresh.is_valid_for_authenticating);
}

// A length of one byte is never a valid key. A reader rejects it and reads again.
constexpr int32_t UNREADABLE = 1;

} // namespace

// Readers do not lock; they only compare the generations before and after reading. The current key is
// unreadable from before the first change of the generation until after the last. No reader can therefore
// accept a mixture.
void write_security(Hb_security_information &shared, const Hb_security_information &content) {
    Hb_sec_buffer_desc &current = shared.current_sec_status.key;
    put_word(current.length, UNREADABLE);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.sequence_number, content.sequence_number - 1);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    write_status(shared.previous_sec_status, content.previous_sec_status);
    write_key(shared.previous_sec_status.key, content.previous_sec_status.key);
    write_status(shared.current_sec_status, content.current_sec_status);
    std::memcpy(current.value, content.current_sec_status.key.value, sizeof current.value);
    for (std::size_t slot = 0; slot < HB_KEY_CACHE_SIZE; ++slot) {
        write_key(shared.cache.keyCache[slot], content.cache.keyCache[slot]);
    }
    put_word(shared.cache.keyCacheCount, content.cache.keyCacheCount);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.sequence_number, content.sequence_number);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(current.length, content.current_sec_status.key.length);
}

void clear_security(Hb_security_information &shared) {
    Hb_security_information none{};
    // Choose the next odd generation, even if a writer was killed before it reached one.
    none.sequence_number = (shared.sequence_number | 1) + 2;
    write_security(shared, none);
}

} // namespace wispd
