// SPDX-License-Identifier: Apache-2.0
// The keys in use, as they are published: the current key, the previous one, and a cache of the newest older
// keys. Key bytes are overwritten before their memory is released.
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
    std::chrono::microseconds rotate_every{0}; // 0: only on request

    bool operator==(const Security_Settings &) const = default;
};

class Keyring {
  public:
    // Creates the first key if enabled. Throws std::runtime_error when the system provides no random bytes.
    explicit Keyring(const Security_Settings &settings);
    Keyring(const Keyring &) = delete;
    Keyring &operator=(const Keyring &) = delete;

    // Makes a new key the current one, the current key the previous one, and moves the previous key into the
    // cache. Throws Refused, and changes nothing, when security is not enabled or no key can be created.
    void rotate();

    bool is_enabled() const { return settings_.enabled; }
    const Security_Settings &settings() const { return settings_; }
    const Hb_security_information &content() const { return content_.get(); }

  private:
    Security_Settings settings_;
    Key_Memory content_;
};

// Returns a name such as "hmac-sha256"; null for an unknown type.
const char *key_type_name(uint32_t type);

} // namespace wispd
