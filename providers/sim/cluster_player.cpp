#include "providers/sim/cluster_player.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <thread>

#include <unistd.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include "cluster/cluster.h"
#include "cluster/description/command.h"
#include "cluster/description/command_json.h"
#include "cluster/description/control_server.h"
#include "cluster/description/timeline.h"
#include "cluster/description/timeline_player.h"
#include "cluster/node_control.h"
#include "engine/cluster_file.h"
#include "host/log.h"
#include "host/paths.h"
#include "host/signals_blocked.h"
#include "host/socket_file.h"
#include "host/text.h"
#include "providers/service/cluster_picture.h"
#include "providers/service/picture_events.h"
#include "providers/sim/service_state.h"
#include "providers/sim/simulated_service.h"

namespace mox_sim {
namespace {

using mox_service::events_between;
using mox_service::picture_of;
using wispd::Command;
using wispd::Refused;
using wispd::text;
using wispd::Verb;

// What a heartbeat daemon tells, and a cluster service does not.
bool is_foreign_to_services(Verb verb) {
    switch (verb) {
    case Verb::heartbeat:
    case Verb::ffdc:
    case Verb::foreign_instance:
    case Verb::rotate_key:
    case Verb::stop:
        return true;
    default:
        return false;
    }
}

std::vector<wispd::Timeline_Event> timeline_of(const wispd::Cluster_File &file) {
    return file.timeline.empty() ? std::vector<wispd::Timeline_Event>() : wispd::read_timeline(file.timeline);
}

wispd::Cluster_File read_own_cluster(const std::string &path) {
    wispd::Cluster_File file = wispd::read_cluster_file(path);
    if (file.engine) {
        throw wispd::Config_Error(text(path,
                                       ": [source] type is \"corosync\"; this service simulates a cluster "
                                       "described in its file. Use libqz_mox_corosync.so for Corosync"));
    }
    return file;
}

} // namespace

class Cluster_Player::Impl {
  public:
    explicit Impl(const Play &play);
    ~Impl();
    void leave();

  private:
    void listen(const std::string &path);
    wispd::Control_Answer answer(std::string_view line);
    void execute(const Command &command);
    void reload(const std::string &path);
    bool raise_suspect(const Command &command);
    void show(const wispd::Changes &changes);
    void become(const Picture &picture, const std::vector<Told> &events);
    void await_suspicions();
    void play_timeline(const std::string &path);
    void play(const wispd::Timeline_Event &event);

