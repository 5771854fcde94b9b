// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/follower.h"

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <optional>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "hb_client.h"
#include "tools/hbctl/event_stream.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/retry_pause.h"
#include "tools/hbctl/subscription.h"
#include "tools/hbctl/top/daemon_facts.h"

namespace hbctl {
namespace {

constexpr std::chrono::milliseconds PROBE_PERIOD{1000};
constexpr std::chrono::milliseconds TIME_TO_END{300};

// One connection after another. Only its own thread uses it.
class Following {
  public:
    Following(std::shared_ptr<Top_Board> board, int stop_descriptor)
        : board_(std::move(board)), stop_descriptor_(stop_descriptor) {}

    // Returns when it was asked to stop. Throws Request_Failed if the first connection needs the user's help.
    void run() {
        while (!stopped_) {
            try {
                open();
                pauses_ = Retry_Pause();
                follow();
            } catch (const Request_Failed &failure) {
                if (!was_connected_ && !is_absence(failure)) {
                    throw;
                }
                report_loss(failure.what());
            }
            hb_terminate();
            pause();
        }
    }

  private:
    void open() {
        open_library();
        picture_ = read_picture();
        stream_.attach();
        facts_.reset();
        read_facts();
        board_->change([&](Top_Model &model) { model.connect(picture_, Moment::now()); });
        was_connected_ = true;
        subscriptions_.clear();
        for (const Subscription_Request &request : everything()) {
            subscriptions_.emplace_back(request).ask();
        }
        is_probe_unanswered_ = false;
        next_probe_ = deadline_after(PROBE_PERIOD);
    }

    // Returns when the connection is lost, or when it was asked to stop.
    void follow() {
        for (;;) {
            Event_Record event;
            switch (stream_.next(stop_descriptor_, is_probe_unanswered_ ? Deadline{} : next_probe_, picture_,
                                 event)) {
            case Arrival::event:
                take_in(event);
                break;
            case Arrival::answered:
                is_probe_unanswered_ = false;
                board_->change([](Top_Model &model) { model.note_contact(Moment::now()); });
                break;
            case Arrival::dropped:
                board_->change([&](Top_Model &model) { model.note_dropped(event.sequence, Moment::now()); });
                break;
            case Arrival::time_over:
                probe();
                break;
            case Arrival::lost:
                report_loss("wispd disconnected");
                return;
            case Arrival::stopped:
            case Arrival::output_closed:
                stopped_ = true;
                return;
            case Arrival::failed:
                break;
            }
        }
    }

    void take_in(const Event_Record &event) {
        if (event.kind == HB_EVENT_CONFIG) {
            read_facts();
        }
        board_->change([&](Top_Model &model) { model.add(event, picture_, Moment::now()); });
        if (event.kind == HB_EVENT_CONFIG) {
            for (Subscription &subscription : subscriptions_) {
                subscription.refresh();
            }
        }
    }

    void probe() {
        is_probe_unanswered_ = true;
        next_probe_ = deadline_after(PROBE_PERIOD);
        read_facts();
        stream_.probe(picture_);
    }

    void read_facts() {
        std::optional<Daemon_Facts> facts = read_daemon_facts();
        if (facts != facts_) {
            facts_ = facts;
            board_->change([&](Top_Model &model) { model.describe(facts.value_or(Daemon_Facts{})); });
        }
    }

    void report_loss(const std::string &reason) {
        board_->change([&](Top_Model &model) { model.disconnect(reason, Moment::now()); });
    }

    void pause() {
        std::vector<int> nobody;
        stopped_ = stopped_ ||
                   wait_for({}, stop_descriptor_, deadline_after(pauses_.next()), nobody) != Wake::time_over;
    }

    const std::shared_ptr<Top_Board> board_;
    const int stop_descriptor_;
    Event_Stream stream_;
    Picture picture_;
    std::vector<Subscription> subscriptions_;
    std::optional<Daemon_Facts> facts_;
    Deadline next_probe_;
    Retry_Pause pauses_;
    bool is_probe_unanswered_ = false;
    bool was_connected_ = false;
    bool stopped_ = false;
};

// The thread leaves all signals to the one that draws.
class Signals_Blocked {
  public:
    Signals_Blocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~Signals_Blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    Signals_Blocked(const Signals_Blocked &) = delete;
    Signals_Blocked &operator=(const Signals_Blocked &) = delete;

  private:
    sigset_t before_{};
};

} // namespace

struct Follower::State {
    explicit State(std::shared_ptr<Top_Board> the_board)
        : board(std::move(the_board)), stop_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (stop_descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot create a descriptor for the end");
        }
    }
    ~State() { close(stop_descriptor); }
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    void run() {
        std::string reason;
        try {
            Following(board, stop_descriptor).run();
        } catch (const std::exception &error) {
            reason = error.what();
        }
        {
            const std::lock_guard lock(mutex);
            failure = reason;
            has_ended = true;
        }
        ended.notify_all();
        board->change([](Top_Model &) {});
    }

    const std::shared_ptr<Top_Board> board;
    const int stop_descriptor;
    std::mutex mutex;
    std::condition_variable ended;
    bool has_ended = false;
    std::string failure;
};

Follower::Follower(const std::shared_ptr<Top_Board> &board) : state_(std::make_shared<State>(board)) {
    const Signals_Blocked blocked;
    std::thread([state = state_] { state->run(); }).detach();
}

Follower::~Follower() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(state_->stop_descriptor, &one, sizeof one);
    std::unique_lock lock(state_->mutex);
    state_->ended.wait_for(lock, TIME_TO_END, [this] { return state_->has_ended; });
}

std::string Follower::failure() const {
    const std::lock_guard lock(state_->mutex);
    return state_->failure;
}

} // namespace hbctl
