// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <asio/io_context.hpp>
#include <gtest/gtest.h>

#include "daemon/file_loader.h"
#include "tests/support/deadline.h"

namespace {

using hb_test::wait_until;

class WispdFileLoader : public testing::Test {
  protected:
    bool poll_until(const std::function<bool()> &condition) {
        return wait_until([&] {
            context_.restart();
            context_.poll();
            return condition();
        });
    }

    asio::io_context context_;
};

TEST_F(WispdFileLoader, WorksInItsThreadAndCompletesInTheContexts) {
    wispd::File_Loader loader(context_);
    std::thread::id worked;
    std::thread::id completed;
    loader.run([&]() -> wispd::File_Loader::Completion {
        worked = std::this_thread::get_id();
        return [&] { completed = std::this_thread::get_id(); };
    });
    ASSERT_TRUE(poll_until([&] { return completed != std::thread::id(); }));
    EXPECT_EQ(std::this_thread::get_id(), completed);
    EXPECT_NE(completed, worked);
}

TEST_F(WispdFileLoader, KeepsTheOrder) {
    wispd::File_Loader loader(context_);
    std::vector<int> completed;
    for (int i = 0; i < 20; ++i) {
        loader.run([&completed, i] { return [&completed, i] { completed.push_back(i); }; });
    }
    ASSERT_TRUE(poll_until([&] { return completed.size() == 20; }));
    EXPECT_TRUE(std::is_sorted(completed.begin(), completed.end()));
}

TEST_F(WispdFileLoader, EndsAfterTheWorkThatIsUnderWayAndCompletesNothingMore) {
    std::atomic<bool> begun = false;
    std::atomic<bool> may_end = false;
    std::atomic<int> worked = 0;
    int completed = 0;
    std::thread releasing;
    {
        wispd::File_Loader loader(context_);
        for (int i = 0; i < 3; ++i) {
            loader.run([&]() -> wispd::File_Loader::Completion {
                begun = true;
                wait_until([&] { return may_end.load(); });
                ++worked;
                return [&] { ++completed; };
            });
        }
        ASSERT_TRUE(wait_until([&] { return begun.load(); }));
        releasing = std::thread([&] { may_end = true; });
    }
    releasing.join();
    EXPECT_GE(worked, 1);
    EXPECT_EQ(0, completed);
}

} // namespace
