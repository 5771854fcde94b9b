// SPDX-License-Identifier: Apache-2.0
// hb/ranges.hpp - hb::range: what the iterations of the C interface return, for range-for and the algorithms
#ifndef HB_RANGES_HPP
#define HB_RANGES_HPP

#include <cstddef>
#include <iterator>

#include "hb_client.h"

namespace hb {

// A range that asks for its next element when it is needed. It stores nothing and allocates nothing. Its iterators are
// forward iterators that return elements by value: several passes and several iterators at a time are possible.
//
// Steps makes the elements. It is a small object that can be copied, has the type value_type, and two members that
// return whether there is an element, and write it and the position after it:
//     bool first(value_type &, Hb_Cursor &) const;
//     bool next(value_type &, Hb_Cursor &) const;   // from the position
template <class Steps> class range {
  public:
    using value_type = typename Steps::value_type;

    class iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = typename Steps::value_type;
        using difference_type = std::ptrdiff_t;
        using reference = value_type;
        using pointer = const value_type *;

        // The end of every range.
        iterator() = default;

        // The beginning.
        explicit iterator(const Steps &steps) : steps_(steps) {
            has_element_ = steps_.first(element_, position_);
        }

        reference operator*() const { return element_; }
        pointer operator->() const { return &element_; }

        iterator &operator++() {
            has_element_ = steps_.next(element_, position_);
            return *this;
        }
        iterator operator++(int) {
            const iterator before = *this;
            ++*this;
            return before;
        }

        friend bool operator==(const iterator &left, const iterator &right) {
            return left.has_element_ == right.has_element_ &&
                   (!left.has_element_ || left.position_ == right.position_);
        }
        friend bool operator!=(const iterator &left, const iterator &right) { return !(left == right); }

      private:
        Steps steps_ = {};
        value_type element_ = {};
        Hb_Cursor position_ = 0;
        bool has_element_ = false;
    };
    using const_iterator = iterator;

    // An empty range.
    range() = default;
    explicit range(const Steps &steps) : steps_(steps) {}

    iterator begin() const { return iterator(steps_); }
    iterator end() const { return {}; }

    bool empty() const { return begin() == end(); }
    // Returns how many elements there are now. It counts them.
    std::size_t count() const { return static_cast<std::size_t>(std::distance(begin(), end())); }

  private:
    Steps steps_ = {};
};

} // namespace hb

#endif
