// SPDX-License-Identifier: Apache-2.0
#include "daemon/file_loader.h"

#include <thread>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "host/signals_blocked.h"

namespace wispd {

class File_Loader::Impl {
  public:
    explicit Impl(asio::io_context &context) : context_(context), more_to_come_(work_.get_executor()) {}
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;
    ~Impl() {
        work_.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    void run(std::function<Completion()> work) {
        // Start the thread before posting: if that fails, no work is left in the queue.
        if (!thread_.joinable()) {
            const Signals_Blocked blocked;
            thread_ = std::thread([this] { work_.run(); });
        }
        asio::post(work_, [this, work = std::move(work)] { asio::post(context_, work()); });
    }

  private:
    asio::io_context &context_;
    asio::io_context work_;
    asio::executor_work_guard<asio::io_context::executor_type> more_to_come_;
    std::thread thread_;
};

File_Loader::File_Loader(asio::io_context &context) : impl_(std::make_unique<Impl>(context)) {}

File_Loader::~File_Loader() = default;

void File_Loader::run(std::function<Completion()> work) {
    impl_->run(std::move(work));
}

} // namespace wispd
