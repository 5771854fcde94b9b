// SPDX-License-Identifier: Apache-2.0
#include "daemon/daemon.h"

#include <csignal>
#include <map>
#include <optional>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include "cluster/cluster.h"
#include "cluster/description/command_executor.h"
#include "cluster/description/command_json.h"
#include "cluster/description/control_server.h"
#include "cluster/description/failure_id.h"
#include "cluster/description/suspicion_timer.h"
#include "cluster/description/timeline_run.h"
#include "cluster/keyring.h"
#include "cluster/node_control.h"
#include "cluster/routes.h"
#include "daemon/change_log.h"
#include "daemon/charged_loader.h"
#include "daemon/cluster_file_writer.h"
#include "daemon/engine_start.h"
#include "daemon/key_rotation.h"
#include "daemon/log_summary.h"
#include "daemon/publisher/client_log.h"
#include "daemon/publisher/endpoints.h"
#include "daemon/publisher/instance_lock.h"
#include "daemon/publisher/left_behind.h"
#include "daemon/publisher/publisher.h"
#include "daemon/publisher/route_writer.h"
#include "daemon/publisher/shared_segments.h"
#include "daemon/publisher/socket_claim.h"
#include "daemon/service_report.h"
#include "daemon/state_report.h"
#include "daemon/system_setup.h"
#include "engine/engine_source.h"
#include "host/log.h"
#include "host/peer.h"
#include "host/socket_file.h"
#include "host/start_failure.h"
#include "host/text.h"
#include "host/unused_memory.h"

namespace wispd {

namespace {

// The cause of a reload.
enum class Reload { by_signal, by_command };

// Why members died. Only a failure has an identifier.
enum class Cause { failure, departure };

// What the changes since the last computation mean for the routes. Each configuration update writes them again.
enum class Routes_Due { no, if_changed, in_any_case };

// The service manager waits this much longer than the engine's first report can need.
constexpr std::chrono::seconds START_MARGIN{60};

// The engine reports its members, but not when it becomes silent.
constexpr std::chrono::milliseconds ENGINE_CHECK_INTERVAL{500};

// Errors quote what they reject, which a user can make as long as a line of the control socket.
std::string cut(const std::string &reason) {
    constexpr std::size_t longest = 512;
    return reason.size() <= longest ? reason : reason.substr(0, longest) + "...";
}

Followed follow_at_start(Start &start) {
    if (start.file.engine) {
        const auto grace =
            std::visit([](const auto &settings) { return grace_of(settings); }, *start.file.engine);
        start.service.starting(grace + START_MARGIN, "waiting for the cluster engine");
    }
    return begin_to_follow(start.file.engine, start.follow_engine);
}

} // namespace

class Daemon::Impl {
  public:
    explicit Impl(Start start);

    void run() {
        start_.file.cluster = {}; // cluster_ is in use from now on
        return_unused_memory();
        service_.ready();
        context_.run();
    }

  private:
    Shared_Segments claim_socket();
    bool may_control(const Peer &peer);
    void answer(const Peer &peer, std::string_view line, const Control_Server::Reply &reply);
    void audit(pid_t pid, uid_t uid, std::string_view line, const Control_Answer &answer);
    Timeline_Run::Handlers timeline_handlers();
    Command_Executor::Handlers command_handlers();
    void wait_for_signal();
    void stop(const char *why);

    void change_log_level(const std::string &level);
    void reload(const std::string &path, Reload why, const Finished &finished);
    void install(const Configuration_File &file, const std::string &path, Reload why);
    void follow(const Engine_Step &step);
    void apply_settings(const Configuration_File &file, Reload why);
    void announce(const Changes &changes, Cause of_deaths = Cause::failure);

    Client_Handlers client_handlers();
    Outcome act(const Node_Request &request);
    Outcome shut_down_later();
    void confirm_suspicions();
    void refresh_routes();
    std::string state() const;
    std::string counts() const;
    void watch_engine();
    void publish_names();
    const char *engine_state() const;
    std::map<uid_t, User_Status> users() const;

