// SPDX-License-Identifier: Apache-2.0
// One event to the last of many client processes, beside a bare loop that sends the same record to as many
// sockets. The same processes read both: the event through the library, the record with two reads.
#include <csignal>
#include <memory>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench/arrival_board.h"
#include "bench/bare_server.h"
#include "bench/cluster_file.h"
#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "bench/running_wispd.h"
#include "lib/wire/hb_wire.h"

namespace {

using namespace comparison;

void raise_descriptor_limit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

class Processes {
  public:
    Processes() = default;
    Processes(const Processes &) = delete;
    Processes &operator=(const Processes &) = delete;
    ~Processes() {
        for (const pid_t pid : pids_) {
            kill(pid, SIGKILL);
        }
        for (const pid_t pid : pids_) {
            waitpid(pid, nullptr, 0);
        }
    }

    void start(std::vector<std::string> words) {
        std::vector<char *> arguments;
        for (std::string &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        pid_t pid = -1;
        if (posix_spawn(&pid, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
            throw std::runtime_error("no process for " + words[0]);
        }
        pids_.push_back(pid);
    }

  private:
    std::vector<pid_t> pids_;
};

class Fan_Out {
  public:
    explicit Fan_Out(unsigned clients)
        : wispd_((raise_descriptor_limit(), cluster_file(16, 2))),
          board_(Arrival_Board::create(wispd_.daemon().file("board"), clients)) {
        wispd_.select();
        board_.begin();
        for (unsigned client = 0; client < clients; ++client) {
            processes_.start({wispd_.daemon().programs().path("hb_bench_client"), "listen",
                              wispd_.daemon().file("board"), listener_.path()});
            ends_.push_back(hb_test::Unique_Fd(listener_.accept_one()));
        }
        board_.wait_for_all();
    }

    double seconds_of_event() {
        is_down_ = !is_down_;
        board_.begin();
        const double begin = wall_seconds();
        wispd_.command(is_down_ ? R"({"do":"adapter-down","adapter":31})"
                                : R"({"do":"adapter-up","adapter":31})");
        return board_.wait_for_all() - begin;
    }

    double seconds_of_bare_loop() {
        board_.begin();
        const double begin = wall_seconds();
        for (const hb_test::Unique_Fd &end : ends_) {
            write_all(end.get(), record_.data(), record_.size());
        }
        return board_.wait_for_all() - begin;
    }

  private:
    Running_Wispd wispd_;
    Arrival_Board board_;
    const Listener listener_;
    Processes processes_;
    std::vector<hb_test::Unique_Fd> ends_;
    const std::vector<char> record_ = adapter_record(HB_ADAPTER_DEATH, 1, Members::Of_Whole_Nodes);
    bool is_down_ = false;
};

} // namespace

std::vector<Row> fan_out_rows() {
    Row row;
    row.work = "one event to the last of 1,000 client processes";
    row.beside = "a bare loop that sends the same record to 1,000 sockets";
    row.why = "the same processes must be woken and must read";
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = 1.3;
    row.prepare = [] {
        const auto fan_out = std::make_shared<Fan_Out>(1000);
        return Sides{[fan_out] { return fan_out->seconds_of_event(); },
                     [fan_out] { return fan_out->seconds_of_bare_loop(); }};
    };
    return {row};
}

std::vector<Growth> fan_out_growth() {
    return {{"fan-out", "16 clients", Cost::wall_time, [](int size) {
                 const auto fan_out = std::make_shared<Fan_Out>(static_cast<unsigned>(16 * size));
                 return [fan_out] { return fan_out->seconds_of_event(); };
             }}};
}
