// SPDX-License-Identifier: Apache-2.0
// The calls of the trace library: registration, which switches recording on, and the four ways to record.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <pthread.h>
#include <string>
#include <unistd.h>

#include "catalogue_file.h"
#include "levels.h"
#include "line.h"
#include "message_text.h"
#include "output.h"
#include "qz_tr.h"
#include "registry.h"

using namespace qz_tr;

namespace {

// The data that recording needs. A registration completes it; it never changes afterwards.
struct Session {
    std::unique_ptr<Output> output;
    Catalogue catalogue;
};

std::atomic<Session *> session{nullptr};
std::atomic<int> session_users{0};

pthread_mutex_t registration_mutex = PTHREAD_MUTEX_INITIALIZER;
bool output_fault_reported = false;

// Handles forks. A thread of the parent may have been registering during the fork, and the child does not have
// that thread.
void watch_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] {
        pthread_atfork(nullptr, nullptr, [] { registration_mutex = PTHREAD_MUTEX_INITIALIZER; });
    });
}

// Disables thread cancellation inside this library. Cancellation would cut lines short and leave locks held and
// the count of session users wrong.
class Without_Cancellation {
  public:
    Without_Cancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_before_); }
    // A destructor cannot do this: with asynchronous cancellation the thread may end right here.
    void end() { pthread_setcancelstate(state_before_, nullptr); }

  private:
    int state_before_ = PTHREAD_CANCEL_ENABLE;
};

// ---- Registration

Session *open_session(const char *where) {
    std::unique_ptr<Output> output(Output::open(where));
    if (output == nullptr) {
        const char *meaning = strerrordesc_np(errno);
        if (!output_fault_reported) {
            report("cannot open the trace output \"" + std::string(where) +
                   "\": " + (meaning != nullptr ? meaning : "error") +
                   "; nothing is recorded. Set QZ_TR_OUTPUT to \"stderr\" or to a writable file.");
        }
        output_fault_reported = true;
        return nullptr;
    }
    return new Session{std::move(output), load_catalogue(secure_getenv("QZ_TR_CATALOGUE"))};
}

bool is_recording() {
    if (session.load() != nullptr) {
        return true;
    }
    const char *where = secure_getenv("QZ_TR_OUTPUT");
    if (where == nullptr || *where == '\0') {
        return false;
    }
    session.store(open_session(where));
    return session.load() != nullptr;
}

void report_levels(const std::vector<Level_Fault> &faults) {
    for (const Level_Fault &fault : faults) {
        report("QZ_TR_LEVELS, character " + std::to_string(fault.column) + ": " + fault.what +
               "; this setting is ignored. Write settings like 2 or Errors=1,Debug=0 or _HBC:Info=default.");
    }
}

void set_levels(const char *component, unsigned char *levels,
                std::span<const tr_category_description_t> categories, bool report_faults) {
    const char *value = secure_getenv("QZ_TR_LEVELS");
    const Level_Settings wanted = parse_levels(value != nullptr ? value : "");
    static bool malformed_reported = false;
    if (!malformed_reported) {
        malformed_reported = true;
        report_levels(wanted.faults);
    }
    if (report_faults) {
        report_levels(unknown_categories(wanted.settings, component, categories));
    }
    for (std::size_t i = 0; i < categories.size(); ++i) {
        levels[i] = level_of(wanted.settings, component, categories[i]);
    }
}

int register_component(const char *component, unsigned char *levels,
                       std::span<const tr_category_description_t> categories, tr_file_token_t **tokens) {
    const Registration registration = register_categories(component, categories);
    if (registration.tokens == nullptr) {
        return -1;
    }
    if (is_recording()) {
        set_levels(component, levels, categories, registration.first);
    }
    *tokens = registration.tokens;
    return 0;
}

// ---- Recording

