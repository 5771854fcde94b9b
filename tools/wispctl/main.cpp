// wispctl drives a running wispd through its control socket.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "host/paths.h"
#include "host/text.h"
#include "terminal/printable.h"

namespace {

using nlohmann::ordered_json;
using wispd::text;

constexpr int FAILED = 1;
constexpr int USAGE = 2;
constexpr int ANSWER_SECONDS = 120;
constexpr std::size_t LEVELS_MOST = 64;                  // many times the depth of wispd's answers
constexpr std::size_t ANSWER_LONGEST = 64 * 1024 * 1024; // several times the state of a full cluster

// Ends the program with a line on standard error.
class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Connection {
  public:
    explicit Connection(const std::string &path)
        : path_(path), socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path) {
            throw Failure(text("the path has ", path.size(), " bytes; at most ", sizeof address.sun_path - 1,
                               " fit into a socket address: ", path));
        }
        path.copy(address.sun_path, path.size());
        if (connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            const int why = errno;
            if (why == ENOENT || why == ECONNREFUSED) {
                throw Failure(text(
                    "no wispd listens at ", path,
                    " (choose another path with --control or --socket, or the variable HB_SERVER_SOCKET)"));
            }
            const char *advice = why == EACCES ? "; run as root or as a member of wispd's control_group" : "";
            throw Failure(text("cannot connect to wispd at ", path, ": ", std::strerror(why), advice));
        }
        const timeval patience{ANSWER_SECONDS, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection() { close(socket_); }

    std::string ask(const std::string &line) {
        const std::string sent = line + '\n';
        std::size_t done = 0;
        while (done < sent.size()) {
            const ssize_t count = send(socket_, sent.data() + done, sent.size() - done, MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                break; // wispd closes a connection that it rejects at once; the reason can still be read
            }
            done += static_cast<std::size_t>(count);
        }
        std::string answer;
        while (answer.empty() || answer.back() != '\n') {
            if (!read_more(answer)) {
                throw Failure(text("wispd at ", path_, " ended before it answered"));
            }
            if (answer.size() > ANSWER_LONGEST) {
                throw Failure(text("what listens at ", path_, " answers with more than ", ANSWER_LONGEST,
                                   " bytes; is it wispd?"));
            }
        }
        return answer;
    }

    void wait_for_end() {
        std::string rest;
        while (read_more(rest)) {
            rest.clear();
        }
    }

  private:
    bool read_more(std::string &into) {
        char buffer[65536];
        ssize_t count;
        do {
            count = read(socket_, buffer, sizeof buffer);
        } while (count < 0 && errno == EINTR);
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            throw Failure(text("wispd at ", path_, " did not answer within ", ANSWER_SECONDS, " seconds"));
        }
        if (count <= 0) {
            return false;
        }
        into.append(buffer, static_cast<std::size_t>(count));
        return true;
    }

    std::string path_;
    int socket_;
};

// Converts "2.5" seconds to whole seconds and microseconds; throws for anything else.
void put_threshold(const std::string &seconds, ordered_json &command) {
    const std::size_t point = seconds.find('.');
    const std::string whole = seconds.substr(0, point);
    std::string fraction = point == std::string::npos ? "0" : seconds.substr(point + 1);
    const auto digits = [](const std::string &part, std::size_t longest) {
        return !part.empty() && part.size() <= longest &&
               part.find_first_not_of("0123456789") == std::string::npos;
    };
    if (!digits(whole, 10) || !digits(fraction, 6)) {
        throw CLI::ValidationError("threshold", "expected seconds, with at most six decimals, such as 2.5");
    }
    fraction.resize(6, '0');
    command["threshold_seconds"] = std::stoll(whole);
    command["threshold_microseconds"] = std::stoll(fraction);
}

struct Arguments {
    int64_t number = 0;
    int64_t instance = 0;
    std::string address;
    std::string type;
    std::string config;
    std::string timeline;
    std::string threshold;
    std::string id;
    bool enable = false;
    bool disable = false;
};

