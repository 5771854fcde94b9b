// SPDX-License-Identifier: Apache-2.0
// hb/result.hpp - hb::result<T>: a value, or the reason why there is none
#ifndef HB_RESULT_HPP
#define HB_RESULT_HPP

#include <cassert>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "hb/error.hpp"

namespace hb {

// Holds a T or an error, like std::expected of C++23. It moves and copies as T does.
//
//     if (hb::result<hb::session> session = hb::session::open()) {
//         use(*session);
//     } else {
//         std::fprintf(stderr, "%s\n", session.error().text());
//     }
//
// value() throws hb::failure when there is no value; in a program without exceptions it prints the error and aborts.
// operator* and operator-> require a value, and error() requires an error: they check that with assert only.
template <class T> class [[nodiscard]] result {
  public:
    using value_type = T;
    using error_type = hb::error;

    // Holds a value, which is made from anything that converts to T.
    template <class From = T, class = std::enable_if_t<
                                  std::is_convertible_v<From &&, T> &&
                                  !std::is_same_v<std::remove_cv_t<std::remove_reference_t<From>>, result> &&
                                  !std::is_same_v<std::remove_cv_t<std::remove_reference_t<From>>, hb::error>>>
    result(From &&value) : held_(std::in_place_index<0>, std::forward<From>(value)) {}

    // Holds an error.
    result(hb::error reason) noexcept : held_(std::in_place_index<1>, reason) {}

    bool has_value() const noexcept { return held_.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    T &operator*() &noexcept { return *get(); }
    const T &operator*() const &noexcept { return *get(); }
    T &&operator*() &&noexcept { return std::move(*get()); }
    T *operator->() noexcept { return get(); }
    const T *operator->() const noexcept { return get(); }

    // Returns the value. Throws hb::failure if there is none.
    T &value() & {
        require_value();
        return *get();
    }
    const T &value() const & {
        require_value();
        return *get();
    }
    T &&value() && {
        require_value();
        return std::move(*get());
    }

    // Returns the reason why there is no value.
    hb::error error() const noexcept {
        const hb::error *reason = std::get_if<1>(&held_);
        assert(reason != nullptr);
        return *reason;
    }

    // Returns the value, or the other one if there is none.
    template <class Other> T value_or(Other &&other) const & {
        return has_value() ? *get() : static_cast<T>(std::forward<Other>(other));
    }
    template <class Other> T value_or(Other &&other) && {
        return has_value() ? std::move(*get()) : static_cast<T>(std::forward<Other>(other));
    }

    // Returns next(value), which is a result; or this error, without a call.
    template <class Next> auto and_then(Next &&next) & -> std::invoke_result_t<Next, T &> {
        using outcome = std::invoke_result_t<Next, T &>;
        return has_value() ? std::forward<Next>(next)(*get()) : outcome(error());
    }
    template <class Next> auto and_then(Next &&next) const & -> std::invoke_result_t<Next, const T &> {
        using outcome = std::invoke_result_t<Next, const T &>;
        return has_value() ? std::forward<Next>(next)(*get()) : outcome(error());
    }
    template <class Next> auto and_then(Next &&next) && -> std::invoke_result_t<Next, T &&> {
        using outcome = std::invoke_result_t<Next, T &&>;
        return has_value() ? std::forward<Next>(next)(std::move(*get())) : outcome(error());
    }

    // Returns a result of change(value), which is any value or void; or this error, without a call.
    template <class Change>
    auto transform(Change &&change) const & -> result<std::invoke_result_t<Change, const T &>>;
    template <class Change> auto transform(Change &&change) && -> result<std::invoke_result_t<Change, T &&>>;

    // Returns this value; or repair(error), which is a result of the same type.
    template <class Repair> result or_else(Repair &&repair) const & {
        return has_value() ? *this : std::forward<Repair>(repair)(error());
    }
    template <class Repair> result or_else(Repair &&repair) && {
        return has_value() ? std::move(*this) : std::forward<Repair>(repair)(error());
    }

  private:
    T *get() noexcept {
        T *value = std::get_if<0>(&held_);
        assert(value != nullptr);
        return value;
    }
    const T *get() const noexcept {
        const T *value = std::get_if<0>(&held_);
        assert(value != nullptr);
        return value;
    }
    void require_value() const {
        if (!has_value()) {
            detail::raise(error());
        }
    }

    std::variant<T, hb::error> held_;
};

// The outcome of a call that returns nothing: success, or an error.
template <> class [[nodiscard]] result<void> {
  public:
    using value_type = void;
    using error_type = hb::error;

    // A success.
    result() noexcept = default;
    // A failure.
    result(hb::error reason) noexcept : reason_(reason) {}

    bool has_value() const noexcept { return !reason_.has_value(); }
    explicit operator bool() const noexcept { return has_value(); }

    // Throws hb::failure after a failure.
    void value() const {
        if (reason_) {
            detail::raise(*reason_);
        }
    }

    // Returns the reason of the failure.
    hb::error error() const noexcept {
        assert(reason_.has_value());
        return *reason_;
    }

    // Returns next(), which is a result; or this error, without a call.
    template <class Next> auto and_then(Next &&next) const -> std::invoke_result_t<Next> {
        using outcome = std::invoke_result_t<Next>;
        return has_value() ? std::forward<Next>(next)() : outcome(error());
    }

    // Returns a result of change(), which is any value or void; or this error, without a call.
    template <class Change> auto transform(Change &&change) const -> result<std::invoke_result_t<Change>>;

    // Returns success; or repair(error), which is a result<void>.
    template <class Repair> result or_else(Repair &&repair) const {
        return has_value() ? *this : std::forward<Repair>(repair)(error());
    }

  private:
    std::optional<hb::error> reason_;
};

namespace detail {

// Returns what a call with these arguments returns, as a result.
template <class Change, class... Arguments> auto as_result(Change &&change, Arguments &&...arguments) {
    using outcome = std::invoke_result_t<Change, Arguments...>;
    if constexpr (std::is_void_v<outcome>) {
        std::forward<Change>(change)(std::forward<Arguments>(arguments)...);
        return result<void>();
    } else {
        return result<outcome>(std::forward<Change>(change)(std::forward<Arguments>(arguments)...));
    }
}

// Returns what a call of the C interface returned.
inline result<void> checked(Hb_Rc rc) {
    return rc == Hb_Success ? result<void>() : result<void>(error::last());
}

} // namespace detail

template <class T>
template <class Change>
auto result<T>::transform(Change &&change) const & -> result<std::invoke_result_t<Change, const T &>> {
    using outcome = result<std::invoke_result_t<Change, const T &>>;
    return has_value() ? detail::as_result(std::forward<Change>(change), *get()) : outcome(error());
}

template <class T>
template <class Change>
auto result<T>::transform(Change &&change) && -> result<std::invoke_result_t<Change, T &&>> {
    using outcome = result<std::invoke_result_t<Change, T &&>>;
    return has_value() ? detail::as_result(std::forward<Change>(change), std::move(*get())) : outcome(error());
}

template <class Change>
auto result<void>::transform(Change &&change) const -> result<std::invoke_result_t<Change>> {
    using outcome = result<std::invoke_result_t<Change>>;
    return has_value() ? detail::as_result(std::forward<Change>(change)) : outcome(error());
}

} // namespace hb

#endif
