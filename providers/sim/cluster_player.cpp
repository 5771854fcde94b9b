// SPDX-License-Identifier: Apache-2.0
#include "providers/sim/cluster_player.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <thread>
#include <unistd.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>

#include "cluster/cluster.h"
#include "cluster/description/command_executor.h"
#include "cluster/description/control_server.h"
#include "cluster/description/suspicion_timer.h"
#include "cluster/description/timeline.h"
#include "cluster/description/timeline_run.h"
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
using wispd::Finished;
using wispd::text;
using wispd::Verb;

// Returns true for commands that only a heartbeat daemon can report, not a cluster service.
bool is_foreign_to_services(Verb verb) {
    switch (verb) {
    case Verb::heartbeat:
    case Verb::ffdc:
    case Verb::foreign_instance:
    case Verb::rotate_key:
    case Verb::log_level:
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
    wispd::Timeline_Run::Handlers timeline_handlers();
    wispd::Command_Executor::Handlers command_handlers();
    void reload(const std::string &path);
    void play_configured();
    void show(const wispd::Changes &changes);
    void become(const Picture &picture, const std::vector<Monitor_Event> &events);

    asio::io_context context_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
    std::string config_;
    wispd::Cluster_File file_;
    wispd::Cluster cluster_;
    wispd::Node_Control node_control_;
    Picture picture_;
    wispd::Socket_File control_file_;
    std::optional<wispd::Control_Server> control_;
    wispd::Timeline_Run timeline_;
    wispd::Command_Executor executor_;
    wispd::Suspicion_Timer suspicion_timer_;
    Simulated_Service service_;
    std::thread thread_;
};

Cluster_Player::Impl::Impl(const Play &play)
    : config_(wispd::absolute_path(play.config)), file_(read_own_cluster(config_)), cluster_(file_.cluster),
      node_control_(cluster_, file_.suspicion), picture_(picture_of(cluster_)),
      timeline_(context_, timeline_of(file_), timeline_handlers()),
      executor_(cluster_, node_control_, command_handlers()), suspicion_timer_(context_, node_control_, [this] {
          show(node_control_.confirm_due(std::chrono::steady_clock::now()).changes);
      }) {
    if (!play.control.empty()) {
        listen(wispd::absolute_path(play.control));
    }
    service_.set_cluster(cluster_.name(), static_cast<uint32_t>(cluster_.local_node()));
    service_.change(picture_, {});
    if (timeline_.has_configured()) {
        service_.when_first_opened([this] { asio::post(context_, [this] { play_configured(); }); });
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
    // Only the user of this process can connect, because commands can read the user's files.
    const auto may_control = [](const wispd::Peer &peer) { return wispd::is_trusted(peer, geteuid()); };
    const auto on_line = [this](const wispd::Peer &, std::string_view line,
                                const wispd::Control_Server::Reply &reply) {
        executor_.answer(line, true, reply);
    };
    control_.emplace(context_, control_file_.release(), wispd::Control_Server::IDLE,
                     wispd::Control_Server::Handlers{may_control, on_line, [] {}});
}

// Returns handlers that ignore daemon commands, because wispd can run the same timeline.
wispd::Timeline_Run::Handlers Cluster_Player::Impl::timeline_handlers() {
    wispd::Timeline_Run::Handlers handlers;
    handlers.read = [](const std::string &path, const wispd::Timeline_Run::Use &use, const Finished &finished) {
        use(wispd::read_timeline(path));
        finished(std::nullopt);
    };
    handlers.execute = [this](const Command &command, const Finished &finished) {
        if (!is_foreign_to_services(command.verb)) {
            executor_.execute(command, finished);
        }
    };
    handlers.begun = [] {};
    handlers.charge = [] { return nullptr; };
    return handlers;
}

wispd::Command_Executor::Handlers Cluster_Player::Impl::command_handlers() {
    wispd::Command_Executor::Handlers handlers;
    handlers.why_unsupported = [](Verb verb) {
        return is_foreign_to_services(verb)
                   ? text(wispd::verb_name(verb),
                          " applies to wispd only; a cluster service does not report it")
                   : std::string();
    };
    handlers.act = [this](const wispd::Node_Request &request) {
        return node_control_.act(request, std::chrono::steady_clock::now());
    };
    handlers.suspicion_ended = [](const Command &) {};
    handlers.changed = [this](const wispd::Changes &changes) { show(changes); };
    handlers.reload = [this](const std::string &path, const Finished &finished) {
        reload(path.empty() ? config_ : path);
        finished(std::nullopt);
    };
    handlers.play = [this](const std::string &path, const Finished &finished) {
        timeline_.play(path, finished);
    };
    handlers.rotate_keys = [] {};                        // not supported
    handlers.set_log_level = [](const std::string &) {}; // not supported
    handlers.state_line = [this] {
        return state_line({cluster_.name(), cluster_.local_node(), picture_, service_.monitors_opened(),
                           timeline_.size(), timeline_.played()});
    };
    handlers.rejected = [](const std::string &why) { wispd::log_info(text("refused: ", why)); };
    return handlers;
}

void Cluster_Player::Impl::reload(const std::string &path) {
    const wispd::Cluster_File file = read_own_cluster(path);
    const wispd::Changes changes = cluster_.reconfigure(file.cluster);
    node_control_.set(file.suspicion);
    node_control_.heed(changes);
    suspicion_timer_.set();
    become(picture_of(cluster_), {mox_service::reconfiguration()});
}

// A command can have started another timeline before.
void Cluster_Player::Impl::play_configured() {
    try {
        timeline_.play("", [](const auto &) {});
    } catch (const wispd::Refused &refused) {
        wispd::log_warning(text("the configured timeline does not begin: ", refused.what()));
    }
}

void Cluster_Player::Impl::show(const wispd::Changes &changes) {
    node_control_.heed(changes);
    suspicion_timer_.set();
    Picture picture = picture_of(cluster_);
    const std::vector<Monitor_Event> events = events_between(picture_, picture);
    become(std::move(picture), events);
}

void Cluster_Player::Impl::become(const Picture &picture, const std::vector<Monitor_Event> &events) {
    picture_ = picture;
    service_.change(picture_, events);
}

Cluster_Player::Cluster_Player(const Play &play) : impl_(std::make_unique<Impl>(play)) {}

Cluster_Player::~Cluster_Player() = default;

void Cluster_Player::leave() {
    impl_->leave();
}

} // namespace mox_sim
