// SPDX-License-Identifier: Apache-2.0
// hb/error.hpp - why a call failed: hb::error, and hb::failure, the exception that carries one
#ifndef HB_ERROR_HPP
#define HB_ERROR_HPP

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "hb_client.h"
#include "hb_error.h"

namespace hb {

// The reason of a failure: a number with its name and its text. It allocates nothing and owns nothing.
class error {
  public:
    // Where the number comes from.
    enum class origin {
        library, // an error number of hb_client.h
        system   // a value of errno
    };

    // Holds a number of the library.
    constexpr explicit error(int number) noexcept : number_(number) {}

    // Holds a value of errno.
    static constexpr error of_system(int number) noexcept { return {number, origin::system}; }

    // Holds the library's error number of the last failure in this process. Call it right after a call that
    // failed. The members of this header do so themselves.
    static error last() noexcept { return error(hb_get_errno()); }

    // Returns the number: an Hb_Error, or a value of errno, according to where().
    constexpr int number() const noexcept { return number_; }

    constexpr origin where() const noexcept { return origin_; }

    // Returns the name: "HB_ERROR_CONNECT_FAILED", "EINTR". "unknown error" for a number without a name. The string
    // exists for as long as the program.
    const char *name() const noexcept {
        return origin_ == origin::library ? hb_error_name(number_) : system_entry().name;
    }

    // Returns what the number means, in small letters and without a full stop. The string exists for as long as the
    // program.
    const char *text() const noexcept {
        return origin_ == origin::library ? hb_error_text(number_) : system_entry().text;
    }

    // Returns whether a signal handler ended a wait. Nothing is lost then: wait again.
    constexpr bool is_interruption() const noexcept { return origin_ == origin::system && number_ == EINTR; }

    friend constexpr bool operator==(error left, error right) noexcept {
        return left.number_ == right.number_ && left.origin_ == right.origin_;
    }
    friend constexpr bool operator!=(error left, error right) noexcept { return !(left == right); }

    // Compare with a number of the library: reason == HB_ERROR_DISCONNECTED.
    friend constexpr bool operator==(error left, Hb_Error right) noexcept { return left == error(right); }
    friend constexpr bool operator!=(error left, Hb_Error right) noexcept { return left != error(right); }
    friend constexpr bool operator==(Hb_Error left, error right) noexcept { return error(left) == right; }
    friend constexpr bool operator!=(Hb_Error left, error right) noexcept { return error(left) != right; }

  private:
    struct entry {
        const char *name;
        const char *text;
    };

    constexpr error(int number, origin where) noexcept : number_(number), origin_(where) {}

    // The values of errno that these headers give. strerror is not safe in a program with several threads.
    entry system_entry() const noexcept {
        switch (number_) {
        case EINTR:
            return {"EINTR", "a signal handler ended the wait"};
        case EINVAL:
            return {"EINVAL", "an option is out of range, or the program is not in cluster-event mode"};
        case EALREADY:
            return {"EALREADY", "this watcher follows the cluster service already"};
        case EBUSY:
            return {"EBUSY", "another watcher of the process follows the cluster service"};
        case ENAMETOOLONG:
            return {"ENAMETOOLONG", "the path of the daemon's socket is longer than 107 bytes"};
        case ENOMEM:
            return {"ENOMEM", "out of memory"};
        case EMFILE:
            return {"EMFILE", "the process has too many open descriptors"};
        case ENFILE:
            return {"ENFILE", "the system has too many open files"};
        default:
            return {"unknown error", "unknown error number"};
        }
    }

    int number_;
    origin origin_ = origin::library;
};

// What result::value() throws when there is no value. Nothing else in these headers throws.
class failure : public std::runtime_error {
  public:
    // Its what() is "TEXT (NAME, NUMBER)".
    explicit failure(error reason)
        : std::runtime_error(std::string(reason.text()) + " (" + reason.name() + ", " +
                             std::to_string(reason.number()) + ")"),
          reason_(reason) {}

    error reason() const noexcept { return reason_; }

  private:
    error reason_;
};

namespace detail {

// Throws a failure. A program that is compiled without exceptions prints the error and aborts instead.
[[noreturn]] inline void raise(error reason) {
#if defined(__cpp_exceptions)
    throw failure(reason);
#else
    std::fprintf(stderr, "hb_client: %s (%s, %d)\n", reason.text(), reason.name(), reason.number());
    std::abort();
#endif
}

} // namespace detail
} // namespace hb

#endif
