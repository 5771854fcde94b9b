#include "daemon/daemon.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <span>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include "daemon/log.h"
#include "daemon/model/address.h"
#include "daemon/model/cluster.h"
#include "daemon/publisher/instance_lock.h"
#include "daemon/publisher/publisher.h"
#include "daemon/publisher/shared_segments.h"
#include "daemon/publisher/socket_file.h"
#include "daemon/sources/command.h"
#include "daemon/sources/command_json.h"
#include "daemon/sources/control_server.h"
#include "daemon/sources/timeline_player.h"
#include "daemon/start_failure.h"
#include "daemon/state_report.h"
#include "daemon/text.h"
#include "qz_ffdc.h"

namespace wispd {

namespace {

constexpr const char *DEFAULT_DIRECTORY = "/var/ha/soc/wisp";
constexpr int INODES_TRIED = 16;
constexpr std::size_t NUMBERS_LOGGED = 16;
constexpr std::size_t GROUP_BUFFER = 65536;

gid_t find_group(const std::string &name) {
    if (name.empty()) {
        return static_cast<gid_t>(-1);
    }
    group entry{};
    group *found = nullptr;
    std::vector<char> buffer(GROUP_BUFFER);
    if (getgrnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
        return found->gr_gid;
    }
    if (name.size() <= 9 && name.find_first_not_of("0123456789") == std::string::npos) {
        return static_cast<gid_t>(std::stoul(name));
    }
    throw Start_Failure(
        text("there is no group \"", name, "\"; make it, or set group in [daemon] to another one"));
}

// The descriptor limit is for programs that use select(); this one need not keep it.
void raise_descriptor_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// The default's directory is made; elsewhere a missing one is more likely a misspelt one.
void need_directory(const std::string &socket) {
    const std::filesystem::path directory = std::filesystem::path(socket).parent_path();
    std::error_code error;
    if (directory == DEFAULT_DIRECTORY) {
        std::filesystem::create_directories(directory, error);
        if (error) {
            throw Start_Failure(text("cannot make ", DEFAULT_DIRECTORY, ": ", error.message()));
        }
    } else if (!std::filesystem::is_directory(directory, error)) {
        throw Start_Failure(text("there is no directory ", directory.string(),
                                 "; make it, or choose another path than ", socket));
    }
}

std::string make_failure_id() {
    fc_eid_t id = "";
    if (qz_ffdc_make_id(id) != 0) {
        log_error(text("cannot make a first-failure identifier: ", std::strerror(errno)));
        return {};
    }
    return id;
}

uint32_t number_of(const Adapter_Member &member) {
    return member.number;
}
int number_of(Hb_Node_Number node) {
    return node;
}

template <typename Member>
void log_members(const char *what, const std::vector<Member> &members, const std::string &tail) {
    if (members.empty()) {
        return;
    }
    std::string line = text(what, ":");
    for (const Member &member : std::span(members).first(std::min(members.size(), NUMBERS_LOGGED))) {
        line += text(" ", number_of(member));
    }
    if (members.size() > NUMBERS_LOGGED) {
        line += text(" and ", members.size() - NUMBERS_LOGGED, " more");
    }
    log_info(line + tail);
}

void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster) {
    const std::string tail = text(", failure id ", failure_id);
    log_members("adapters died", changes.adapter_deaths, tail);
    log_members("nodes died", changes.node_deaths, tail);
    if (changes.configuration_updated) {
        log_info(text("configuration ", cluster.configuration_sequence(), ": ", cluster.configured_adapters(),
                      " adapters"));
    }
    log_members("adapters joined", changes.adapter_joins, "");
    log_members("nodes joined", changes.node_joins, "");
    if (changes.heartbeat) {
        log_info(text("heartbeat settings: threshold ", changes.heartbeat->threshold_seconds, " s ",
                      changes.heartbeat->threshold_microseconds, " us, ",
                      changes.heartbeat->enabled ? "enabled" : "disabled"));
    }
    if (changes.foreign_instance) {
        log_info(text("foreign instance ", changes.foreign_instance->instance, " of ",
                      address_text(changes.foreign_instance->sender)));
    }
    if (!changes.failure_report.empty()) {
        log_info(text("failure reported: ", changes.failure_report));
    }
}

} // namespace

