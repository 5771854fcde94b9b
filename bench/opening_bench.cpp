// SPDX-License-Identifier: Apache-2.0
// Opening the library, with a real wispd, beside what a bare client must do: connect, send the same request, and
// receive the same message from a process that has it ready.
#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <unistd.h>
#include <vector>

#include "bench/bare_server.h"
#include "bench/cluster_file.h"
#include "bench/comparison/clocks.h"
#include "bench/comparison/samples.h"
#include "bench/placement.h"
#include "bench/rows.h"
#include "bench/running_wispd.h"
#include "hb_client.h"
#include "tests/support/records.h"

namespace {

using namespace comparison;

constexpr int IN_ONE_REPETITION = 50;

double seconds_to_open(const Running_Wispd &wispd) {
    wispd.select();
    const double begin = wall_seconds();
    if (hb_init() != Hb_Success) {
        throw std::runtime_error("the library does not open");
    }
    const double seconds = wall_seconds() - begin;
    hb_terminate();
    return seconds;
}

// Returns the median of several calls.
template <typename Call> double median_of(Call call) {
    std::vector<double> samples(IN_ONE_REPETITION);
    std::generate(samples.begin(), samples.end(), call);
    return median(samples);
}

// The library's sides of other rows leave it open.
std::shared_ptr<Running_Wispd> wispd_with(int nodes, int networks) {
    hb_terminate();
    return std::make_shared<Running_Wispd>(cluster_file(nodes, networks));
}

class Bare_Client {
  public:
    explicit Bare_Client(const Running_Wispd &wispd)
        : request_(Running_Wispd::request_for_configuration()),
          server_(request_, hb_test::frame(wispd.configuration_message())) {}

    double seconds_to_receive() {
        const double begin = wall_seconds();
        const int fd = connect_plainly(server_.path());
        write_all(fd, request_.data(), request_.size());
        int32_t length = 0;
        read_all(fd, &length, sizeof length);
        // Memory of its own for each message, as any client needs that keeps several.
        const std::unique_ptr<char[]> message(new char[static_cast<std::size_t>(length)]);
        read_all(fd, message.get(), static_cast<std::size_t>(length));
        const std::vector<char> copy(message.get(), message.get() + length);
        keep(copy.data());
        const double seconds = wall_seconds() - begin;
        close(fd);
        return seconds;
    }

    pid_t server() const { return server_.pid(); }

  private:
    const hb_test::Bytes request_;
    const Bare_Server server_;
};

struct Opening {
    std::shared_ptr<Running_Wispd> wispd;
    std::shared_ptr<Bare_Client> client;

    Opening(int nodes, int networks)
        : wispd(wispd_with(nodes, networks)), client(std::make_shared<Bare_Client>(*wispd)) {}
};

// The server is on the second processor or, with this process, on the first one.
Row small_row(const char *work, int place_of_server, std::optional<double> target) {
    Row row;
    row.work = work;
    row.beside = "connecting and one round trip on a bare socket";
    row.why = "the client has nothing before it connects and receives";
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = target;
    row.prepare = [place_of_server] {
        const Opening opening(16, 2);
        const auto placement = std::make_shared<Placement>();
        placement->put(getpid(), 0);
        placement->put(opening.wispd->daemon().pid(), place_of_server);
        placement->put(opening.client->server(), place_of_server);
        return Sides{
            [wispd = opening.wispd, placement] { return median_of([&] { return seconds_to_open(*wispd); }); },
            [client = opening.client] { return median_of([&] { return client->seconds_to_receive(); }); }};
    };
    return row;
}

Row large_row() {
    Row row;
    row.work = "opening at 98,352 adapters";
    row.beside = "receiving and copying the message on a bare socket";
    row.why = "each byte must arrive and must be stored";
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = 3;
    row.prepare = [] {
        const Opening opening(2049, 48);
        return Sides{[wispd = opening.wispd] { return seconds_to_open(*wispd); },
                     [client = opening.client] { return client->seconds_to_receive(); }};
    };
    return row;
}

} // namespace

std::vector<Row> opening_rows() {
    return {small_row("opening at 16 nodes with 2 adapters, all on one processor", 0, 1.5),
            small_row("opening at 16 nodes with 2 adapters, client and server on two processors", 1, {}),
            large_row()};
}

std::vector<Growth> opening_growth() {
    return {{"open", "1,536 adapters", Cost::wall_time, [](int size) {
                 const std::shared_ptr<Running_Wispd> wispd = wispd_with(32 * size, 48);
                 const auto placement = std::make_shared<Placement>();
                 placement->put(getpid(), 0);
                 placement->put(wispd->daemon().pid(), 0);
                 return [wispd, placement] { return seconds_to_open(*wispd); };
             }}};
}