void add_numbered(CLI::App &app, Arguments &arguments, ordered_json &command, const std::string &verb,
                  const std::string &kind, const std::string &help) {
    CLI::App *sub = app.add_subcommand(verb, help);
    sub->add_option(kind, arguments.number, "Number of the " + kind)->required();
    sub->final_callback([&arguments, &command, verb, kind] {
        command = {{"do", verb}, {kind, arguments.number}};
    });
}

void add_verbs(CLI::App &app, Arguments &arguments, ordered_json &command) {
    add_numbered(app, arguments, command, "node-up", "node", "All adapters of a node come up");
    add_numbered(app, arguments, command, "node-down", "node", "A node dies with all its adapters");
    add_numbered(app, arguments, command, "node-join", "node",
                 "A node is added to the configuration, and is up");
    add_numbered(app, arguments, command, "node-leave", "node", "A node is removed from the configuration");
    add_numbered(app, arguments, command, "adapter-up", "adapter", "An adapter comes up");
    add_numbered(app, arguments, command, "adapter-down", "adapter", "An adapter dies");
    add_numbered(app, arguments, command, "adapter-leave", "adapter",
                 "An adapter is removed from the configuration");

    CLI::App *join = app.add_subcommand("adapter-join", "An adapter is added to the configuration, and is up");
    join->add_option("adapter", arguments.number, "Number of the adapter")->required();
    join->add_option("--address", arguments.address,
                     "Its address, where the configuration file does not tell it");
    join->add_option("--type", arguments.type, "Its type, such as eth0");
    join->final_callback([&] {
        command = {{"do", "adapter-join"}, {"adapter", arguments.number}};
        if (!arguments.address.empty()) {
            command["address"] = arguments.address;
        }
        if (!arguments.type.empty()) {
            command["type"] = arguments.type;
        }
    });

    CLI::App *reconfigure =
        app.add_subcommand("reconfigure", "The configuration file is read again, or another one");
    reconfigure->add_option("config", arguments.config, "The other configuration file");
    reconfigure->final_callback([&] {
        command = {{"do", "reconfigure"}};
        if (!arguments.config.empty()) {
            command["config"] = wispd::absolute_path(arguments.config);
        }
    });

    CLI::App *heartbeat = app.add_subcommand("heartbeat", "The heartbeat settings are changed and told");
    heartbeat->add_option("threshold", arguments.threshold, "Threshold in seconds, such as 2.5");
    CLI::Option *enable = heartbeat->add_flag("--enable", arguments.enable, "Client heartbeats are wanted");
    heartbeat->add_flag("--disable", arguments.disable, "Client heartbeats are not wanted")->excludes(enable);
    heartbeat->final_callback([&] {
        command = {{"do", "heartbeat"}};
        if (!arguments.threshold.empty()) {
            put_threshold(arguments.threshold, command);
        }
        if (arguments.enable || arguments.disable) {
            command["enabled"] = arguments.enable;
        }
    });

    CLI::App *ffdc = app.add_subcommand("ffdc", "A first-failure identifier is told");
    ffdc->add_option("id", arguments.id, "The identifier; without it wispd makes one");
    ffdc->final_callback([&] {
        command = {{"do", "ffdc"}};
        if (!arguments.id.empty()) {
            command["id"] = arguments.id;
        }
    });

    CLI::App *foreign =
        app.add_subcommand("foreign-instance", "Somebody with another configuration instance spoke");
    foreign->add_option("address", arguments.address, "The sender's address")->required();
    foreign->add_option("instance", arguments.instance, "The sender's configuration instance")->required();
    foreign->final_callback([&] {
        command = {
            {"do", "foreign-instance"}, {"address", arguments.address}, {"instance", arguments.instance}};
    });

    add_numbered(app, arguments, command, "node-may-be-down", "node",
                 "A node is suspected; it dies unless there is a sign of life");
    add_numbered(app, arguments, command, "adapter-may-be-down", "adapter",
                 "An adapter is suspected; it dies unless there is a sign of life");
    CLI::App *swap =
        app.add_subcommand("swap-adapters", "Two adapters of the local node exchange their addresses");
    swap->add_option("adapter", arguments.number, "Number of the one adapter")->required();
    swap->add_option("address", arguments.address, "IPv4 address of the other one")->required();
    swap->final_callback([&] {
        command = {{"do", "swap-adapters"}, {"adapter", arguments.number}, {"address", arguments.address}};
    });
    app.add_subcommand("rotate-key", "A new security key comes into force")->final_callback([&] {
        command = {{"do", "rotate-key"}};
    });

    CLI::App *play =
        app.add_subcommand("play", "A timeline begins: the given one, or again the configured one");
    play->add_option("timeline", arguments.timeline, "The timeline file");
    play->final_callback([&] {
        command = {{"do", "play"}};
        if (!arguments.timeline.empty()) {
            command["timeline"] = wispd::absolute_path(arguments.timeline);
        }
    });

    app.add_subcommand("state", "Shows the cluster and the clients as JSON")->final_callback([&] {
        command = {{"do", "state"}};
    });
    app.add_subcommand("stop", "wispd ends; returns when it has removed all that it made")->final_callback([&] {
        command = {{"do", "stop"}};
    });
}

