// SPDX-License-Identifier: Apache-2.0
// The model that two threads share: one follows the daemon, the other one draws.
#pragma once

#include <mutex>
#include <string>

#include "tools/hbctl/top/top_model.h"

namespace hbctl {

class Top_Board {
  public:
    // Throws std::system_error.
    explicit Top_Board(const std::string &socket);
    ~Top_Board();
    Top_Board(const Top_Board &) = delete;
    Top_Board &operator=(const Top_Board &) = delete;

    // Calls change(model) and makes the descriptor readable.
    template <typename Change> void change(Change change) {
        {
            const std::lock_guard lock(mutex_);
            change(model_);
        }
        wake();
    }

    // Returns what use(model) returns.
    template <typename Use> auto use(Use use) {
        const std::lock_guard lock(mutex_);
        return use(model_);
    }

    // Readable after a change, until calm().
    int descriptor() const { return descriptor_; }
    void calm() const;

  private:
    void wake() const;

    std::mutex mutex_;
    Top_Model model_;
    int descriptor_;
};

} // namespace hbctl
