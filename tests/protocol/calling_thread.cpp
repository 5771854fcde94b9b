#include "tests/protocol/calling_thread.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <system_error>
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

CallingThread::CallingThread(std::function<void()> body) : body_(std::move(body)) {
    const int error = pthread_create(&thread_, nullptr, run, this);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "pthread_create");
    }
}

CallingThread::~CallingThread() {
    if (!joined_) {
        cancel();
        join_cancelled();
    }
}

void *CallingThread::run(void *self) {
    auto *it = static_cast<CallingThread *>(self);
    it->id_ = static_cast<pid_t>(syscall(SYS_gettid));
    it->body_();
    return nullptr;
}

bool CallingThread::wait_asleep() const {
    return wait_until([this] { return id_ != 0 && state_of(id_) == 'S'; });
}

void CallingThread::cancel() {
    pthread_cancel(thread_);
}

bool CallingThread::join_cancelled() {
    void *result = nullptr;
    pthread_join(thread_, &result);
    joined_ = true;
    return result == PTHREAD_CANCELED;
}

} // namespace hb_test
