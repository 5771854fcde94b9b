// SPDX-License-Identifier: Apache-2.0
// The three shared segments and the semaphore set, as the daemon publishes them, or with planned defects.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "tests/support/bytes.h"

namespace hb_test {

struct Segment_Plan {
    bool present = true;
    std::size_t size = 0;
    int mode = 0600;
    Bytes content; // put at the segment's start
};

struct Segments_Plan {
    Segment_Plan configuration; // key letter g, 12 bytes
    Segment_Plan routes;        // key letter h, 184 bytes for each node
    Segment_Plan security;      // key letter p, 3168 bytes
    bool semaphores = true;     // key letter i
    int semaphore_count = 2;
    int semaphore_mode = 0600;
};

// A plan with sequence number 1 and this many node slots.
Segments_Plan segments_for(int number_of_nodes, int number_of_adapters = 0);
// A plan without any of the four.
Segments_Plan no_segments();

class Daemon_Segments {
  public:
    // The keys are made from the path, which must exist. Throws if a key is already in use.
    Daemon_Segments(const std::string &path, const Segments_Plan &plan);
    Daemon_Segments(const Daemon_Segments &) = delete;
    Daemon_Segments &operator=(const Daemon_Segments &) = delete;
    ~Daemon_Segments();

    // -1 if the plan has no such segment.
    int configuration_id() const { return segments_[0].id; }
    int routes_id() const { return segments_[1].id; }
    int security_id() const { return segments_[2].id; }
    int semaphores_id() const { return semaphores_; }

    // Writable, as only the daemon maps them.
    char *configuration() const { return segments_[0].memory; }
    char *routes() const { return segments_[1].memory; }
    char *security() const { return segments_[2].memory; }

    // Removes one segment or the set; the others stay.
    void remove_configuration() { remove(segments_[0]); }

  private:
    struct Segment {
        int id = -1;
        char *memory = nullptr;
    };
    void make(Segment &segment, const std::string &path, int project, const Segment_Plan &plan);
    void make_semaphores(const std::string &path, const Segments_Plan &plan);
    static void remove(Segment &segment);
    void remove_all();

    Segment segments_[3];
    int semaphores_ = -1;
};

} // namespace hb_test
