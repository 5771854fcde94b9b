// SPDX-License-Identifier: Apache-2.0
#include "engine/engine_source.h"

#include <cerrno>
#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include "host/log.h"
#include "host/signals_blocked.h"
#include "host/text.h"

namespace wispd {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds WATCH_INTERVAL(500);
constexpr std::chrono::seconds SILENT_AFTER(2);
constexpr std::chrono::seconds FIRST_ANSWER_LATEST(3);
constexpr std::chrono::seconds END_AFTER(1);
constexpr int LOOKS_UNTIL_BELIEVED = 6; // as long as an engine needs to form a new membership

// What the thread and the event loop share; the last user frees it.
struct Shared {
    explicit Shared(std::unique_ptr<Engine> the_engine)
        : engine(std::move(the_engine)), wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
          status(engine->status()) {
        if (wake < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for the cluster engine");
        }
    }
    Shared(const Shared &) = delete;
    Shared &operator=(const Shared &) = delete;
    ~Shared() { close(wake); }

    const std::unique_ptr<Engine> engine; // used only by the thread
    const int wake;

    std::mutex mutex;
    std::condition_variable ended;
    bool has_ended = false;
    bool must_end = false;
    std::optional<Clock::time_point> asking_since;
    std::optional<Engine_Settings> wanted;
    Engine_Status status;
};

void wait_for_either(const Shared &shared) {
    pollfd waiting[] = {{shared.engine->descriptor(), POLLIN, 0}, {shared.wake, POLLIN, 0}};
    poll(waiting, 2, -1);
    eventfd_t count = 0;
    eventfd_read(shared.wake, &count);
}

// Calls `deliver` while it holds the lock, and never after must_end is set.
template <typename Deliver> void follow(Shared &shared, Deliver deliver) {
    while (true) {
        wait_for_either(shared);
        std::optional<Engine_Settings> wanted;
        {
            const std::lock_guard lock(shared.mutex);
            if (shared.must_end) {
                break;
            }
            wanted = std::exchange(shared.wanted, std::nullopt);
            shared.asking_since = Clock::now();
        }
        if (wanted) {
            shared.engine->set(*wanted);
        }
        std::optional<Engine_Step> step = shared.engine->advance(Clock::now());
        const std::lock_guard lock(shared.mutex);
        shared.asking_since.reset();
        if (shared.must_end) {
            break;
        }
        const bool was_silent = shared.status.silent;
        shared.status = shared.engine->status();
        if (step || was_silent) {
            deliver(std::move(step));
        }
    }
    const std::lock_guard lock(shared.mutex);
    shared.has_ended = true;
    shared.ended.notify_all();
}

Engine_Step first_step(Engine &engine) {
    const Clock::time_point until = Clock::now() + std::max(engine.grace(), engine.time_to_connect());
    while (true) {
        if (std::optional<Engine_Step> step = engine.advance(Clock::now())) {
            return std::move(*step);
        }
        if (!engine.status().refused.empty()) {
            throw std::runtime_error(
                text("cannot use ", engine.name().title, "'s configuration: ", engine.status().refused));
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
        if (left.count() <= 0) {
            throw std::runtime_error(
                text(engine.status().trouble, "; start ", engine.name().title, ", or read its log"));
        }
        pollfd waiting{engine.descriptor(), POLLIN, 0};
        poll(&waiting, 1, static_cast<int>(left.count()));
    }
}

// Shared by the thread that waits for the first step and the caller that waits for the thread.
struct First_Step {
    explicit First_Step(std::unique_ptr<Engine> the_engine) : engine(std::move(the_engine)) {}

    std::unique_ptr<Engine> engine;
    std::promise<Engine_Step> step;
};

} // namespace

// A blocked engine blocks its caller. A separate thread sends the query, because it can be left behind.
Engine_Step await_engine(std::unique_ptr<Engine> &engine) {
    const Engine_Name name = engine->name();
    const std::chrono::milliseconds longest =
        std::max(engine->grace(), engine->time_to_connect()) + FIRST_ANSWER_LATEST;
    const auto first = std::make_shared<First_Step>(std::move(engine));
    std::future<Engine_Step> step = first->step.get_future();
    std::thread thread = [&first] {
        const Signals_Blocked blocked;
        return std::thread([first] {
            try {
                first->step.set_value(first_step(*first->engine));
            } catch (...) {
                first->step.set_exception(std::current_exception());
            }
        });
    }();
    if (step.wait_for(longest) == std::future_status::timeout) {
        thread.detach();
        throw std::runtime_error(text(name.title, " is running but does not respond; find out what blocks it"));
    }
    thread.join();
    engine = std::move(first->engine);
    return step.get();
}

class Engine_Source::Impl {
  public:
    Impl(asio::io_context &context, std::unique_ptr<Engine> engine, const Engine_Step &first,
         std::function<void(const Engine_Step &)> on_step)
        : name_(engine->name()), grace_(engine->grace()), local_node_(first.configuration->local_node),
          adapters_per_node_(first.configuration->adapters_per_node), last_(first.liveness),
          on_step_(std::move(on_step)), shared_(std::make_shared<Shared>(std::move(engine))), watch_(context) {
        const Signals_Blocked blocked;
        thread_ = std::thread([shared = shared_, alive = std::weak_ptr(alive_), this, &context] {
            follow(*shared, [&](std::optional<Engine_Step> step) {
                asio::post(context, [alive, this, step = std::move(step)] {
                    if (!alive.expired()) {
                        accept_step(step);
                    }
                });
            });
        });
        watch();
    }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    ~Impl() {
        std::unique_lock lock(shared_->mutex);
        shared_->must_end = true;
        eventfd_write(shared_->wake, 1);
        const bool ended = shared_->ended.wait_for(lock, END_AFTER, [this] { return shared_->has_ended; });
        lock.unlock();
        ended ? thread_.join() : thread_.detach();
    }

