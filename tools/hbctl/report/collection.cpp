// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/report/collection.h"

#include <algorithm>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>

#include "common/no_answer.h"
#include "common/socket_path.h"
#include "tools/hbctl/report/command_runner.h"
#include "tools/hbctl/report/redaction.h"
#include "tools/hbctl/report/system_facts.h"

namespace hbctl {
namespace {

constexpr std::size_t MOST_BYTES = 1024 * 1024; // of a part
constexpr std::size_t MOST_LOG_BYTES = 4 * MOST_BYTES;
constexpr std::size_t MOST_KEY_BYTES = 65536; // of a key file, to find it in other parts
constexpr const char *MOST_LOG_LINES = "20000";
// hbctl and wispctl stop waiting for the daemon earlier than this program kills them: they have time to state the reason.
constexpr double SHARE_OF_PATIENCE = 0.8;
constexpr std::chrono::duration<double> SHORTEST_PATIENCE{0.1};
constexpr std::chrono::milliseconds BEYOND_PATIENCE{300};

const std::string CONFIGURATION_OF_THE_SERVICE = "/etc/wisp/cluster.toml";
const std::string ENGINE_CONFIGURATION = "/etc/corosync/corosync.conf";
const std::string ENGINE_KEY = "/etc/corosync/authkey";

using Words = std::vector<std::string>;

// A part that another program writes.
struct Wanted {
    std::string file;
    Words words;
    bool keeps_end = false; // of a log
    bool has_keys = false;  // "name = value" lines, some of which may be keys
    bool may_miss = false;  // it fails if one of several things is absent, and prints the others
};

// Where the daemon's files are.
struct Daemon_Files {
    std::string socket;
    std::string control;
    std::string configuration;
    std::string log;
};

class Collection {
  public:
    Collection(std::chrono::milliseconds patience, int stop) : patience_(patience), stop_(stop) {}

    std::vector<Report_Part> collect() {
        find_daemon();
        read_configurations();
        describe_system();
        want_states();
        want_logs();
        want_system();
        want_engine();
        run_wanted();
        for (Report_Part &part : parts_) {
            throw_if_stopped();
            part.text = secrets_.removed_from(part.text);
            part.failure = secrets_.removed_from(part.failure);
        }
        return std::move(parts_);
    }

  private:
    void throw_if_stopped() const {
        pollfd stop{stop_, POLLIN, 0};
        if (poll(&stop, 1, 0) > 0) {
            throw Interrupted{};
        }
    }

    void add(const std::string &file, File_Text text) {
        parts_.push_back({file, std::move(text.text), std::move(text.failure), text.is_cut});
    }

    void find_daemon() {
        files_.socket = common::socket_path_from_environment();
        Words arguments;
        const std::optional<Listener> listener = listener_of(files_.socket);
        if (listener) {
            const std::string folder = "/proc/" + std::to_string(listener->pid);
            const Words of_process = arguments_of_process(listener->pid);
            File_Text status = read_bounded(folder + "/status", MOST_BYTES);
            std::string line = "process " + std::to_string(listener->pid) + ":";
            for (const std::string &argument : of_process) {
                line += " " + argument;
            }
            status.text = line + "\n" + status.text;
            add("wispd/process.txt", status);
            add("wispd/limits.txt", read_bounded(folder + "/limits", MOST_BYTES));
            // Another user's process could name any file.
            if (listener->is_trusted) {
                arguments = of_process;
                working_directory_ = folder + "/cwd";
            }
        } else {
            add("wispd/process.txt", {"", "no process listens at " + files_.socket, false});
        }
        files_.configuration = option_among(arguments, "--config");
        if (!files_.configuration.starts_with('/')) {
            relative_configuration_ = files_.configuration;
        }
        files_.configuration = of_daemon(files_.configuration);
        files_.control = of_daemon(option_among(arguments, "--control"));
        if (files_.configuration.empty()) {
            files_.configuration = CONFIGURATION_OF_THE_SERVICE;
        }
    }

    // A path as the daemon sees it, which may be relative to its working directory.
    std::string of_daemon(const std::string &path) const {
        return path.empty() || path.front() == '/' || working_directory_.empty()
                   ? path
                   : working_directory_ + "/" + path;
    }

    void read_configurations() {
        File_Text file = read_bounded(files_.configuration, MOST_BYTES);
        if (!file.failure.empty() && !relative_configuration_.empty()) {
            file.failure = "wispd was started with the relative path " + relative_configuration_ +
                           " and now works in another directory; start it with an absolute path";
        }
        files_.log = of_daemon(configured_text(file.text, "log_file"));
        if (files_.control.empty()) {
            files_.control = of_daemon(configured_text(file.text, "control"));
        }
        if (files_.control.empty()) {
            files_.control = files_.socket + ".control";
        }
        file.text = configuration_without_keys(file.text, secrets_);
        add("wispd/configuration.toml", file);

        const char *engine = std::getenv("COROSYNC_MAIN_CONFIG_FILE");
        engine_configuration_ = engine != nullptr ? engine : ENGINE_CONFIGURATION;
        file = read_bounded(engine_configuration_, MOST_BYTES);
        file.text = settings_without_keys(file.text, secrets_);
        add("engine/corosync.conf", file);
        secrets_.add(read_bounded(ENGINE_KEY, MOST_KEY_BYTES).text);
    }

