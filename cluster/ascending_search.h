// SPDX-License-Identifier: Apache-2.0
// Searches an ordered set for many keys that ascend. All searches together walk the set once.
#pragma once

namespace wispd {

template <typename Set> class Ascending_Search {
  public:
    explicit Ascending_Search(const Set &set) : at_(set.begin()), end_(set.end()) {}

    // The key must not be below the key of the search before.
    bool contains(const typename Set::key_type &key) {
        while (at_ != end_ && *at_ < key) {
            ++at_;
        }
        return at_ != end_ && *at_ == key;
    }

  private:
    typename Set::const_iterator at_;
    typename Set::const_iterator end_;
};

} // namespace wispd
