// SPDX-License-Identifier: Apache-2.0
#include "tests/support/fake_daemon.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/sockios.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>

#include "tests/support/deadline.h"

namespace hb_test {
namespace {

[[noreturn]] void fail(const std::string &what) {
    throw std::system_error(errno, std::generic_category(), what);
}

Unique_Fd bound_socket(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::length_error("socket path too long: " + path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    Unique_Fd listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail("bind " + path);
    }
    if (chmod(path.c_str(), 0666) != 0 || listen(listener.get(), 64) != 0) {
        fail("listen " + path);
    }
    return listener;
}

Step plain(Step::Kind kind) {
    return Step{kind, {}, {}};
}

const char *name_of(Step::Kind kind) {
    switch (kind) {
    case Step::Kind::read_record:
        return "read_record";
    case Step::Kind::send:
        return "send";
    case Step::Kind::trickle:
        return "trickle";
    case Step::Kind::wait_taken:
        return "wait_taken";
    case Step::Kind::wait_told:
        return "wait_told";
    case Step::Kind::wait_for:
        return "wait_for";
    case Step::Kind::stop_reading:
        return "stop_reading";
    case Step::Kind::start_reading:
        return "start_reading";
    case Step::Kind::hang_up:
        return "hang_up";
    }
    return "?";
}

} // namespace

Step read_record() {
    return plain(Step::Kind::read_record);
}

Step send_raw(const Bytes &bytes) {
    return Step{Step::Kind::send, bytes, {}};
}

Step send_record(const Bytes &record) {
    return send_raw(frame(record));
}

Step trickle_raw(const Bytes &bytes) {
    return Step{Step::Kind::trickle, bytes, {}};
}

Step trickle_record(const Bytes &record) {
    return trickle_raw(frame(record));
}

Step wait_taken() {
    return plain(Step::Kind::wait_taken);
}

Step wait_told() {
    return plain(Step::Kind::wait_told);
}

Step wait_for(std::function<bool()> condition) {
    return Step{Step::Kind::wait_for, {}, std::move(condition)};
}

Step stop_reading() {
    return plain(Step::Kind::stop_reading);
}

Step start_reading() {
    return plain(Step::Kind::start_reading);
}

Step hang_up() {
    return plain(Step::Kind::hang_up);
}

Script serve_configuration(const Bytes &snapshot_body) {
    return {read_record(), send_record(reply(0, snapshot_body))};
}

Fake_Daemon::Fake_Daemon(const Fake_Daemon_Plan &plan) : plan_(plan) {
    listen_at(plan);
    if (plan.set_environment) {
        set_environment();
    }
    wake_.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!wake_) {
        fail("eventfd");
    }
    thread_ = std::thread([this] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr); // signals are for the thread under test
        serve();
    });
}

Fake_Daemon::~Fake_Daemon() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    wake();
    thread_.join();
}

// A key contains only the low 16 bits of the socket's inode, so sometimes another test has the same key. The
// socket is then made again, while the first file keeps its inode.
void Fake_Daemon::listen_at(const Fake_Daemon_Plan &plan) {
    path_ = directory_.file(plan.socket_name);
    for (int attempt = 0;; ++attempt) {
        listener_ = bound_socket(path_);
        try {
            segments_ = std::make_unique<Daemon_Segments>(path_, plan.segments);
            return;
        } catch (const std::system_error &error) {
            if (error.code().value() != EEXIST || attempt == 100) {
                throw;
            }
        }
        std::filesystem::rename(path_, directory_.file("filler." + std::to_string(attempt)));
    }
}

void Fake_Daemon::set_environment() {
    environment_.push_back(std::make_unique<Environment_Guard>("HB_SERVER_SOCKET", path_));
    environment_.push_back(std::make_unique<Environment_Guard>("HA_DOMAIN_NAME", std::nullopt));
    environment_.push_back(std::make_unique<Environment_Guard>("HA_SYSPAR_NAME", std::nullopt));
}

// ---- The test's side ----