    Engine_Name name() const { return name_; }

    Engine_Status status() const {
        const std::lock_guard lock(shared_->mutex);
        return shared_->status;
    }

    void set(const Engine_Settings &settings) {
        grace_ = std::visit([](const auto &those) { return grace_of(those); }, settings);
        const std::lock_guard lock(shared_->mutex);
        shared_->wanted = settings;
        eventfd_write(shared_->wake, 1);
    }

  private:
    void accept_step(const std::optional<Engine_Step> &step) {
        if (std::exchange(complained_, false)) {
            log_info(text(name_.title, " responds again"));
        }
        if (!step) {
            return;
        }
        last_ = step->liveness;
        if (!given_up_) {
            on_step_(*step);
        } else if (step->configuration) {
            unreported_configuration_ = step->configuration;
        }
    }

    // Runs after several timely answers: the engine's first reports after a silence are older than the silence.
    void return_to_it() {
        given_up_ = false;
        on_step_({std::exchange(unreported_configuration_, std::nullopt), without_flaps(last_)});
    }

    static Liveness without_flaps(Liveness liveness) {
        liveness.nodes_back.clear();
        liveness.adapters_back.clear();
        return liveness;
    }

    void watch() {
        watch_.expires_after(WATCH_INTERVAL);
        watch_.async_wait([this](const asio::error_code &aborted) {
            if (!aborted) {
                check_engine();
                watch();
            }
        });
    }

    void check_engine() {
        Clock::duration silence{};
        {
            const std::lock_guard lock(shared_->mutex);
            if (shared_->asking_since) {
                silence = Clock::now() - *shared_->asking_since;
                shared_->status.silent = shared_->status.silent || silence >= SILENT_AFTER;
            }
        }
        answers_in_a_row_ = silence < SILENT_AFTER ? answers_in_a_row_ + 1 : 0;
        if (given_up_ && answers_in_a_row_ >= LOOKS_UNTIL_BELIEVED) {
            return_to_it();
        }
        if (silence >= SILENT_AFTER && !complained_) {
            complained_ = true;
            log_warning(
                text(name_.title,
                     " unresponsive; clients stay connected, and the other nodes are reported down after ",
                     std::chrono::duration_cast<std::chrono::seconds>(grace_).count(), " s (grace_seconds)"));
        }
        if (silence >= std::max<Clock::duration>(grace_, SILENT_AFTER) && !given_up_) {
            given_up_ = true;
            log_warning(text(name_.title, " unresponsive for ",
                             std::chrono::duration_cast<std::chrono::seconds>(silence).count(),
                             " s (grace_seconds): reporting all other nodes down"));
            on_step_({std::nullopt, of_local_node(last_)});
        }
    }

    Liveness of_local_node(const Liveness &all) const {
        Liveness local;
        local.nodes = {local_node_};
        for (const int64_t adapter : all.adapters) {
            if (adapter / adapters_per_node_ == local_node_) {
                local.adapters.insert(adapter);
            }
        }
        return local;
    }

    const Engine_Name name_;
    std::chrono::milliseconds grace_;
    const Hb_Node_Number local_node_;
    const int adapters_per_node_;
    Liveness last_; // the liveness that the engine last reported
    bool complained_ = false;
    bool given_up_ = false; // the other nodes were reported down after a silence
    int answers_in_a_row_ = 0;
    std::optional<Configuration> unreported_configuration_;
    std::function<void(const Engine_Step &)> on_step_;
    std::shared_ptr<Shared> shared_;
    const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    asio::steady_timer watch_;
    std::thread thread_;
};

Engine_Source::Engine_Source(asio::io_context &context, std::unique_ptr<Engine> engine,
                             const Engine_Step &first, std::function<void(const Engine_Step &)> on_step)
    : impl_(std::make_unique<Impl>(context, std::move(engine), first, std::move(on_step))) {}

Engine_Source::~Engine_Source() = default;

Engine_Name Engine_Source::name() const {
    return impl_->name();
}

Engine_Status Engine_Source::status() const {
    return impl_->status();
}

void Engine_Source::set(const Engine_Settings &settings) {
    impl_->set(settings);
}

} // namespace wispd
