// Lines in the log that clients cause. They can cause as many as they like, by asking or by coming again and
// again, and must not fill the disk with them.
#ifndef WISPD_CLIENT_LOG_H
#define WISPD_CLIENT_LOG_H

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include <sys/types.h>

namespace wispd {

// For the clients of each user so many lines of each level within a period. What is left out beyond that is
// counted and told with the next line.
class Client_Log {
  public:
    using Time = std::chrono::steady_clock::time_point;
    static constexpr std::size_t LINES = 200;
    static constexpr std::chrono::seconds PERIOD{60};

    explicit Client_Log(std::function<Time()> clock = std::chrono::steady_clock::now)
        : clock_(std::move(clock)) {}

    void info(uid_t user, const std::string &line);
    void warning(uid_t user, const std::string &line);

  private:
    using Sink = void (*)(std::string_view);
    struct Spent {
        Time since;
        std::size_t lines = 0;
        std::size_t left_out = 0;
    };

    void put(uid_t user, Sink sink, const std::string &line);
    Spent &account(uid_t user, Sink sink);

    std::function<Time()> clock_;
    std::map<std::pair<uid_t, Sink>, Spent> spent_;
};

} // namespace wispd

#endif
