#include "daemon/sources/corosync/engine_source.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include "daemon/text.h"

namespace wispd {

namespace {

// The loop closes what it waits on, and the follower keeps its own.
int duplicate(int descriptor) {
    const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        throw std::system_error(errno, std::generic_category(), "waiting for the cluster engine");
    }
    return copy;
}

} // namespace

Engine_Step await_engine(Engine_Follower &follower) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point until = Clock::now() + follower.settings().patience.grace;
    while (true) {
        if (std::optional<Engine_Step> step = follower.advance(Clock::now())) {
            return std::move(*step);
        }
        if (!follower.status().refused.empty()) {
            throw std::runtime_error(
                text("the cluster engine's configuration is refused: ", follower.status().refused));
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left.count() <= 0) {
            throw std::runtime_error(text(follower.status().trouble, "; start Corosync, or look into its log"));
        }
        pollfd waiting{follower.descriptor(), POLLIN, 0};
        poll(&waiting, 1, static_cast<int>(left.count()));
    }
}

class Engine_Source::Impl {
  public:
    Impl(asio::io_context &context, Engine_Follower &follower, std::function<void(const Engine_Step &)> on_step)
        : follower_(follower), on_step_(std::move(on_step)),
          readable_(context, duplicate(follower.descriptor())) {
        wait();
    }

  private:
    void wait() {
        readable_.async_wait(asio::posix::stream_descriptor::wait_read, [this](
                                                                            const asio::error_code &aborted) {
            if (aborted) {
                return;
            }
            if (const std::optional<Engine_Step> step = follower_.advance(std::chrono::steady_clock::now())) {
                on_step_(*step);
            }
            wait();
        });
    }

    Engine_Follower &follower_;
    std::function<void(const Engine_Step &)> on_step_;
    asio::posix::stream_descriptor readable_;
};

Engine_Source::Engine_Source(asio::io_context &context, Engine_Follower &follower,
                             std::function<void(const Engine_Step &)> on_step)
    : impl_(std::make_unique<Impl>(context, follower, std::move(on_step))) {}

Engine_Source::~Engine_Source() = default;

} // namespace wispd