    void describe_system() {
        add("system/system.txt", {system_text(), "", false});
        add("system/os-release.txt", read_bounded("/etc/os-release", MOST_BYTES));
        add("system/library.txt", {library_text(), "", false});
        add("system/environment.txt", {project_environment(), "", false});
        std::vector<std::string> paths{files_.socket,
                                       files_.control,
                                       files_.socket + ".lock",
                                       files_.socket + ".cluster",
                                       files_.configuration,
                                       engine_configuration_,
                                       ENGINE_KEY};
        if (!files_.log.empty()) {
            paths.push_back(files_.log);
        }
        add("system/permissions.txt", {permissions_of(paths), "", false});
    }

    void want(const std::string &file, const std::string &program, Words words, bool keeps_end = false,
              bool has_keys = false) {
        const std::string path = find_program(program);
        if (path.empty()) {
            words.clear();
        } else {
            words.insert(words.begin(), path);
        }
        wanted_.push_back({file, words, keeps_end, has_keys, false});
    }

    // How long hbctl and wispctl wait for the daemon.
    std::string seconds() const {
        const std::chrono::duration<double> share = patience_ * SHARE_OF_PATIENCE;
        return std::to_string(std::max(share, SHORTEST_PATIENCE).count());
    }

    void want_states() {
        for (const char *verb : {"status", "nodes", "networks", "adapters", "sites", "keys", "adapter-state"}) {
            const std::string file = std::string("hbctl/") + verb;
            // The environment names the socket, also where --socket did.
            want(file + ".txt", "hbctl", {"--timeout", seconds(), verb});
            want(file + ".json", "hbctl", {"--timeout", seconds(), "--json", verb});
        }
        want("wispd/state.json", "wispctl", {"--timeout", seconds(), "--control", files_.control, "state"});
    }

    void want_logs() {
        if (!files_.log.empty()) {
            add("wispd/log-file.txt", read_bounded(files_.log, MOST_LOG_BYTES, true));
        }
        if (access("/run/systemd/journal/socket", F_OK) == 0) {
            for (const char *unit : {"wispd", "corosync"}) {
                want(std::string(unit == std::string("wispd") ? "wispd" : "engine") + "/journal.txt",
                     "journalctl",
                     {"--unit", unit, "--since", "-1h", "--lines", MOST_LOG_LINES, "--no-pager", "--output",
                      "short-iso-precise"},
                     true);
                want(std::string(unit == std::string("wispd") ? "wispd" : "engine") + "/service.txt",
                     "systemctl", {"--no-pager", "--full", "show", unit});
            }
        }
    }

    void want_system() {
        want("system/hbctl-version.txt", "hbctl", {"--version"});
        want("system/wispd-version.txt", "wispd", {"--version"});
        want("system/packages.txt", "dpkg-query",
             {"--show", "--showformat", "${Package} ${Version} ${Architecture} ${db:Status-Status}\\n",
              "libhb-client", "lib32hb-client", "hb-client-tools", "wispd", "hb-provider-corosync",
              "hb-provider-serf", "hb-provider-sim", "hb-exporter", "corosync", "serf", "libknet1", "libqb100",
              "libc6", "libstdc++6", "systemd"});
        wanted_.back().may_miss = true;
        want("system/ipcs.txt", "ipcs", {"-a"});
        want("system/ipcs-limits.txt", "ipcs", {"-l"});
    }

    void want_engine() {
        want("engine/cmap.txt", "corosync-cmapctl", {}, false, true);
        want("engine/cmap-stats.txt", "corosync-cmapctl", {"-m", "stats"}, false, true);
        want("engine/quorum.txt", "corosync-quorumtool", {"-s"});
        want("engine/links.txt", "corosync-cfgtool", {"-s"});
        want("engine/nodes.txt", "corosync-cfgtool", {"-n"});
    }

    void run_wanted() {
        std::vector<Command> commands;
        for (const Wanted &wanted : wanted_) {
            commands.push_back(
                {wanted.words, wanted.keeps_end ? MOST_LOG_BYTES : MOST_BYTES, wanted.keeps_end, -1});
        }
        std::vector<Outcome> outcomes = run_commands(commands, patience_ + BEYOND_PATIENCE, stop_);
        for (std::size_t i = 0; i < wanted_.size(); ++i) {
            Outcome &outcome = outcomes[i];
            if (wanted_[i].has_keys) {
                outcome.output = settings_without_keys(outcome.output, secrets_);
            }
            parts_.push_back(
                {wanted_[i].file, std::move(outcome.output), std::move(outcome.failure), outcome.is_cut});
        }
    }

    const std::chrono::milliseconds patience_;
    const int stop_;
    Daemon_Files files_;
    std::string working_directory_;      // of the daemon
    std::string relative_configuration_; // as the daemon was started with it
    std::string engine_configuration_;
    Secrets secrets_;
    std::vector<Wanted> wanted_;
    std::vector<Report_Part> parts_;
};

} // namespace

std::vector<Report_Part> collect_report(std::chrono::milliseconds patience, int stop) {
    return Collection(patience, stop).collect();
}

std::string summary_of(const std::vector<Report_Part> &parts, const std::string &name,
                       std::chrono::milliseconds patience) {
    std::string text = name + ": a report of hbctl\nsocket " + common::socket_path_from_environment() +
                       ", time limit of each part " + common::seconds_text(patience) +
                       "\nKeys are removed.\n\n";
    for (const Report_Part &part : parts) {
        text += part.file + ": " + std::to_string(part.text.size()) + " bytes";
        text += part.is_cut ? ", cut" : "";
        text += part.failure.empty() ? "" : ", failed: " + part.failure;
        text += "\n";
    }
    return text;
}

} // namespace hbctl