class Daemon::Impl {
  public:
    explicit Impl(Start start);

    void run() { context_.run(); }

  private:
    Shared_Segments claim_socket();
    Control_Answer answer(std::string_view line);
    void play(const Timeline_Event &event);
    void play_timeline(const std::string &path);
    void wait_for_signal();
    void stop(const char *why);

    void execute(const Command &command);
    void report_failure(Command command);
    void reload(const std::string &path);
    void take_settings(const Daemon_Settings &settings);
    void tell(const Changes &changes);

    // Destroyed from the last to the first. The control connections come late, so that whoever asked for the
    // stop sees them end when all is gone.
    asio::io_context context_;
    Start start_;
    Access access_;
    Cluster cluster_;
    std::optional<Control_Server> control_;
    Socket_File control_file_;
    Instance_Lock lock_;
    Socket_File socket_file_;
    Shared_Segments segments_;
    std::optional<Publisher> publisher_;
    std::optional<Timeline_Player> timeline_;
    asio::signal_set signals_;
};

namespace {

// Runs before the first member that touches the system.
Access prepare(const Start &start) {
    check_socket_path(start.socket_path, "socket");
    check_socket_path(start.control_path, "control socket");
    if (start.socket_path == start.control_path) {
        throw Start_Failure(text("socket and control socket are both ", start.socket_path));
    }
    Access access{find_group(start.file.daemon.group), start.file.daemon.socket_mode};
    need_directory(start.socket_path);
    need_directory(start.control_path);
    raise_descriptor_limit();
    return access;
}

} // namespace

Daemon::Impl::Impl(Start start)
    : start_(std::move(start)), access_(prepare(start_)), cluster_(start_.file.cluster),
      lock_(start_.socket_path + ".lock"), segments_(claim_socket()),
      signals_(context_, SIGTERM, SIGINT, SIGHUP) {
    signal(SIGPIPE, SIG_IGN);
    segments_.publish(cluster_.configuration_sequence(), cluster_.max_nodes(), cluster_.configured_adapters());

    clear_socket_path(start_.control_path);
    control_file_ = Socket_File(start_.control_path, {access_.group, 0660});
    control_file_.listen();
    control_.emplace(context_, control_file_.release(),
                     Control_Server::Handlers{[this](std::string_view line) { return answer(line); },
                                              [this] { stop("it was told to"); }});
    socket_file_.listen();
    publisher_.emplace(context_, socket_file_.release(), cluster_, start_.file.daemon.client_queue_bytes);
    wait_for_signal();
    log_info(text("listening on ", start_.socket_path));
    if (!start_.timeline.empty()) {
        play_timeline("");
    }
}

// The socket's file and the segments that go with its inode.
Shared_Segments Daemon::Impl::claim_socket() {
    if (lock_.left_behind()) {
        const int removed = remove_left_behind(*lock_.left_behind());
        if (removed > 0) {
            log_info(text("removed ", removed, " segments and semaphores that wispd with process id ",
                          lock_.left_behind()->pid, " left behind"));
        }
    }
    clear_socket_path(start_.socket_path);
    std::vector<Socket_File> set_aside;
    for (int attempt = 0; attempt < INODES_TRIED; ++attempt) {
        socket_file_ = Socket_File(start_.socket_path, access_);
        const Ipc_Keys keys = keys_of(start_.socket_path);
        lock_.write({getpid(), keys.segments, keys.semaphores});
        std::optional<Shared_Segments> made = Shared_Segments::create(keys, cluster_.max_nodes(), access_);
        if (made) {
            return std::move(*made);
        }
        log_warning(
            text("the keys of ", start_.socket_path,
                 " are taken by segments or semaphores that are not this daemon's; trying another inode"));
        socket_file_.set_aside(text(start_.socket_path, ".", attempt));
        set_aside.push_back(std::exchange(socket_file_, Socket_File()));
    }
    throw Start_Failure(text("the keys of ", INODES_TRIED, " inodes in a row, made for ", start_.socket_path,
                             ", are taken; see ipcs, and remove with ipcrm what nobody uses"));
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
        try {
            reload(start_.config_path);
        } catch (const std::runtime_error &error) {
            log_error(text("reload refused, nothing is changed: ", error.what()));
        }
        wait_for_signal();
    });
}