void Fake_Daemon::run(const Script &steps) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_.insert(queue_.end(), steps.begin(), steps.end());
    }
    wake();
}

void Fake_Daemon::tell() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++told_;
    }
    wake();
}

void Fake_Daemon::stop_listening() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        listening_ = false;
    }
    wake();
    // The thread may be about to accept. After the shutdown the socket rejects every connection.
    shutdown(listener_.get(), SHUT_RDWR);
    std::filesystem::remove(path_);
}

bool Fake_Daemon::wait_state(const std::function<bool()> &condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, GENEROUS, condition);
}

bool Fake_Daemon::wait_steps_done() {
    return wait_state([this] { return queue_.empty() && !busy_; });
}

bool Fake_Daemon::wait_connections(int count) {
    return wait_state([this, count] { return connections_ >= count; });
}

bool Fake_Daemon::wait_connections_ended(int count) {
    return wait_state([this, count] { return ended_ >= count; });
}

Bytes Fake_Daemon::wait_received(std::size_t count) {
    wait_state([this, count] { return received_.size() >= count; });
    return received();
}

int Fake_Daemon::connections() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return connections_;
}

Bytes Fake_Daemon::received() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return received_;
}

std::vector<Bytes> Fake_Daemon::received_records() const {
    const Bytes all = received();
    std::vector<Bytes> records;
    std::size_t at = 0;
    while (at + 4 <= all.size()) {
        const auto length = static_cast<std::size_t>(std::max(0, all.i32_at(at)));
        if (at + 4 + length > all.size()) {
            break;
        }
        records.push_back(all.part(at + 4, length));
        at += 4 + length;
    }
    return records;
}

void Fake_Daemon::forget_received() {
    const std::lock_guard<std::mutex> lock(mutex_);
    Bytes().swap(received_);
}

std::vector<std::string> Fake_Daemon::troubles() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return troubles_;
}

void Fake_Daemon::wake() {
    const uint64_t one = 1;
    if (wake_ && ::write(wake_.get(), &one, sizeof one) < 0 && errno != EAGAIN) {
        std::terminate();
    }
}

// ---- The daemon's thread ----

void Fake_Daemon::clear_wake() {
    uint64_t count = 0;
    while (::read(wake_.get(), &count, sizeof count) > 0) {
    }
}

bool Fake_Daemon::stopping() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return stopping_;
}

void Fake_Daemon::serve() {
    while (!stopping()) {
        bool listening = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            listening = listening_;
        }
        std::array<pollfd, 2> wanted{{{wake_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}}};
        poll(wanted.data(), listening ? 2 : 1, -1);
        clear_wake();
        if (!listening || wanted[1].revents == 0) {
            continue;
        }
        connection_.reset(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!connection_) {
            continue;
        }
        std::size_t number = 0;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            number = static_cast<std::size_t>(connections_++);
            reading_ = true;
            busy_ = true;
        }
        changed_.notify_all();
        const std::size_t last = plan_.connections.size() - 1;
        serve_connection(plan_.connections.empty() ? Script{} : plan_.connections[std::min(number, last)]);
        connection_.reset();
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            ++ended_;
            busy_ = false;
            queue_.clear();
        }
        changed_.notify_all();
    }
}

std::optional<Step> Fake_Daemon::next_step() {
    std::optional<Step> step;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!queue_.empty()) {
            step = queue_.front();
            queue_.pop_front();
        }
        busy_ = step.has_value();
    }
    changed_.notify_all();
    return step;
}

void Fake_Daemon::serve_connection(const Script &first) {
    for (const Step &step : first) {
        if (!do_step(step)) {
            return;
        }
    }
    // An earlier wait may have consumed the wake-up. Therefore its cause is checked before every wait.
    while (!stopping()) {
        while (const std::optional<Step> step = next_step()) {
            if (!do_step(*step)) {
                return;
            }
        }
        bool reading = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            reading = reading_;
        }
        if (stopping()) {
            return;
        }
        std::array<pollfd, 2> wanted{{{wake_.get(), POLLIN, 0}, {connection_.get(), POLLIN, 0}}};
        poll(wanted.data(), reading ? 2 : 1, -1);
        clear_wake();
        Bytes some;
        if (reading && wanted[1].revents != 0 && !read_some(65536, some)) {
            return;
        }
    }
}

