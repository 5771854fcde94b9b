// SPDX-License-Identifier: Apache-2.0
// The memory of wispd and of a client at full size, beside the bytes of the records that they hold.
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "bench/cluster_file.h"
#include "bench/rows.h"
#include "bench/running_wispd.h"
#include "bench/sample_cluster.h"
#include "tests/support/child_process.h"

namespace {

using namespace comparison;

constexpr double RECORDS = SAMPLE_ADAPTERS * sizeof(Hb_Adapter_Entry);

std::string largest_cluster() {
    return cluster_file(SAMPLE_NODES, SAMPLE_ADAPTERS_PER_NODE);
}

// A new wispd each time, after a client has received everything; that client is still connected.
double resident_bytes_of_wispd() {
    const Running_Wispd wispd(largest_cluster());
    const hb_test::Stream client(wispd.daemon().socket());
    client.send(Running_Wispd::request_for_configuration());
    client.read_record();
    return 1024.0 * static_cast<double>(wispd.daemon().resident_kilobytes());
}

// A new process each time, with the shared library. It counts the memory that belongs to it alone.
double bytes_of_client(const Running_Wispd &wispd) {
    hb_test::Child_Process client({wispd.daemon().programs().path("hb_bench_client"), "memory"},
                                  {{"HB_SERVER_SOCKET", wispd.daemon().socket()}});
    const std::optional<std::string> line = client.read_line();
    if (!line) {
        throw std::runtime_error("the client did not open: " + client.error_output());
    }
    return std::stod(*line);
}

Row memory_row(const char *work, double target) {
    Row row;
    row.work = work;
    row.beside = "its records";
    row.why = "98,352 records of 64 bytes";
    row.ratio = Ratio::cost;
    row.cost = Cost::bytes;
    row.target = target;
    return row;
}

double bytes_of_records() {
    return RECORDS;
}

} // namespace

std::vector<Row> memory_rows() {
    Row of_wispd = memory_row("resident memory of wispd at 98,352 adapters", 4);
    of_wispd.prepare = [] { return Sides{resident_bytes_of_wispd, bytes_of_records}; };
    Row of_client = memory_row("private memory of a client at 98,352 adapters", 2.5);
    of_client.prepare = [] {
        const auto wispd = std::make_shared<Running_Wispd>(largest_cluster());
        return Sides{[wispd] { return bytes_of_client(*wispd); }, bytes_of_records};
    };
    return {of_wispd, of_client};
}
