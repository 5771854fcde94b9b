// SPDX-License-Identifier: Apache-2.0
// The test's side of the library: opening it against a fake daemon, reading events, checking its state.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "tests/support/fake_daemon.h"

namespace hb_test {

inline constexpr unsigned char UNTOUCHED = 0x5A;

// Opens the library. A failure to open fails the test.
void open_library();

// The caller's side of hb_get_event_message. Every output is filled with a mark before the call.
class Event_Call {
  public:
    Event_Call();
    // Waits without limit.
    Hb_Rc take();
    Hb_Rc take(timeval timeout);

    Bytes group_bytes() const { return bytes_of(*group); }
    Bytes name_bytes() const { return bytes_of(name, sizeof name); }
    std::string name_text() const { return std::string(name, strnlen(name, sizeof name)); }

    static constexpr int NO_EVENT = -77;
    static constexpr unsigned long NO_SEQUENCE = 77777;

    std::unique_ptr<Hb_Group> group;
    int events = NO_EVENT;
    char name[48];
    unsigned long sequence = NO_SEQUENCE;
};

// A group record whose every byte is the mark.
Bytes untouched_group();

// Offsets in the group record.
inline constexpr std::size_t GROUP_TYPE = 0;
inline constexpr std::size_t GROUP_EVENTS = 8;
inline constexpr std::size_t GROUP_STATUS = 12;
inline constexpr std::size_t GROUP_FFDC = 16;
inline constexpr std::size_t GROUP_COUNT = 60;
inline constexpr std::size_t GROUP_LEADER = 64;
inline constexpr std::size_t GROUP_INCARNATION = 68;
inline constexpr std::size_t GROUP_ADAPTERS = 72;
inline constexpr std::size_t GROUP_NODES = 64;
inline constexpr std::size_t GROUP_INSTANCE = 60;

// Everything in the library that an event may change: tables, lists, heartbeat settings.
Bytes library_state();

Hb_Entity_State adapter_state(Hb_Adapter_Number adapter);

// The event bodies.
Bytes adapter_body(const std::vector<std::pair<int64_t, int64_t>> &pairs); // adapter, incarnation
Bytes node_body(const std::vector<int64_t> &entries);

} // namespace hb_test
