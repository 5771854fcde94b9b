// SPDX-License-Identifier: Apache-2.0
// Owns a record received from the daemon.
#pragma once

#include <memory>
#include <span>

#include "lib/wire/hb_wire.h"

class Hb_Packet {
  public:
    Hb_Packet() = default;
    Hb_Packet(char *bytes, int length) : bytes_(bytes), length_(static_cast<std::size_t>(length)) {}
    Hb_Packet(client_packet *packet, int length) : Hb_Packet(reinterpret_cast<char *>(packet), length) {}

    std::span<const char> bytes() const { return {bytes_.get(), length_}; }
    bool has_header() const { return length_ >= static_cast<std::size_t>(HB_REPLY_HEADER_SIZE); }
    bool has_value() const { return length_ >= static_cast<std::size_t>(HB_REPLY_VALUE_END); }
    client_packet *get() const { return reinterpret_cast<client_packet *>(bytes_.get()); }
    // Makes the caller the owner. The record must be freed as the char array that it is.
    client_packet *release() {
        length_ = 0;
        return reinterpret_cast<client_packet *>(bytes_.release());
    }

  private:
    std::unique_ptr<char[]> bytes_;
    std::size_t length_ = 0;
};

inline void hb_free_packet(client_packet *packet) {
    delete[] reinterpret_cast<char *>(packet);
}

struct Hb_Packet_Release {
    void operator()(client_packet *packet) const { hb_free_packet(packet); }
};

// Owns a packet whose length is no longer needed.
using Hb_Owned_Packet = std::unique_ptr<client_packet, Hb_Packet_Release>;