bool Fake_Daemon::do_step(const Step &step) {
    bool done = true;
    switch (step.kind) {
    case Step::Kind::read_record:
        done = read_one_record();
        break;
    case Step::Kind::send:
        done = send_all(step.bytes.data(), step.bytes.size());
        break;
    case Step::Kind::trickle:
        done = trickle(step.bytes);
        break;
    case Step::Kind::wait_taken:
        done = wait_all_taken();
        break;
    case Step::Kind::wait_told:
        done = poll_condition([this] {
            const std::lock_guard<std::mutex> lock(mutex_);
            return told_ > 0 && told_-- > 0;
        });
        break;
    case Step::Kind::wait_for:
        done = poll_condition(step.condition);
        break;
    case Step::Kind::stop_reading:
    case Step::Kind::start_reading: {
        const std::lock_guard<std::mutex> lock(mutex_);
        reading_ = step.kind == Step::Kind::start_reading;
        break;
    }
    case Step::Kind::hang_up:
        return false;
    }
    if (!done && !stopping()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        troubles_.emplace_back(std::string("could not finish ") + name_of(step.kind));
    }
    return done;
}

// Waits until the client's descriptor is ready, or the daemon must end.
bool Fake_Daemon::client_ready(short events) {
    const Deadline deadline;
    while (!stopping() && !deadline.over()) {
        std::array<pollfd, 2> wanted{{{wake_.get(), POLLIN, 0}, {connection_.get(), events, 0}}};
        poll(wanted.data(), 2, deadline.milliseconds_left());
        clear_wake();
        if (wanted[1].revents != 0) {
            return true;
        }
    }
    return false;
}

bool Fake_Daemon::poll_condition(const std::function<bool()> &condition) {
    return wait_until([&] { return stopping() || condition(); }) && !stopping();
}

// Returns false at the end of the stream. The received bytes are kept for the test.
bool Fake_Daemon::read_some(std::size_t at_most, Bytes &into) {
    into.resize(at_most);
    const ssize_t count = recv(connection_.get(), into.data(), at_most, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        into.clear();
        return true;
    }
    into.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count <= 0) {
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        received_.add(into);
    }
    changed_.notify_all();
    return true;
}

bool Fake_Daemon::read_one_record() {
    Bytes record;
    std::size_t wanted = 4;
    while (record.size() < wanted) {
        Bytes some;
        if (!client_ready(POLLIN) || !read_some(wanted - record.size(), some)) {
            return false;
        }
        record.add(some);
        if (record.size() == 4 && wanted == 4) {
            wanted += static_cast<std::size_t>(std::max(0, record.i32_at(0)));
        }
    }
    return true;
}

bool Fake_Daemon::send_all(const unsigned char *bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = send(connection_.get(), bytes, count, MSG_NOSIGNAL);
        if (sent > 0) {
            bytes += sent;
            count -= static_cast<std::size_t>(sent);
        } else if (errno != EINTR && (errno != EAGAIN || !client_ready(POLLOUT))) {
            return false;
        }
    }
    return true;
}

bool Fake_Daemon::wait_all_taken() {
    bool gone = false;
    const bool waited = poll_condition([&] {
        int pending = 0;
        pollfd state{connection_.get(), 0, 0};
        poll(&state, 1, 0);
        gone = (state.revents & (POLLHUP | POLLERR)) != 0;
        return gone || (ioctl(connection_.get(), SIOCOUTQ, &pending) == 0 && pending == 0);
    });
    return waited && !gone;
}

bool Fake_Daemon::trickle(const Bytes &bytes) {
    return std::all_of(bytes.begin(), bytes.end(),
                       [this](const unsigned char &byte) { return send_all(&byte, 1) && wait_all_taken(); });
}

} // namespace hb_test