    // Members are destroyed in reverse order. The control connections are declared late: the client that
    // requested the stop then sees its connection close after everything else is removed.
    asio::io_context context_;
    Client_Log client_log_;
    Log_Summary log_summary_{context_, client_log_};
    Charged_Loader loader_{context_, client_log_};
    Start start_;
    const uid_t user_ = geteuid();
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    const std::chrono::system_clock::time_point started_at_ = std::chrono::system_clock::now();
    Service_Report service_;
    Access access_;
    Followed followed_;
    Cluster cluster_;
    Node_Control node_control_;
    Keyring keyring_;
    Routes routes_; // as of the last refresh_routes()
    Routes_Due routes_are_due_ = Routes_Due::no;
    Endpoints endpoints_;
    std::optional<Control_Server> control_;
    Socket_File control_file_;
    Instance_Lock lock_;
    Cluster_File_Writer cluster_file_;
    Socket_File socket_file_;
    Shared_Segments segments_;
    Route_Writer route_writer_;
    std::optional<Publisher> publisher_;
    // The users that pay for the log lines of later events. Events from the configuration are not charged to a
    // user.
    std::optional<uid_t> timeline_user_;
    std::optional<uid_t> suspecting_user_;
    Timeline_Run timeline_;
    Command_Executor executor_;
    std::optional<Engine_Source> engine_;
    asio::signal_set signals_;
    Suspicion_Timer suspicion_timer_;
    Key_Rotation key_rotation_;
    asio::steady_timer engine_check_{context_};
    std::optional<asio::steady_timer> shutdown_;
};

Daemon::Impl::Impl(Start start)
    : start_(std::move(start)), service_(context_, start_.service, [this] { return counts(); }),
      access_(prepare_system(start_.socket_path, start_.control_path, start_.file.daemon)),
      followed_(follow_at_start(start_)), cluster_(cluster_at_start(start_.file.cluster, followed_)),
      node_control_(cluster_, start_.file.suspicion), keyring_(start_.file.security),
      routes_(compute_routes(cluster_)), endpoints_(start_.file.endpoints), lock_(start_.socket_path + ".lock"),
      cluster_file_(start_.socket_path, access_), segments_(claim_socket()),
      route_writer_(context_, segments_, routes_), timeline_(context_, start_.timeline, timeline_handlers()),
      executor_(cluster_, node_control_, command_handlers()), signals_(context_, SIGTERM, SIGINT, SIGHUP),
      suspicion_timer_(context_, node_control_, [this] { confirm_suspicions(); }),
      key_rotation_(context_, keyring_, segments_) {
    signal(SIGPIPE, SIG_IGN);
    start_.file.daemon.users = limits_that_fit(start_.file.daemon.users);
    segments_.publish(cluster_.configured_adapters());
    route_writer_.publish();

    clear_socket_path(start_.control_path);
    control_file_ = Socket_File(start_.control_path, control_access(access_));
    control_file_.listen();
    control_.emplace(context_, control_file_.release(), start_.file.daemon.control_idle,
                     Control_Server::Handlers{[this](const Peer &peer) { return may_control(peer); },
                                              [this](const Peer &peer, std::string_view line,
                                                     const auto &reply) { answer(peer, line, reply); },
                                              [this] { stop("requested by wispctl stop"); },
                                              [this] { publisher_->turn().begin(); },
                                              [this] { publisher_->turn().end(); }});
    publish_names();
    socket_file_.listen();
    publisher_.emplace(context_, socket_file_.release(), cluster_, routes_,
                       Publisher_Limits{start_.file.daemon.client_queue_bytes, start_.file.daemon.users},
                       client_log_, client_handlers());
    wait_for_signal();
    key_rotation_.begin();
    log_info(text("listening on ", start_.socket_path));
    if (followed_.engine) {
        engine_.emplace(context_, std::move(followed_.engine), *followed_.first,
                        [this](const Engine_Step &step) { follow(step); });
        followed_.first.reset(); // a large cluster's configuration takes much memory
        watch_engine();
    }
    if (timeline_.has_configured()) {
        timeline_.play("", [](const auto &) {});
    }
}

// Claims the socket's file and the segments. The segments' keys depend on the file's inode.
Shared_Segments Daemon::Impl::claim_socket() {
    // Fails if another process listens: its segments are in use.
    clear_socket_path(start_.socket_path);
    if (lock_.left_behind()) {
        const int removed = remove_left_behind(*lock_.left_behind());
        if (removed > 0) {
            log_info(text("removed ", removed, " segments and semaphores that wispd with process id ",
                          lock_.left_behind()->pid, " left behind"));
        }
    }
    Claimed_Socket claimed = wispd::claim_socket(start_.socket_path, access_, lock_);
    socket_file_ = std::move(claimed.file);
    return std::move(claimed.segments);
}

void Daemon::Impl::wait_for_signal() {
    signals_.async_wait([this](const asio::error_code &aborted, int number) {
        if (aborted) {
            return;
        }
        if (number != SIGHUP) {
            stop(number == SIGTERM ? "SIGTERM" : "SIGINT");
            return;
        }
        log_reopen();
        const auto report = [](const std::optional<Failure> &failure) {
            if (failure) {
                log_error(text("reload rejected, the running configuration stays in use: ", failure->reason));
            }
        };
        try {
            reload("", Reload::by_signal, report);
        } catch (const std::exception &error) {
            report(Failure{error.what(), error.what()});
        }
        wait_for_signal();
    });
}

void Daemon::Impl::stop(const char *why) {
    client_log_.report(true);
    log_info(text("stopping: ", why));
    service_.stopping(text("stopping: ", why));
    context_.stop();
}

// The mode of the socket's file expresses the same rule, but other programs can change that mode.
bool Daemon::Impl::may_control(const Peer &peer) {
    const bool may = is_authorised(peer, user_, access_.control_group);
    if (!may) {
        client_log_.warning(peer.uid,
                            text("uid ", peer.uid, " (pid ", peer.pid,
                                 ") rejected by the control socket: only root, wispd's user and members of "
                                 "control_group can use it"));
    }
    return may;
}

void Daemon::Impl::answer(const Peer &peer, std::string_view line, const Control_Server::Reply &reply) {
    const Log_Charge charge(client_log_, peer.uid);
    // Only a trusted client receives messages that quote a file which wispd reads.
    const bool in_full = is_trusted(peer, user_);
    const auto audited = [this, pid = peer.pid, uid = peer.uid, line = std::string(line),
                          reply](Control_Answer given) {
        audit(pid, uid, line, given);
        reply(std::move(given));
    };
    executor_.answer(line, in_full, audited);
}

// Leaves one line for each command. Monitoring asks for the state again and again, which changes nothing.
void Daemon::Impl::audit(pid_t pid, uid_t uid, std::string_view line, const Control_Answer &answer) {
    const Log_Level level = answer.only_reads ? Log_Level::debug : Log_Level::info;
    if (!client_log_.admits(uid, level)) {
        return;
    }
    const std::string &why_rejected = answer.why_rejected;
    log_admitted(level,
                 text("control (pid ", pid, ", uid ", uid, ") requested ", command_description(line),
                      why_rejected.empty() ? ": done" : text(": rejected: ", cut(why_rejected))),
                 {"control-request", {}, {}, pid});
}

Timeline_Run::Handlers Daemon::Impl::timeline_handlers() {
    Timeline_Run::Handlers handlers;
    handlers.read = [this](const std::string &path, const Timeline_Run::Use &use, const Finished &finished) {
        loader_.load(path, read_named_timeline, use, finished);
    };
    handlers.execute = [this](const Command &command, const Finished &finished) {
        if (command.verb == Verb::stop) {
            stop("requested by the timeline");
        } else {
            executor_.execute(command, finished);
        }
    };
    handlers.begun = [this] { timeline_user_ = client_log_.charged(); };
    handlers.charge = [this] { return std::shared_ptr<void>(charge_to(client_log_, timeline_user_)); };
    return handlers;
}

Command_Executor::Handlers Daemon::Impl::command_handlers() {
    Command_Executor::Handlers handlers;
    handlers.why_unsupported = [](Verb) { return std::string(); };
    handlers.act = [this](const Node_Request &request) {
        Outcome outcome = act(request);
        if (outcome.status == REQUEST_DONE) {
            log_info(outcome.note);
        }
        return outcome;
    };
    handlers.suspicion_ended = [](const Command &command) {
        log_info(text("suspicion cleared by ", verb_name(command.verb)));
    };
    handlers.changed = [this](const Changes &changes) { announce(changes); };
    handlers.reload = [this](const std::string &path, const Finished &finished) {
        reload(path, Reload::by_command, finished);
    };
    handlers.play = [this](const std::string &path, const Finished &finished) {
        timeline_.play(path, finished);
    };
    handlers.rotate_keys = [this] { key_rotation_.rotate(); };
    handlers.set_log_level = [this](const std::string &level) { change_log_level(level); };
    handlers.state_line = [this] {
        refresh_routes();
        return state();
    };
    handlers.rejected = [](const std::string &) {};
    return handlers;
}

// The line about this command has level info. It is logged if either level permits that, so that a silenced log says
// which process silenced it.
void Daemon::Impl::change_log_level(const std::string &level) {
    if (is_logged(Log_Level::info)) {
        asio::post(context_, [level] { set_log_level(level); });
    } else {
        set_log_level(level);
    }
}

// Loads the named file, or the file that wispd was started with if `named` is empty.
void Daemon::Impl::reload(const std::string &named, Reload why, const Finished &finished) {
    const std::string path = named.empty() ? start_.config_path : named;
    const auto use = [this, path, why](Configuration_File &&file) { install(file, path, why); };
    loader_.load(path, named.empty() ? read_configuration_file : read_named_configuration_file, use,
                 [this, finished](const std::optional<Failure> &failure) {
                     finished(failure);
                     service_.reload_ended();
                     asio::post(context_, return_unused_memory); // after the file's content is freed
                 });
    service_.reload_began();
}

void Daemon::Impl::install(const Configuration_File &file, const std::string &path, Reload why) {
    const auto kind = [](const std::optional<Engine_Settings> &engine) {
        return engine ? 1 + engine->index() : 0;
    };
    if (kind(file.engine) != kind(start_.file.engine)) {
        throw Refused(text(path, ": [source] type cannot change while wispd runs; restart wispd"));
    }
    if (file.engine) {
        engine_->set(*file.engine);
        log_info(text("loaded ", path));
        apply_settings(file, why);
        return;
    }
    const Changes changes = cluster_.reconfigure(file.cluster);
    log_info(text("loaded ", path));
    apply_settings(file, why);
    publish_names();
    announce(changes);
}

void Daemon::Impl::follow(const Engine_Step &step) {
    const Changes changes = cluster_.follow(step.configuration, step.liveness);
    publish_names();
    if (changes.any()) {
        announce(changes, step.is_departure ? Cause::departure : Cause::failure);
    }
}

void Daemon::Impl::apply_settings(const Configuration_File &file, Reload why) {
    const Daemon_Settings &settings = file.daemon;
    Daemon_Settings comparable = start_.file.daemon;
    comparable.client_queue_bytes = settings.client_queue_bytes;
    comparable.users = settings.users;
    comparable.control_idle = settings.control_idle;
    comparable.shutdown_delay = settings.shutdown_delay;
    comparable.log_level = settings.log_level;
    comparable.log_file = settings.log_file;
    if (comparable != settings) {
        log_warning("[daemon]: only client_queue_bytes, max_connections, user_*, *_seconds and log_level can "
                    "change while wispd runs; restart wispd to apply the rest");
    }
    if (file.security != start_.file.security) {
        log_warning(
            "[security] cannot change while wispd runs; restart wispd to apply it, which creates new keys");
    }
    start_.file.daemon.shutdown_delay = settings.shutdown_delay;
    node_control_.set(file.suspicion);
    if (why == Reload::by_signal) {
        start_.file.endpoints = file.endpoints;
        endpoints_.set(file.endpoints);
    } else if (file.endpoints != start_.file.endpoints) {
        // wispd connects to endpoints with its own rights. Only root chooses them, in the file that wispd was
        // started with.
        log_warning(
            "[[endpoint]] tables not changed; put them into wispd's own configuration file and send SIGHUP");
    }
    publisher_->set_limits({settings.client_queue_bytes, limits_that_fit(settings.users)});
    control_->set_idle(settings.control_idle);
    set_log_level(settings.log_level);
}

void Daemon::Impl::announce(const Changes &changes, Cause of_deaths) {
    std::string failure_id;
    if (of_deaths == Cause::failure && (!changes.adapter_deaths.empty() || !changes.node_deaths.empty())) {
        failure_id = make_failure_id();
    }
    log_changes(changes, failure_id, cluster_);
    node_control_.heed(changes);
    suspicion_timer_.set();
    if (changes.configuration_updated) {
        segments_.publish(cluster_.configured_adapters());
        publish_names();
    }
    if (changes.configuration_updated) {
        routes_are_due_ = Routes_Due::in_any_case;
    } else if (changes.changes_membership() && routes_are_due_ == Routes_Due::no) {
        routes_are_due_ = Routes_Due::if_changed;
    }
    publisher_->announce(changes, failure_id);
    service_.counts_may_have_changed();
}

// ---- Client requests ----

Client_Handlers Daemon::Impl::client_handlers() {
    Client_Handlers handlers;
    handlers.may_act = [this](const Peer &peer) { return is_authorised(peer, user_, access_.act_group); };
    handlers.act = [this](const Node_Request &request) { return act(request); };
    handlers.changed = [this](const Changes &changes) { announce(changes); };
    handlers.deliver = [this](const Multicast &multicast) { return endpoints_.deliver(multicast, routes_); };
    handlers.clients_changed = [this] { service_.counts_may_have_changed(); };
    handlers.need_routes = [this] { refresh_routes(); };
    return handlers;
}

Outcome Daemon::Impl::act(const Node_Request &request) {
    if (request.kind == HB_DELAYED_DAEMON_SHUTDOWN) {
        return shut_down_later();
    }
    Outcome outcome = node_control_.act(request, std::chrono::steady_clock::now());
    const bool suspects = request.kind == HB_NODE_MAY_BE_DOWN || request.kind == HB_ADAPTER_MAY_BE_DOWN;
    if (suspects && outcome.status == REQUEST_DONE) {
        suspecting_user_ = client_log_.charged();
    }
    suspicion_timer_.set();
    return outcome;
}

Outcome Daemon::Impl::shut_down_later() {
    if (shutdown_) {
        return {REQUEST_FAILED, 0, "wispd is already stopping", {}};
    }
    const std::chrono::microseconds delay = start_.file.daemon.shutdown_delay;
    shutdown_.emplace(context_, delay);
    shutdown_->async_wait([this](const asio::error_code &aborted) {
        if (!aborted) {
            stop("requested by a client");
        }
    });
    return {REQUEST_DONE, 0, text("wispd stops in ", delay.count() / 1000, " ms"), {}};
}

void Daemon::Impl::confirm_suspicions() {
    const std::unique_ptr<Log_Charge> charge = charge_to(client_log_, suspecting_user_);
    const Outcome deaths = node_control_.confirm_due(std::chrono::steady_clock::now());
    if (deaths.changes.any()) {
        log_info(deaths.note);
        announce(deaths.changes);
    }
    suspicion_timer_.set();
}

// Many changes of one turn need their routes only once.
void Daemon::Impl::refresh_routes() {
    const Routes_Due due = std::exchange(routes_are_due_, Routes_Due::no);
    if (due == Routes_Due::no) {
        return;
    }
    Routes routes = compute_routes(cluster_);
    if (due == Routes_Due::in_any_case || routes != routes_) {
        routes_ = std::move(routes);
        route_writer_.publish();
    }
}

// ---- Names ----

void Daemon::Impl::watch_engine() {
    engine_check_.expires_after(ENGINE_CHECK_INTERVAL);
    engine_check_.async_wait([this](const asio::error_code &aborted) {
        if (!aborted) {
            publish_names();
            watch_engine();
        }
    });
}

// Runs before clients receive the change, so a client that reads the names because of it reads the new ones.
void Daemon::Impl::publish_names() {
    common::Cluster_File content{cluster_.name(), start_.version, started_at_, engine_state(), {}};
    if (engine_) {
        const Engine_Status status = engine_->status();
        content.engine_name = engine_->name().title;
        content.rejected_members = status.rejected_members;
        for (const auto &[node, settling] : status.settling) {
            content.held_deaths[node] = {settling.held, settling.withdrawn};
        }
    }
    for (std::size_t number = 0; number < cluster_.nodes().size(); ++number) {
        const Node &node = cluster_.nodes()[number];
        if (node.configured_adapters > 0) {
            content.nodes.emplace(static_cast<int>(number), node.name);
        }
    }
    cluster_file_.write(content);
}

const char *Daemon::Impl::engine_state() const {
    if (!start_.file.engine) {
        return "none";
    }
    if (!engine_) {
        return "connected"; // at the start, after the engine's first report
    }
    const Engine_Status status = engine_->status();
    return status.silent ? "silent" : status.connected ? "connected" : "disconnected";
}

// ---- State ----

std::map<uid_t, User_Status> Daemon::Impl::users() const {
    std::map<uid_t, User_Status> users;
    for (const auto &[uid, holding] : publisher_->users()) {
        users[uid].clients = holding;
    }
    for (const auto &[uid, connections] : control_->connections()) {
        users[uid].control_connections = connections;
    }
    return users;
}

std::string Daemon::Impl::counts() const {
    std::size_t configured = 0;
    std::size_t up = 0;
    for (const Node &node : cluster_.nodes()) {
        configured += node.configured_adapters > 0 ? 1 : 0;
        up += node.configured_adapters > 0 && node.up ? 1 : 0;
    }
    const std::size_t clients = publisher_->client_count();
    return text(up, " of ", configured, " nodes up, ", clients, clients == 1 ? " client" : " clients");
}

std::string Daemon::Impl::state() const {
    const std::optional<Engine_Status> engine = engine_ ? std::optional(engine_->status()) : std::nullopt;
    const Timeline_Status timeline{timeline_.size(), timeline_.played()};
    const auto now = std::chrono::steady_clock::now();
    return state_line({{start_.version, now - started_, log_level()},
                       cluster_,
                       node_control_,
                       routes_,
                       route_writer_.sequence(),
                       route_writer_.is_current(),
                       keyring_,
                       publisher_->clients(),
                       users(),
                       timeline,
                       engine ? &*engine : nullptr,
                       engine_ ? engine_->name().type : nullptr,
                       shutdown_.has_value(),
                       now});
}

Daemon::Daemon(Start start) : impl_(std::make_unique<Impl>(std::move(start))) {}

Daemon::~Daemon() = default;

void Daemon::run() {
    impl_->run();
}

} // namespace wispd