    asio::io_context context_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
    std::string config_;
    wispd::Cluster_File file_;
    std::vector<wispd::Timeline_Event> configured_timeline_;
    wispd::Cluster cluster_;
    wispd::Node_Control node_control_;
    Picture picture_;
    wispd::Socket_File control_file_;
    std::optional<wispd::Control_Server> control_;
    std::optional<wispd::Timeline_Player> timeline_;
    asio::steady_timer suspicion_;
    Simulated_Service service_;
    std::thread thread_;
};

Cluster_Player::Impl::Impl(const Play &play)
    : config_(wispd::absolute_path(play.config)), file_(read_own_cluster(config_)),
      configured_timeline_(timeline_of(file_)), cluster_(file_.cluster),
      node_control_(cluster_, file_.suspicion), picture_(picture_of(cluster_)), suspicion_(context_) {
    if (!play.control.empty()) {
        listen(wispd::absolute_path(play.control));
    }
    service_.set_cluster(cluster_.name(), static_cast<uint32_t>(cluster_.local_node()));
    service_.change(picture_, {});
    if (!configured_timeline_.empty()) {
        service_.when_first_opened([this] { asio::post(context_, [this] { play_timeline(""); }); });
    }
    const wispd::Signals_Blocked blocked;
    thread_ = std::thread([this] { context_.run(); });
}

Cluster_Player::Impl::~Impl() {
    leave();
}

void Cluster_Player::Impl::leave() {
    context_.stop();
    if (thread_.joinable()) {
        thread_.join();
    }
    control_file_ = wispd::Socket_File();
}

void Cluster_Player::Impl::listen(const std::string &path) {
    wispd::check_socket_path(path, "control socket's");
    wispd::clear_socket_path(path);
    control_file_ = wispd::Socket_File(path, {static_cast<gid_t>(-1), 0600});
    control_file_.listen();
    // Only this process's own user can connect: its files are the program's own.
    const auto may_control = [](const wispd::Peer &peer) { return wispd::is_trusted(peer, geteuid()); };
    const auto on_line = [this](const wispd::Peer &, std::string_view line,
                                const wispd::Control_Server::Reply &reply) { reply(answer(line)); };
    control_.emplace(context_, control_file_.release(), wispd::Control_Server::IDLE,
                     wispd::Control_Server::Handlers{may_control, on_line, [] {}});
}

wispd::Control_Answer Cluster_Player::Impl::answer(std::string_view line) {
    try {
        const Command command = wispd::parse_command_line(line);
        if (command.verb == Verb::state) {
            return {state_line({cluster_.name(), cluster_.local_node(), picture_, service_.monitors_opened(),
                                timeline_ ? timeline_->size() : 0, timeline_ ? timeline_->played() : 0})};
        }
        execute(command);
        return {wispd::ok_line()};
    } catch (const std::runtime_error &error) {
        wispd::log_info(text("rejected: ", error.what()));
        return {wispd::error_line(error.what())};
    }
}

void Cluster_Player::Impl::execute(const Command &command) {
    if (is_foreign_to_services(command.verb)) {
        throw Refused(text(wispd::verb_name(command.verb),
                           " applies to wispd only; a cluster service does not report it"));
    }
    if (command.verb == Verb::play) {
        play_timeline(command.timeline);
    } else if (command.verb == Verb::reconfigure) {
        reload(command.config.empty() ? config_ : command.config);
    } else if (const auto request = wispd::node_request_of(command, cluster_)) {
        const wispd::Outcome outcome = node_control_.act(*request, std::chrono::steady_clock::now());
        if (outcome.status != wispd::REQUEST_DONE) {
            throw Refused(outcome.note);
        }
        show(outcome.changes);
    } else if (!raise_suspect(command)) {
        show(wispd::apply(command, cluster_));
    }
}

void Cluster_Player::Impl::reload(const std::string &path) {
    const wispd::Cluster_File file = read_own_cluster(path);
    const wispd::Changes changes = cluster_.reconfigure(file.cluster);
    node_control_.set(file.suspicion);
    node_control_.heed(changes);
    await_suspicions();
    become(picture_of(cluster_), {mox_service::reconfiguration()});
}

// That somebody who is suspected is up is no news, but ends the suspicion.
bool Cluster_Player::Impl::raise_suspect(const Command &command) {
    const bool cleared = (command.verb == Verb::node_up && node_control_.clear_node(command.node)) ||
                         (command.verb == Verb::adapter_up && node_control_.clear_adapter(command.adapter));
    if (cleared) {
        try {
            show(wispd::apply(command, cluster_));
        } catch (const Refused &) {
            // It is up, with all that belongs to it.
        }
    }
    return cleared;
}

void Cluster_Player::Impl::show(const wispd::Changes &changes) {
    node_control_.heed(changes);
    await_suspicions();
    Picture picture = picture_of(cluster_);
    const std::vector<Told> events = events_between(picture_, picture);
    become(std::move(picture), events);
}

void Cluster_Player::Impl::become(const Picture &picture, const std::vector<Told> &events) {
    picture_ = picture;
    service_.change(picture_, events);
}

void Cluster_Player::Impl::await_suspicions() {
    suspicion_.cancel();
    if (const std::optional<wispd::Time> due = node_control_.next_due()) {
        suspicion_.expires_at(*due);
        suspicion_.async_wait([this](const asio::error_code &aborted) {
            if (!aborted) {
                show(node_control_.confirm_due(std::chrono::steady_clock::now()).changes);
            }
        });
    }
}

void Cluster_Player::Impl::play_timeline(const std::string &path) {
    if (timeline_ && timeline_->played() < timeline_->size()) {
        throw Refused(text("a timeline is already playing: ", timeline_->played(), " of its ",
                           timeline_->size(), " events are done"));
    }
    std::vector<wispd::Timeline_Event> events =
        path.empty() ? configured_timeline_ : wispd::read_timeline(path);
    if (events.empty()) {
        throw Refused(path.empty() ? std::string("no timeline is configured; name one")
                                   : text("the timeline ", path, " has no events"));
    }
    timeline_.emplace(context_, std::move(events), [this](const wispd::Timeline_Event &event) { play(event); });
}

// The same timeline also drives wispd, so that what is only for it is passed over.
void Cluster_Player::Impl::play(const wispd::Timeline_Event &event) {
    wispd::log_info(text("timeline: ", wispd::verb_name(event.command.verb)));
    if (is_foreign_to_services(event.command.verb)) {
        return;
    }
    try {
        execute(event.command);
    } catch (const std::runtime_error &error) {
        wispd::log_warning(text(event.place, ": ", error.what()));
    }
}

Cluster_Player::Cluster_Player(const Play &play) : impl_(std::make_unique<Impl>(play)) {}

Cluster_Player::~Cluster_Player() = default;

void Cluster_Player::leave() {
    impl_->leave();
}

} // namespace mox_sim
