// The keys in force: the current one, the one before, and a cache of the newest ones before that, in the form
// in which they are published. Key bytes are overwritten before their memory is given back.
#pragma once

#include <chrono>
#include <cstdint>

#include "cluster/key_memory.h"
#include "lib/wire/hb_wire.h"
#include "qz_mss.h"

namespace wispd {

struct Security_Settings {
    bool enabled = false;
    uint32_t key_type = SEC_KEY_TYPE_HMAC_SHA256;
    int32_t key_length = 32;
    std::chrono::microseconds rotate_every{0}; // 0: only when told

    bool operator==(const Security_Settings &) const = default;
};

class Keyring {
  public:
    // Enabled, it makes the first key. Throws std::runtime_error when there is no randomness to make it from.
    explicit Keyring(const Security_Settings &settings);
    Keyring(const Keyring &) = delete;
    Keyring &operator=(const Keyring &) = delete;

    // A new key becomes the current one, the current one the previous, and the previous goes into the cache.
    // Throws Refused when security is not enabled or no key can be made; nothing is changed then.
    void rotate();

    bool is_enabled() const { return settings_.enabled; }
    const Security_Settings &settings() const { return settings_; }
    const Hb_security_information &content() const { return content_.get(); }

  private:
    Security_Settings settings_;
    Key_Memory content_;
};

// "hmac-sha256" and the like; null for an unknown type.
const char *key_type_name(uint32_t type);

} // namespace wispd
