// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <memory>

#include "hb_client.h"
#include "tests/system/reading.h"

namespace hb_test {
namespace {

using Key = std::string; // its bytes

struct Keys {
    Keys() = default;
    Keys(const Keys &) = delete;
    Keys &operator=(const Keys &) = delete;
    ~Keys() { hb_free_security_info_keys(&current, &previous, &cache); }

    Hb_Security_Status current{};
    Hb_Security_Status previous{};
    Hb_Key_Cache cache{};
};

constexpr long REMEMBERED = 64;

// The keys, indexed by the number of rotations before each.
class History {
  public:
    // Returns whether it is the key that this number always had, and no other number has.
    bool fits(long rotation, const Key &key) {
        const bool fits = known_.try_emplace(rotation, key).first->second == key;
        const auto before = known_.find(rotation - 1);
        known_.erase(known_.begin(), known_.lower_bound(known_.rbegin()->first - REMEMBERED));
        return fits && (before == known_.end() || before->second != key);
    }

  private:
    std::map<long, Key> known_;
};

Key bytes_of(const sec_key_desc &key) {
    return {static_cast<const char *>(key.value), static_cast<std::size_t>(key.length)};
}

bool is_key(const sec_key_desc &key) {
    return key.type == 1 && key.version == 1 && key.length == 32 && key.value != nullptr;
}

bool is_none(const sec_key_desc &key) {
    return key.type == 0 && key.version == 0 && key.length == 0 && key.value == nullptr &&
           key.schedule == nullptr;
}

long cached_after(long rotations) {
    return std::clamp(rotations - 1, 0L, 10L);
}

long count_after(long rotations) {
    return rotations == 0 ? 1 : 2 + cached_after(rotations);
}

bool has_status(const Hb_Security_Status &status, long rotations, bool signs) {
    return status.securityOn == 1 && status.keyCount == count_after(rotations) && status.KLOM_compatible == 0 &&
           status.is_valid_for_signing == (signs ? 1 : 0) && status.is_valid_for_authenticating == 1;
}

// Returns what is wrong in a reading after this many rotations, or an empty text.
std::string fault_in(const Keys &keys, long rotations, History &history) {
    if (!has_status(keys.current, rotations, true) || !is_key(keys.current.key) ||
        !history.fits(rotations, bytes_of(keys.current.key))) {
        return "the current key";
    }
    if (rotations == 0 ? !is_none(keys.previous.key)
                       : !has_status(keys.previous, rotations - 1, false) || !is_key(keys.previous.key) ||
                             !history.fits(rotations - 1, bytes_of(keys.previous.key))) {
        return "the previous key";
    }
    if (static_cast<long>(keys.cache.keyCacheCount) != cached_after(rotations)) {
        return "the number of cached keys";
    }
    for (long slot = 0; slot < 10; ++slot) {
        const sec_key_desc &key = keys.cache.keyCache[slot];
        if (slot < cached_after(rotations) ? !is_key(key) || !history.fits(rotations - 2 - slot, bytes_of(key))
                                           : !is_none(key)) {
            return "the cached key " + std::to_string(slot);
        }
    }
    return "";
}

Reading look_at_keys(History &history) {
    Hb_Sequence_Number before = 0;
    Hb_Sequence_Number after = 0;
    Keys keys;
    if (hb_get_security_sequence(&before) != Hb_Success) {
        return {Reading::Kind::failed, 0, "no generation"};
    }
    const Hb_Rc result = hb_get_security_infomation(&keys.current, &keys.previous, &keys.cache);
    hb_get_security_sequence(&after);
    if (result != Hb_Success || before != after) {
        return {Reading::Kind::unsettled, 0, ""};
    }
    if (before % 2 == 0) {
        return {Reading::Kind::torn, 0,
                "read whole in the middle of a change, generation " + std::to_string(before)};
    }
    const long rotations = static_cast<long>((before - 1) / 2);
    const std::string fault = fault_in(keys, rotations, history);
    return {fault.empty() ? Reading::Kind::whole : Reading::Kind::torn, rotations,
            fault + " of generation " + std::to_string(before)};
}

} // namespace

Look keys_look() {
    return [history = std::make_shared<History>()] { return look_at_keys(*history); };
}

} // namespace hb_test
