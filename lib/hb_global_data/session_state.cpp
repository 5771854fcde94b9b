// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/session_state.h"

#include <atomic>

int client_initialized = 0;

namespace {

std::atomic<Hb_Session_State> state_unless_open{Hb_Session_State::closed};
std::atomic<bool> is_session_out_of_use{false};

std::atomic_ref<int> initialized() {
    return std::atomic_ref<int>(client_initialized);
}

} // namespace

Hb_Session_State hb_session_state() {
    return initialized().load(std::memory_order_acquire) == 1 ? Hb_Session_State::open
                                                              : state_unless_open.load();
}

void hb_set_session_state(Hb_Session_State state) {
    const bool is_open = state == Hb_Session_State::open;
    if (!is_open) {
        state_unless_open.store(state);
    }
    initialized().store(is_open ? 1 : 0, std::memory_order_release);
    if (is_open) {
        state_unless_open.store(Hb_Session_State::closed);
    }
}

void hb_put_session_out_of_use(bool is_out_of_use) {
    is_session_out_of_use.store(is_out_of_use);
}

bool hb_has_session_to_close() {
    const Hb_Session_State state = hb_session_state();
    return state == Hb_Session_State::open || (is_session_out_of_use && state != Hb_Session_State::opening);
}
