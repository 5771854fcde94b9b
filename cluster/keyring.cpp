// SPDX-License-Identifier: Apache-2.0
#include "cluster/keyring.h"

#include <cstring>

#include "cluster/cluster.h"

namespace wispd {

namespace {

// A marshalled key that is wiped when it is destroyed.
class New_Key {
  public:
    New_Key(uint32_t type, int32_t length) {
        sec_key_desc key{};
        if (sec_generate_typed_key(type, length, &key) != 0) {
            throw Refused("cannot create a key: the system provides no random bytes or no memory");
        }
        sec_buffer_desc marshalled = {HB_SHARED_KEY_SIZE, form_.value};
        const int result = sec_marshal_typed_key(&key, &marshalled);
        sec_release_typed_key(&key);
        if (result != 0) {
            throw Refused("cannot marshal the new key");
        }
        form_.length = marshalled.length;
    }
    New_Key(const New_Key &) = delete;
    New_Key &operator=(const New_Key &) = delete;
    ~New_Key() { sec_wipe(&form_, sizeof form_); }

    const Hb_sec_buffer_desc &form() const { return form_; }

  private:
    Hb_sec_buffer_desc form_{};
};

} // namespace

Keyring::Keyring(const Security_Settings &settings) : settings_(settings) {
    // The generation is never 0, even without keys, so that clients can distinguish this from empty memory.
    content_.get().sequence_number = 1;
    if (!settings_.enabled) {
        return;
    }
    const New_Key key(settings_.key_type, settings_.key_length);
    Hb_Shared_Security_Status &current = content_.get().current_sec_status;
    current.securityOn = Hb_True;
    current.keyCount = 1;
    current.is_valid_for_signing = Hb_True;
    current.is_valid_for_authenticating = Hb_True;
    current.key = key.form();
}

void Keyring::rotate() {
    if (!settings_.enabled) {
        throw Refused("there are no keys: [security] is not enabled in the configuration");
    }
    const New_Key key(settings_.key_type, settings_.key_length);
    Hb_Shared_Security_Status &current = content_.get().current_sec_status;
    Hb_Shared_Security_Status &previous = content_.get().previous_sec_status;
    Hb_Shared_Key_Cache &cache = content_.get().cache;
    if (previous.key.length != 0) {
        // The move overwrites the oldest key.
        std::memmove(&cache.keyCache[1], &cache.keyCache[0], sizeof cache.keyCache - sizeof cache.keyCache[0]);
        cache.keyCache[0] = previous.key;
        cache.keyCacheCount += cache.keyCacheCount < HB_KEY_CACHE_SIZE ? 1 : 0;
    }
    previous = current;
    previous.is_valid_for_signing = Hb_False;
    current.key = key.form();
    current.keyCount = 2 + static_cast<int32_t>(cache.keyCacheCount);
    // Clients read one generation while the new content is being written, and another when it is complete.
    content_.get().sequence_number += 2;
}

const char *key_type_name(uint32_t type) {
    switch (type) {
    case SEC_KEY_TYPE_HMAC_SHA256:
        return "hmac-sha256";
    case SEC_KEY_TYPE_HMAC_SHA512:
        return "hmac-sha512";
    case SEC_KEY_TYPE_AES_CMAC:
        return "aes-cmac";
    default:
        return nullptr;
    }
}

} // namespace wispd
