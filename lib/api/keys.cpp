// SPDX-License-Identifier: Apache-2.0
// The security state and the keys that the daemon publishes.

#include <algorithm>
#include <cstring>

#include "hb_client.h"
#include "lib/api/argument_check.h"
#include "lib/base/error_number.h"
#include "lib/base/read_once.h"
#include "lib/hb_communication/shared_segments.h"
#include "qz_mss.h"

namespace {

// A private copy of a marshalled key, wiped after use. The daemon may rewrite the shared key at any moment.
// So its length is read once, and only the copy is checked.
class Key_Copy {
  public:
    explicit Key_Copy(const Hb_sec_buffer_desc &shared) : length_(hb_read_once(shared.length)) {
        for (int i = 0; i < HB_SHARED_KEY_SIZE; ++i) {
            bytes_[i] = hb_read_once(shared.value[i]);
        }
    }
    ~Key_Copy() { explicit_bzero(bytes_, sizeof bytes_); }
    Key_Copy(const Key_Copy &) = delete;
    Key_Copy &operator=(const Key_Copy &) = delete;

    // An empty slot holds no key and is no failure. The descriptor has been zeroed.
    bool unmarshal(sec_key_desc &key) {
        if (length_ == 0) {
            return true;
        }
        if (length_ < 0 || length_ > HB_SHARED_KEY_SIZE) {
            return false;
        }
        sec_buffer_desc marshalled = {length_, bytes_};
        if (sec_unmarshal_typed_key(&marshalled, &key) == 0) {
            return true;
        }
        sec_release_typed_key(&key);
        key = {};
        return false;
    }

  private:
    int32_t length_;
    char bytes_[HB_SHARED_KEY_SIZE];
};

bool read_status(const Hb_Shared_Security_Status &shared, Hb_Security_Status &status) {
    status.securityOn = hb_read_once(shared.securityOn);
    status.keyCount = hb_read_once(shared.keyCount);
    status.KLOM_compatible = hb_read_once(shared.KLOM_compatible);
    status.is_valid_for_signing = hb_read_once(shared.is_valid_for_signing);
    status.is_valid_for_authenticating = hb_read_once(shared.is_valid_for_authenticating);
    return Key_Copy(shared.key).unmarshal(status.key);
}

// The caller's records may hold anything before the call. Afterwards none of their contents may pass for a
// key.
void forget_keys(Hb_Security_Status *status) {
    if (status != nullptr) {
        status->key = {};
    }
}

void forget_keys(Hb_Key_Cache *cache) {
    if (cache != nullptr) {
        std::fill_n(cache->keyCache, HB_KEY_CACHE_SIZE, sec_key_desc{});
    }
}

void release(sec_key_desc &key) {
    if (key.length != 0 && key.value != nullptr) {
        sec_release_typed_key(&key);
    }
}

} // namespace

Hb_Rc hb_get_security_sequence(Hb_Sequence_Number *sequence) {
    if (!hb_ready(sequence)) {
        return Hb_Failure;
    }
    if (security_info == nullptr) {
        return hb_fail(HB_ERROR_SEGMENT_ABSENT);
    }
    *sequence = hb_read_once(security_info->sequence_number);
    return Hb_Success;
}

Hb_Rc hb_get_security_infomation(Hb_Security_Status *current, Hb_Security_Status *previous,
                                 Hb_Key_Cache *cache) {
    forget_keys(current);
    forget_keys(previous);
    forget_keys(cache);
    if (!hb_ready(current, previous, cache)) {
        return Hb_Failure;
    }
    if (security_info == nullptr) {
        return hb_fail(HB_ERROR_SEGMENT_ABSENT);
    }
    if (!read_status(security_info->current_sec_status, *current) ||
        !read_status(security_info->previous_sec_status, *previous)) {
        return Hb_Failure;
    }
    for (int i = 0; i < HB_KEY_CACHE_SIZE; ++i) {
        if (!Key_Copy(security_info->cache.keyCache[i]).unmarshal(cache->keyCache[i])) {
            return Hb_Failure;
        }
    }
    cache->keyCacheCount = hb_read_once(security_info->cache.keyCacheCount);
    return Hb_Success;
}

Hb_Rc hb_free_security_info_keys(Hb_Security_Status *current, Hb_Security_Status *previous,
                                 Hb_Key_Cache *cache) {
    if (current != nullptr) {
        release(current->key);
    }
    if (previous != nullptr) {
        release(previous->key);
    }
    if (cache != nullptr) {
        for (sec_key_desc &key : cache->keyCache) {
            release(key);
        }
    }
    return Hb_Success;
}
