// SPDX-License-Identifier: Apache-2.0
// A descriptor that closes itself.
#pragma once

#include <unistd.h>
#include <utility>

namespace hb_test {

class Unique_Fd {
  public:
    Unique_Fd() = default;
    explicit Unique_Fd(int fd) : fd_(fd) {}
    Unique_Fd(Unique_Fd &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Unique_Fd &operator=(Unique_Fd &&other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.fd_, -1));
        }
        return *this;
    }
    Unique_Fd(const Unique_Fd &) = delete;
    Unique_Fd &operator=(const Unique_Fd &) = delete;
    ~Unique_Fd() { reset(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void reset(int fd = -1) {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = fd;
    }

  private:
    int fd_ = -1;
};

} // namespace hb_test
