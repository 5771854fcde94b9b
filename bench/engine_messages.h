// SPDX-License-Identifier: Apache-2.0
// Messages of a Corosync process group, sent to oneself: what the engine itself needs for an ordered event.
#pragma once

#include <corosync/cpg.h>

class Engine_Messages {
  public:
    // Joins a group of its own. Throws std::runtime_error if the engine cannot be used, as do all functions.
    Engine_Messages();
    Engine_Messages(const Engine_Messages &) = delete;
    Engine_Messages &operator=(const Engine_Messages &) = delete;
    ~Engine_Messages();

    // Sends a message of 64 bytes and waits until it is delivered.
    void one();
    // As many are in flight as the engine's flow control permits.
    void pipelined(int messages);

  private:
    static void deliver(cpg_handle_t handle, const cpg_name *group, uint32_t node, uint32_t process,
                        void *message, size_t length);
    bool send(); // false while the engine accepts no more
    void wait();

    cpg_handle_t handle_ = 0;
    int descriptor_ = -1;
    int delivered_ = 0;
};
