// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/command_queue.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include "tools/hbctl/command_run.h"
#include "tools/hbctl/output.h"

namespace hbctl {
namespace {

std::size_t size_of(const Command_Call &call) {
    std::size_t size = call.input.size();
    for (const std::string &variable : call.environment) {
        size += variable.size();
    }
    return size;
}

// Signals are the main thread's: it decides how the process ends.
void block_signals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

struct Command_Queue::State {
    State(std::string the_command, const Queue_Limits &the_limits)
        : command(std::move(the_command)), limits(the_limits), idle(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (idle < 0) {
            throw std::system_error(errno, std::generic_category(), "cannot create an event descriptor");
        }
    }
    ~State() { ::close(idle); }
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    const std::string command;
    const Queue_Limits limits;
    const int idle;

    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Command_Call> calls; // the first one may be running
    std::size_t bytes = 0;
    std::size_t dropped = 0;
    std::size_t dropped_before_next = 0;
    bool closed = false;
};

Command_Queue::Command_Queue(const std::string &command, const Queue_Limits &limits)
    : state_(std::make_shared<State>(command, limits)) {
    std::thread([state = state_] { work(state); }).detach();
}

Command_Queue::~Command_Queue() {
    close();
    const std::lock_guard lock(state_->mutex);
    if (state_->calls.size() > 1) { // the thread uses the first one
        state_->calls.erase(state_->calls.begin() + 1, state_->calls.end());
    }
}

bool Command_Queue::add(Command_Call call) {
    const std::lock_guard lock(state_->mutex);
    const std::size_t size = size_of(call);
    const bool is_full =
        state_->calls.size() >= state_->limits.calls || state_->bytes + size > state_->limits.bytes;
    if (is_full && !state_->calls.empty()) {
        ++state_->dropped;
        ++state_->dropped_before_next;
        return false;
    }
    if (const std::size_t dropped = std::exchange(state_->dropped_before_next, 0); dropped > 0) {
        call.environment.push_back("HB_DROPPED=" + std::to_string(dropped));
    }
    state_->bytes += size;
    state_->calls.push_back(std::move(call));
    state_->changed.notify_one();
    return true;
}

int Command_Queue::close() {
    const std::lock_guard lock(state_->mutex);
    state_->closed = true;
    state_->changed.notify_one();
    return state_->idle;
}

std::size_t Command_Queue::left() const {
    const std::lock_guard lock(state_->mutex);
    return state_->calls.size();
}

std::size_t Command_Queue::dropped() const {
    const std::lock_guard lock(state_->mutex);
    return state_->dropped;
}

void Command_Queue::work(const std::shared_ptr<State> &state) {
    block_signals();
    std::unique_lock lock(state->mutex);
    for (;;) {
        state->changed.wait(lock, [&] { return state->closed || !state->calls.empty(); });
        if (state->calls.empty()) {
            eventfd_write(state->idle, 1);
            return;
        }
        const Command_Call &call = state->calls.front(); // stays in place while others are added
        lock.unlock();
        const std::string complaint = run_shell(state->command, call.input, call.environment);
        if (!complaint.empty()) {
            complain(complaint);
        }
        lock.lock();
        state->bytes -= std::min(state->bytes, size_of(call));
        state->calls.pop_front();
    }
}

} // namespace hbctl
