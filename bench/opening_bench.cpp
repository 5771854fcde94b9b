// SPDX-License-Identifier: Apache-2.0
// Opening the library, with a real wispd, beside what a bare client must do: connect, send the same request, and
// receive the same message from a process that has it ready.
#include <memory>
#include <stdexcept>
#include <unistd.h>
#include <vector>

#include "bench/bare_server.h"
#include "bench/cluster_file.h"
#include "bench/comparison/clocks.h"
#include "bench/rows.h"
#include "bench/running_wispd.h"
#include "hb_client.h"
#include "tests/support/records.h"

namespace {

using namespace comparison;

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

  private:
    const hb_test::Bytes request_;
    const Bare_Server server_;
};

Row opening_row(const char *work, const char *beside, const char *why, int nodes, int networks, double target) {
    Row row;
    row.work = work;
    row.beside = beside;
    row.why = why;
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = target;
    row.is_quick = nodes < 100;
    row.prepare = [nodes, networks] {
        const std::shared_ptr<Running_Wispd> wispd = wispd_with(nodes, networks);
        const auto client = std::make_shared<Bare_Client>(*wispd);
        return Sides{[wispd] { return seconds_to_open(*wispd); },
                     [client] { return client->seconds_to_receive(); }};
    };
    return row;
}

} // namespace

std::vector<Row> opening_rows() {
    return {opening_row("opening at 16 nodes with 2 adapters", "connecting and one round trip on a bare socket",
                        "the client has nothing before it connects and receives", 16, 2, 1.5),
            opening_row("opening at 98,352 adapters", "receiving and copying the message on a bare socket",
                        "each byte must arrive and must be stored", 2049, 48, 3)};
}

std::vector<Growth> opening_growth() {
    return {{"open", "1,536 adapters", Cost::wall_time,
             [](int size) { return [wispd = wispd_with(32 * size, 48)] { return seconds_to_open(*wispd); }; }}};
}
