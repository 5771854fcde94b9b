// SPDX-License-Identifier: Apache-2.0
// The bytes that a hostile daemon sends and writes to shared memory.
#pragma once

#include <cstdint>
#include <string>

namespace hb_test {

// A record after its length: the configuration of one node, number 1, with one adapter. Its network's name
// contains every kind of terminal control: C0, DEL, C1, a bidirectional control and an invalid UTF-8 byte.
std::string hostile_configuration();

// A record after its length: a route with this many hops, all of them 6.6.6.6.
std::string hostile_route_reply(uint32_t hops);

// Segments and semaphores with the keys of the path. They hold a valid route to node 1 with this many hops.
class Hostile_Ipc {
  public:
    // Throws std::system_error.
    Hostile_Ipc(const std::string &path, uint16_t hops);
    Hostile_Ipc(const Hostile_Ipc &) = delete;
    Hostile_Ipc &operator=(const Hostile_Ipc &) = delete;
    ~Hostile_Ipc();

  private:
    void make(std::size_t which, const std::string &path, int project, const std::string &content);
    void remove();

    int segments_[3] = {-1, -1, -1};
    int semaphores_ = -1;
};

} // namespace hb_test
