#include "daemon/publisher/client_log.h"

#include "daemon/log.h"
#include "daemon/text.h"

namespace wispd {

void Client_Log::info(uid_t user, const std::string &line) {
    put(user, log_info, line);
}

void Client_Log::warning(uid_t user, const std::string &line) {
    put(user, log_warning, line);
}

// This period's account of the user's lines.
Client_Log::Spent &Client_Log::account(uid_t user, Sink sink) {
    const Time now = clock_();
    const auto [place, is_new] = spent_.try_emplace({user, sink}, Spent{now});
    Spent &spent = place->second;
    if (now - spent.since >= PERIOD) {
        if (spent.left_out > 0) {
            sink(text(spent.left_out, " lines about clients of uid ", user, " were left out"));
        }
        spent = {now};
    }
    if (is_new) {
        std::erase_if(spent_, [&](const auto &entry) {
            return now - entry.second.since >= PERIOD && entry.second.left_out == 0;
        });
    }
    return spent;
}

void Client_Log::put(uid_t user, Sink sink, const std::string &line) {
    Spent &spent = account(user, sink);
    if (spent.lines == LINES) {
        if (spent.left_out == 0) {
            sink(text("clients of uid ", user, " have caused ", LINES,
                      " lines within a minute; what they cause in the rest of it is left out"));
        }
        ++spent.left_out;
        return;
    }
    ++spent.lines;
    sink(line);
}

} // namespace wispd
