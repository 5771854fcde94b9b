// SPDX-License-Identifier: Apache-2.0
#include "tests/system/daemon.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include "tests/support/leftovers.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

constexpr std::array<int, 4> KEY_LETTERS{'g', 'h', 'p', 'i'};
constexpr std::size_t SEMAPHORES = 3;

std::string read_file(const std::string &path) {
    const std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void remove(const Ipc_Ids &ids) {
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (ids[i] >= 0 && i == SEMAPHORES) {
            semctl(ids[i], 0, IPC_RMID);
        } else if (ids[i] >= 0) {
            shmctl(ids[i], IPC_RMID, nullptr);
        }
    }
}

// A segment that was removed while a client has it attached disappears with that client.
bool segment_exists(int id) {
    shmid_ds facts{};
    return id >= 0 && shmctl(id, IPC_STAT, &facts) == 0 && (facts.shm_perm.mode & SHM_DEST) == 0;
}

std::vector<std::string> segments_made_by(pid_t pid) {
    std::vector<std::string> found;
    for (const Segment_Facts &segment : list_segments()) {
        if (segment.creator == pid && segment_exists(segment.id)) {
            found.push_back("shared segment " + std::to_string(segment.id));
        }
    }
    return found;
}

std::string joined(const std::vector<std::string> &parts) {
    std::string text;
    for (const std::string &part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

} // namespace

Ipc_Ids ipc_ids_of(const std::string &socket) {
    Ipc_Ids ids{-1, -1, -1, -1};
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const key_t key = ftok(socket.c_str(), KEY_LETTERS[i]);
        if (key != -1) {
            ids[i] = i == SEMAPHORES ? semget(key, 0, 0) : shmget(key, 0, 0);
        }
    }
    return ids;
}

std::vector<std::string> existing(const Ipc_Ids &ids) {
    std::vector<std::string> found;
    for (std::size_t i = 0; i < SEMAPHORES; ++i) {
        if (segment_exists(ids[i])) {
            found.push_back("shared segment " + std::to_string(ids[i]));
        }
    }
    if (ids[SEMAPHORES] >= 0 && semaphores_exist(ids[SEMAPHORES])) {
        found.push_back("semaphore set " + std::to_string(ids[SEMAPHORES]));
    }
    return found;
}

Daemon::Daemon(const Programs &programs, const std::string &configuration) : programs_(programs) {
    write_configuration(configuration);
}

Daemon::~Daemon() {
    if (running()) {
        process_->send_signal(SIGCONT);
        seen_ids_.push_back(ipc_ids());
        process_->send_signal(SIGTERM);
        process_->wait();
    }
    process_.reset();
    for (const Ipc_Ids &ids : seen_ids_) {
        remove(ids);
    }
    if (testing::Test::HasFailure()) {
        ADD_FAILURE() << "wispd said:\n" << log();
    }
}

testing::AssertionResult Daemon::start(const Deadline &deadline) {
    const std::size_t said_before = log().size();
    // A shell redirects its log to a file: nothing reads a pipe while a test waits for something else.
    std::vector<std::string> command{"/bin/sh", "-c", "log=$1; shift; exec \"$@\" >>\"$log\" 2>&1", "sh",
                                     file("log")};
    command.insert(command.end(), {programs_.path("wispd"), "--config", configuration_file(), "--foreground"});
    if (name_socket_) {
        command.insert(command.end(), {"--socket", socket()});
    }
    Child_Process::Environment environment{{"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}};
    environment.insert(environment.end(), environment_.begin(), environment_.end());
    process_ = std::make_unique<Child_Process>(command, environment);
    pids_.push_back(process_->pid());
    const std::string wanted = "listening on " + socket();
    const auto listens_or_ended = [&] {
        const std::string said = log();
        return said.find(wanted + "\n", std::min(said_before, said.size())) != std::string::npos ||
               !process_->running();
    };
    const bool listens = wait_until(listens_or_ended, deadline);
    if (!listens || !process_->running()) {
        return testing::AssertionFailure() << "wispd did not start:\n" << log();
    }
    seen_ids_.push_back(ipc_ids());
    const std::vector<std::string> made = existing(seen_ids_.back());
    if (made.size() != KEY_LETTERS.size()) {
        return testing::AssertionFailure() << "of the segments and semaphores there are only: " << joined(made);
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult Daemon::stop() {
    process_->send_signal(SIGTERM);
    return wait_stopped();
}

testing::AssertionResult Daemon::wait_stopped() {
    const pid_t pid = process_->pid();
    const std::optional<Child_End> end = process_->wait();
    if (!end) {
        return testing::AssertionFailure() << "wispd does not end";
    }
    if (end->signal != 0 || end->exit_status != 0) {
        return testing::AssertionFailure()
               << "wispd ended with status " << end->exit_status << ", signal " << end->signal;
    }
    for (const Ipc_Ids &ids : seen_ids_) {
        const testing::AssertionResult result = nothing_left(ids, pid);
        if (!result) {
            return result;
        }
    }
    return testing::AssertionSuccess();
}

testing::AssertionResult Daemon::nothing_left(const Ipc_Ids &ids, pid_t pid) const {
    std::vector<std::string> left = existing(ids);
    for (const auto &more : {segments_made_by(pid), files_left()}) {
        left.insert(left.end(), more.begin(), more.end());
    }
    if (!left.empty()) {
        return testing::AssertionFailure() << "wispd left behind: " << joined(left);
    }
    return testing::AssertionSuccess();
}

void Daemon::kill() {
    process_->send_signal(SIGKILL);
    process_->wait();
}

void Daemon::write_file(const std::string &name, const std::string &text) const {
    std::ofstream written(file(name), std::ios::trunc);
    written << text;
    written.close();
    if (!written) {
        throw std::runtime_error("cannot write " + file(name));
    }
    own_files_.push_back(name);
}

std::string Daemon::tell(const std::string &json) {
    const Stream stream(control());
    stream.send(json + "\n");
    return stream.read_line();
}

testing::AssertionResult Daemon::tells(const std::string &json) {
    const std::string answer = tell(json);
    if (answer == R"({"ok":true})") {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << json << " was answered with: " << answer;
}

std::string Daemon::log() const {
    return read_file(file("log"));
}

bool Daemon::wait_logged(const std::string &text) const {
    return wait_until([&] { return log().find(text) != std::string::npos; });
}

int Daemon::open_descriptors() const {
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(pid()) + "/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
}

long Daemon::resident_kilobytes() const {
    std::istringstream status(read_file("/proc/" + std::to_string(pid()) + "/status"));
    std::string word;
    while (status >> word) {
        long kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) {
            return kilobytes;
        }
    }
    throw std::runtime_error("no resident size of wispd is known");
}

std::vector<std::string> Daemon::files_left() const {
    std::vector<std::string> left;
    for (const auto &entry : std::filesystem::directory_iterator(directory())) {
        const std::string name = entry.path().filename();
        if (std::find(own_files_.begin(), own_files_.end(), name) == own_files_.end()) {
            left.push_back("file " + name);
        }
    }
    return left;
}

} // namespace hb_test