void Daemon::Impl::stop(const char *why) {
    log_info(text("stopping: ", why));
    context_.stop();
}

Control_Answer Daemon::Impl::answer(std::string_view line) {
    try {
        const Command command = parse_command_line(line);
        if (command.verb == Verb::state) {
            Timeline_Status timeline;
            if (timeline_) {
                timeline = {timeline_->size(), timeline_->played()};
            }
            return {state_line(cluster_, publisher_->clients(), timeline)};
        }
        if (command.verb == Verb::stop) {
            return {ok_line(), true};
        }
        execute(command);
        return {ok_line()};
    } catch (const std::runtime_error &error) {
        return {error_line(error.what())};
    }
}

void Daemon::Impl::play(const Timeline_Event &event) {
    log_info(text("timeline: ", verb_name(event.command.verb)));
    if (event.command.verb == Verb::stop) {
        stop("the timeline says so");
        return;
    }
    try {
        execute(event.command);
    } catch (const std::runtime_error &error) {
        log_warning(text(event.place, ": ", error.what()));
    }
}

void Daemon::Impl::play_timeline(const std::string &path) {
    if (timeline_ && timeline_->played() < timeline_->size()) {
        throw Refused(text("a timeline is being played: ", timeline_->played(), " of its ", timeline_->size(),
                           " events have come"));
    }
    std::vector<Timeline_Event> events = path.empty() ? start_.timeline : read_timeline(path);
    if (events.empty()) {
        throw Refused(path.empty() ? std::string("no timeline is configured; name one")
                                   : text("the timeline ", path, " has no events"));
    }
    timeline_.emplace(context_, std::move(events), [this](const Timeline_Event &event) { play(event); });
}

void Daemon::Impl::execute(const Command &command) {
    if (command.verb == Verb::play) {
        play_timeline(command.timeline);
    } else if (command.verb == Verb::reconfigure) {
        reload(command.config.empty() ? start_.config_path : command.config);
    } else if (command.verb == Verb::ffdc) {
        report_failure(command);
    } else {
        tell(apply(command, cluster_));
    }
}

void Daemon::Impl::report_failure(Command command) {
    if (command.id.empty()) {
        command.id = make_failure_id();
    }
    if (command.id.empty()) {
        throw Refused("no first-failure identifier can be made; give one");
    }
    tell(apply(command, cluster_));
}

void Daemon::Impl::reload(const std::string &path) {
    const Cluster_File file = read_cluster_file(path);
    const Changes changes = cluster_.reconfigure(file.cluster);
    log_info(text("loaded ", path));
    take_settings(file.daemon);
    tell(changes);
}

void Daemon::Impl::take_settings(const Daemon_Settings &settings) {
    Daemon_Settings comparable = start_.file.daemon;
    comparable.client_queue_bytes = settings.client_queue_bytes;
    comparable.log_level = settings.log_level;
    comparable.log_file = settings.log_file;
    if (comparable != settings) {
        log_warning("of [daemon], only client_queue_bytes and log_level can change while wispd runs; restart "
                    "it for the rest");
    }
    publisher_->set_client_queue_bytes(settings.client_queue_bytes);
    set_log_level(settings.log_level);
}

void Daemon::Impl::tell(const Changes &changes) {
    std::string failure_id;
    if (!changes.adapter_deaths.empty() || !changes.node_deaths.empty()) {
        failure_id = make_failure_id();
    }
    log_changes(changes, failure_id, cluster_);
    if (changes.configuration_updated &&
        !segments_.publish(cluster_.configuration_sequence(), cluster_.max_nodes(),
                           cluster_.configured_adapters())) {
        log_error(
            text("no room for a route segment of ", cluster_.max_nodes(), " nodes: ", std::strerror(errno)));
    }
    publisher_->announce(changes, failure_id);
}

Daemon::Daemon(Start start) : impl_(std::make_unique<Impl>(std::move(start))) {}

Daemon::~Daemon() = default;

void Daemon::run() {
    impl_->run();
}

} // namespace wispd
