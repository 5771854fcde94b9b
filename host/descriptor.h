// SPDX-License-Identifier: Apache-2.0
// A file descriptor that its owner object closes.
#pragma once

#include <unistd.h>
#include <utility>

namespace wispd {

class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    Descriptor(Descriptor &&other) noexcept : descriptor_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Descriptor() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_;
};

} // namespace wispd