// The nesting depth of objects and arrays. Printing a value needs stack for each level.
std::size_t nesting_of(const std::string &json) {
    std::size_t depth = 0;
    std::size_t deepest = 0;
    bool in_text = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char byte = json[i];
        if (in_text) {
            i += byte == '\\' ? 1 : 0;
            in_text = byte != '"';
        } else if (byte == '"') {
            in_text = true;
        } else if (byte == '{' || byte == '[') {
            deepest = std::max(deepest, ++depth);
        } else if (byte == '}' || byte == ']') {
            depth -= depth > 0 ? 1 : 0;
        }
    }
    return deepest;
}

int drive(const std::string &path, const ordered_json &command) {
    Connection connection(path);
    const std::string line = command.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
    const std::string text_of_answer = connection.ask(line);
    const bool is_flat = nesting_of(text_of_answer) <= LEVELS_MOST;
    const ordered_json answer = is_flat ? ordered_json::parse(text_of_answer, nullptr, false) : ordered_json();
    if (!answer.is_object() || !answer.contains("ok")) {
        throw Failure(text("what listens at ", path, " does not answer as wispd does"));
    }
    if (answer["ok"] != true) {
        throw Failure(answer.value("error", "wispd refused without a reason"));
    }
    if (command["do"] == "state") {
        std::puts(terminal::printable_json(answer["state"].dump(2)).c_str());
    }
    if (command["do"] == "stop") {
        connection.wait_for_end();
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    CLI::App app("wispctl drives a running wispd.");
    app.require_subcommand(1);
    std::string control;
    std::string socket;
    CLI::Option *option = app.add_option("--control", control, "wispd's control socket");
    app.add_option("--socket", socket, "wispd's socket; its control socket is this and \".control\"")
        ->excludes(option);
    app.set_version_flag("--version", std::string("wispctl " WISPD_VERSION));
    app.footer("Without --control and --socket the socket is found as clients find it: HB_SERVER_SOCKET, "
               "HA_DOMAIN_NAME,"
               "\nHA_SYSPAR_NAME.");
    Arguments arguments;
    ordered_json command;
    add_verbs(app, arguments, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (app.get_subcommands().empty() && !app.remaining().empty()) {
            std::fputs(text("wispctl: unknown verb '", terminal::printable(app.remaining().front()),
                            "'; wispctl --help lists them\n")
                           .c_str(),
                       stderr);
            return USAGE;
        }
        std::ostringstream complaint;
        const int status = app.exit(error, std::cout, complaint) == 0 ? 0 : USAGE;
        std::fputs(terminal::printable_lines(complaint.str()).c_str(), stderr);
        return status;
    }
    if (control.empty()) {
        control = wispd::control_path_for(socket.empty() ? wispd::socket_path_from_environment() : socket);
    }
    try {
        return drive(control, command);
    } catch (const std::exception &error) {
        std::fputs(text("wispctl: ", terminal::printable(error.what()), "\n").c_str(), stderr);
        return FAILED;
    }
}
