// SPDX-License-Identifier: Apache-2.0
// A reader's stay in the route segment.
#pragma once

// Counts the reader in for as long as the object lives, once the daemon is not rewriting the routes. The
// system counts out a reader that dies inside. The reader waits in steps, for three seconds at most, and
// stops when the daemon or its semaphores disappear.
class Hb_Route_Section {
  public:
    Hb_Route_Section();
    ~Hb_Route_Section();
    Hb_Route_Section(const Hb_Route_Section &) = delete;
    Hb_Route_Section &operator=(const Hb_Route_Section &) = delete;

    // False when the semaphores could not be used or did not admit the reader in time. The daemon may then
    // write while the reader reads.
    bool entered() const { return entered_; }

  private:
    bool entered_;
};
