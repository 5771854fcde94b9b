// SPDX-License-Identifier: Apache-2.0
// Work that many changes cause, and that is done once: at the end of the event loop's turn that made the changes.
//
// A control connection or a client can send many requests at once. Routes are then computed and written once, and each
// client receives all its packets in one system call.
#pragma once

#include <functional>
#include <utility>

namespace wispd {

class Turn {
  public:
    explicit Turn(std::function<void()> at_end) : at_end_(std::move(at_end)) {}
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    // A turn lasts while such an object exists; objects can be nested. The last one does the work at its end.
    class Part {
      public:
        explicit Part(Turn &turn) : turn_(turn) { turn_.begin(); }
        Part(const Part &) = delete;
        Part &operator=(const Part &) = delete;
        ~Part() { turn_.end(); }

      private:
        Turn &turn_;
    };

    // For callers that cannot hold a Part.
    void begin() { ++parts_; }
    void end() {
        if (--parts_ == 0) {
            at_end_();
        }
    }
    // Does at once what is outstanding.
    void do_now() { at_end_(); }

  private:
    std::function<void()> at_end_;
    int parts_ = 0;
};

} // namespace wispd