void compose(Line &line, const Session &in, const char *component, uint32_t id, tr_file_token_t token,
             std::span<const Argument> arguments, uint32_t count) {
    const Message *message = component != nullptr ? in.catalogue.find(component, id) : nullptr;
    line.put_now();
    line.put(' ');
    line.put_decimal(static_cast<uint64_t>(getpid()));
    line.put(' ');
    line.put_decimal(static_cast<uint64_t>(gettid()));
    line.put(' ');
    line.put_escaped(component != nullptr ? component : "-");
    line.put(' ');
    if (is_known(token)) {
        line.put_escaped(token->category);
    } else {
        line.put(message != nullptr ? std::string_view(message->category) : std::string_view("-"));
    }
    line.put(' ');
    line.put_decimal(id);
    if (message != nullptr) {
        line.put(' ');
        put_message(line, message->text, arguments);
    } else if (!arguments.empty()) {
        line.put(' ');
        put_arguments(line, arguments);
    }
    if (count > arguments.size()) {
        line.put(" (and ");
        line.put_decimal(count - arguments.size());
        line.put(" more arguments)");
    }
}

// `count` is the number that the caller passed; `arguments` holds at most TR_MAX_ARGUMENTS of them.
void record(const char *component, uint32_t id, tr_file_token_t token, std::span<const Argument> arguments,
            uint32_t count) {
    const int errno_before = errno;
    Without_Cancellation without_cancellation;
    session_users.fetch_add(1);
    if (const Session *in = session.load()) {
        Line line;
        compose(line, *in, component, id, token, arguments, count);
        in->output->write_line(line.finish());
    }
    session_users.fetch_sub(1);
    errno = errno_before;
    without_cancellation.end();
}

struct Arguments {
    Argument of[TR_MAX_ARGUMENTS];
    uint32_t size;

    explicit Arguments(uint32_t count) : size(std::min<uint32_t>(count, TR_MAX_ARGUMENTS)) {}
    std::span<const Argument> all() const { return {of, size}; }
};

// Other threads may still record while the process ends. A session in use is therefore not freed.
__attribute__((destructor)) void unload() {
    Session *ending = session.exchange(nullptr);
    if (session_users.load() == 0) {
        delete ending;
    }
}

} // namespace

int tr_ms_register_component_1(const char *component, unsigned char *levels,
                               const tr_category_description_t *categories, uint32_t count,
                               tr_file_token_t **tokens) {
    const uint32_t level_count = std::min<uint32_t>(count, TR_MAX_CATEGORIES);
    if (levels != nullptr) {
        std::memset(levels, 0, level_count);
    }
    if (levels == nullptr || tokens == nullptr) {
        errno = EINVAL;
        return -1;
    }
    const int errno_before = errno;
    Without_Cancellation without_cancellation;
    watch_forks();
    pthread_mutex_lock(&registration_mutex);
    int result = -1;
    int error = ENOMEM;
    try {
        result = register_component(component, levels, {categories, count}, tokens);
        error = errno;
    } catch (const std::bad_alloc &) {
        std::memset(levels, 0, level_count);
    }
    pthread_mutex_unlock(&registration_mutex);
    errno = result == 0 ? errno_before : error;
    without_cancellation.end();
    return result;
}

void tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token) {
    record(component, id, token, {}, 0);
}

void tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Arguments arguments(count);
    va_list list;
    va_start(list, count);
    for (uint32_t i = 0; i < arguments.size; ++i) {
        arguments.of[i] = Argument::of_value(va_arg(list, uint32_t));
    }
    va_end(list);
    record(component, id, token, arguments.all(), count);
}

void tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Arguments arguments(count);
    va_list list;
    va_start(list, count);
    for (uint32_t i = 0; i < arguments.size; ++i) {
        const void *block = va_arg(list, const void *);
        const int length = va_arg(list, int);
        arguments.of[i] = Argument::of_data(block, length);
    }
    va_end(list);
    record(component, id, token, arguments.all(), count);
}

void tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Arguments arguments(count);
    va_list list;
    va_start(list, count);
    for (uint32_t i = 0; i < arguments.size; ++i) {
        arguments.of[i] = Argument::of_string(va_arg(list, const char *));
    }
    va_end(list);
    record(component, id, token, arguments.all(), count);
}
