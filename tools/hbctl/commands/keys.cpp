// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

constexpr int MOST_ATTEMPTS = 100;
constexpr std::chrono::milliseconds BETWEEN_ATTEMPTS{1};

// The keys of one reading, which it releases.
class Keys {
  public:
    Keys() = default;
    Keys(const Keys &) = delete;
    Keys &operator=(const Keys &) = delete;
    ~Keys() { hb_free_security_info_keys(&current, &previous, &cache); }

    Hb_Rc read() { return hb_get_security_infomation(&current, &previous, &cache); }

    Hb_Security_Status current{};
    Hb_Security_Status previous{};
    Hb_Key_Cache cache{};
};

Hb_Sequence_Number generation() {
    Hb_Sequence_Number sequence = 0;
    require(hb_get_security_sequence(&sequence), "read the security keys");
    return sequence;
}

// The daemon may be changing the keys, and they cannot be read meanwhile. A reading is valid if it succeeded
// and nothing changed during it.
std::unique_ptr<Keys> read_keys(Hb_Sequence_Number &sequence) {
    bool changed = false;
    for (int attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        sequence = generation();
        auto keys = std::make_unique<Keys>();
        const Hb_Rc result = keys->read();
        changed = generation() != sequence;
        if (result == Hb_Success && !changed) {
            return keys;
        }
        std::this_thread::sleep_for(BETWEEN_ATTEMPTS);
    }
    if (!changed) {
        throw Request_Failed("cannot read the security keys: a published key is damaged or of an unknown type",
                             HB_ERROR_NONE);
    }
    throw Request_Failed("cannot read the security keys: they changed with each of " +
                             std::to_string(MOST_ATTEMPTS) + " attempts",
                         HB_ERROR_NONE);
}

Key_Row row_of(const std::string &role, const sec_key_desc &key) {
    return {role, key.value != nullptr, key.type, key.version, key.length};
}

Security_State state_of(const Hb_Security_Status &status) {
    return {status.securityOn != Hb_False, status.keyCount, status.is_valid_for_signing != Hb_False,
            status.is_valid_for_authenticating != Hb_False, status.KLOM_compatible != Hb_False};
}

Key_Report report_of(const Keys &keys, Hb_Sequence_Number sequence) {
    Key_Report report;
    report.generation = sequence;
    report.current = state_of(keys.current);
    report.previous = state_of(keys.previous);
    report.cached = keys.cache.keyCacheCount;
    report.keys = {row_of("current", keys.current.key), row_of("previous", keys.previous.key)};
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(HB_KEY_CACHE_SIZE, report.cached); ++i) {
        report.keys.push_back(row_of("cache " + std::to_string(i + 1), keys.cache.keyCache[i]));
    }
    return report;
}

} // namespace

int show_keys(const Arguments &arguments) {
    const Key_Report report = ask_daemon(arguments, [] {
        open_library();
        Hb_Sequence_Number sequence = 0;
        const std::unique_ptr<Keys> keys = read_keys(sequence);
        return report_of(*keys, sequence);
    });
    put_lines(arguments.json ? keys_json(report) : keys_text(report));
    return STATUS_SUCCESS;
}

} // namespace hbctl
