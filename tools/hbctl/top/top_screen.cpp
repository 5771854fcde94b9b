// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/top_screen.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include "common/no_answer.h"
#include "common/socket_path.h"
#include "tools/hbctl/top/character_set.h"
#include "tools/hbctl/top/follower.h"
#include "tools/hbctl/top/screen.h"
#include "tools/hbctl/top/screen_signals.h"
#include "tools/hbctl/waiting.h"

namespace hbctl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A daemon that is absent, or one that answers at once, causes no screen that only flashes.
constexpr milliseconds TIME_BEFORE_SCREEN{300};
// The pause between two frames: a burst of events is drawn a few times, and not once for each of them.
constexpr milliseconds FRAME_PERIOD{30};

class Top_Loop {
  public:
    explicit Top_Loop(const Arguments &arguments)
        : arguments_(arguments),
          end_(arguments.limits.timeout ? deadline_after(arguments.patience) : Deadline{}),
          opening_end_(arguments.limits.wait ? end_ : deadline_after(arguments.patience)),
          board_(std::make_shared<Top_Board>(common::socket_path_from_environment())), follower_(board_) {}

    int run() {
        if (wait_before_screen()) {
            const Screen screen(has_unicode_);
            show(screen);
        }
        return STATUS_SUCCESS;
    }

  private:
    // Returns false if the command shall end.
    bool wait_before_screen() {
        const Deadline until = deadline_after(TIME_BEFORE_SCREEN);
        while (!is_over(until) && !was_connected()) {
            wait(-1, board_->descriptor(), until);
            board_->calm();
            if (is_asked_to_end() || is_time_over()) {
                return false;
            }
        }
        return !is_time_over();
    }

    void show(const Screen &screen) {
        is_changed_ = true;
        while (!is_time_over()) {
            if (Clock::now() >= next_frame()) {
                draw(screen);
            }
            // A change within the pause is drawn after it.
            wait(STDIN_FILENO, is_changed_ ? -1 : board_->descriptor(), next_frame());
            if (is_board_ready_) {
                board_->calm();
                is_changed_ = true;
            }
            if (is_terminal_gone_ || !handle_signals(screen) || !handle_keys(screen)) {
                return;
            }
        }
    }

    void draw(const Screen &screen) {
        const Moment now = Moment::now();
        const auto wall = now.wall.time_since_epoch();
        drawn_ = now.steady;
        next_second_ =
            now.steady + (std::chrono::floor<std::chrono::seconds>(wall) + std::chrono::seconds(1) - wall);
        is_changed_ = false;
        const Frame frame = board_->use([&](Top_Model &model) {
            model.check_silence(now);
            return screen_frame(model, view_, screen.size(), now);
        });
        range_ = frame.range;
        screen.draw(frame);
    }

    Clock::time_point next_frame() const { return is_changed_ ? drawn_ + FRAME_PERIOD : next_second_; }

    // Waits for keys, the other descriptor, a signal, or the time.
    void wait(int keys, int changes, const Deadline &until) {
        std::array<pollfd, 3> wanted{pollfd{keys, POLLIN, 0}, pollfd{changes, POLLIN, 0},
                                     pollfd{signals_.descriptor(), POLLIN, 0}};
        const int count = poll(wanted.data(), wanted.size(), milliseconds_until(until));
        if (count < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "cannot wait for keys");
        }
        has_keys_ = count > 0 && (wanted[0].revents & POLLIN) != 0;
        is_terminal_gone_ = count > 0 && (wanted[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
        is_board_ready_ = count > 0 && wanted[1].revents != 0;
    }

    int milliseconds_until(const Deadline &until) const {
        Clock::time_point first = *until;
        for (const Deadline &deadline : {end_, was_connected_ ? Deadline{} : opening_end_}) {
            first = deadline ? std::min(first, *deadline) : first;
        }
        const auto left = std::chrono::ceil<milliseconds>(first - Clock::now()).count();
        return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
    }

    bool is_asked_to_end() const {
        const std::vector<int> signals = signals_.arrived();
        return std::any_of(signals.begin(), signals.end(), Screen_Signals::asks_to_end);
    }

    // Returns false if one of them asks to end.
    bool handle_signals(const Screen &screen) {
        for (const int signal : signals_.arrived()) {
            if (Screen_Signals::asks_to_end(signal)) {
                return false;
            }
            if (signal == SIGTSTP) {
                screen.leave();
                Screen_Signals::stop_process();
            }
            if (signal == SIGTSTP || signal == SIGCONT) {
                board_->use([](Top_Model &model) { model.note_pause(Moment::now()); });
                screen.come_back();
            } else {
                screen.resize();
            }
            is_changed_ = true;
        }
        return true;
    }

    // Returns false if one of them asks to end.
    bool handle_keys(const Screen &screen) {
        for (bool more = has_keys_; more;) {
            const std::optional<Key_Press> key = screen.next_key(more);
            if (key && press(*key, range_, view_) == Wish::quit) {
                return false;
            }
            is_changed_ = is_changed_ || key;
        }
        return true;
    }

    bool was_connected() {
        was_connected_ =
            was_connected_ || board_->use([](const Top_Model &model) { return model.was_connected(); });
        return was_connected_;
    }

    // Returns true when the user's time is over. Throws std::runtime_error if there is nothing to show.
    bool is_time_over() {
        if (const std::string failure = follower_.failure(); !failure.empty()) {
            throw std::runtime_error(failure);
        }
        if (!was_connected()) {
            const std::string obstacle = board_->use([](const Top_Model &model) { return model.obstacle(); });
            if (!obstacle.empty() && (!arguments_.limits.wait || is_over(opening_end_))) {
                throw std::runtime_error(obstacle);
            }
            if (is_over(opening_end_)) {
                throw std::runtime_error(
                    common::no_answer_line(common::socket_path_from_environment(), arguments_.patience));
            }
        }
        return is_over(end_);
    }

    // Set before there is a second thread: no other one may use the locale meanwhile.
    const bool has_unicode_ = use_character_set();
    const Arguments &arguments_;
    const Deadline end_;
    const Deadline opening_end_;
    const Screen_Signals signals_;
    const std::shared_ptr<Top_Board> board_;
    const Follower follower_;
    Top_View view_;
    Scroll_Range range_;
    Clock::time_point drawn_;
    Clock::time_point next_second_; // the frame has a clock
    bool is_changed_ = false;
    bool has_keys_ = false;
    bool is_board_ready_ = false;
    bool is_terminal_gone_ = false;
    bool was_connected_ = false;
};

} // namespace

int top_on_screen(const Arguments &arguments) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
        throw std::runtime_error(
            "top needs a terminal: use 'hbctl top --once' for one frame as text, or 'hbctl watch' for events");
    }
    return Top_Loop(arguments).run();
}

} // namespace hbctl
