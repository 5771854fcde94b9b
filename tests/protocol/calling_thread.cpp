// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/calling_thread.h"

#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "tests/support/deadline.h"

namespace hb_test {
namespace {

// Returns 'S' while the thread sleeps. It is the field after the name, and the name may contain any character.
char state_of(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name_end = line.rfind(')');
    return name_end != std::string::npos && name_end + 2 < line.size() ? line[name_end + 2] : '?';
}

} // namespace

Calling_Thread::Calling_Thread(std::function<void()> body) : body_(std::move(body)) {
    const int error = pthread_create(&thread_, nullptr, run, this);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "pthread_create");
    }
}

Calling_Thread::~Calling_Thread() {
    if (!joined_) {
        cancel();
        join_cancelled();
    }
}

void *Calling_Thread::run(void *self) {
    auto *it = static_cast<Calling_Thread *>(self);
    it->id_ = static_cast<pid_t>(syscall(SYS_gettid));
    it->body_();
    return nullptr;
}

bool Calling_Thread::wait_asleep() const {
    return wait_until([this] { return id_ != 0 && state_of(id_) == 'S'; });
}

void Calling_Thread::cancel() {
    pthread_cancel(thread_);
}

bool Calling_Thread::join_cancelled() {
    void *result = nullptr;
    pthread_join(thread_, &result);
    joined_ = true;
    return result == PTHREAD_CANCELED;
}

} // namespace hb_test
