// SPDX-License-Identifier: Apache-2.0
// hb_peer_bench: wispd and the library, beside Corosync and its own client libraries.
//
// The program makes a host of namespaces, starts Corosync there, and runs itself again inside that host.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <corosync/cmap.h>
#include <corosync/quorum.h>

#include "bench/changes_of_wispd.h"
#include "bench/comparison/clocks.h"
#include "bench/comparison/program.h"
#include "bench/comparison/samples.h"
#include "bench/engine_messages.h"
#include "tests/cluster/hosts.h"

namespace {

using namespace comparison;

constexpr int NOT_POSSIBLE = 3;
constexpr int IN_ONE_REPETITION = 300;
constexpr int PIPELINED = 20000;
constexpr const char *INSIDE = "HB_PEER_BENCH_INSIDE";

template <typename Work> double wall_seconds_of(Work work) {
    const double begin = wall_seconds();
    work();
    return wall_seconds() - begin;
}

// Returns the median of many: single ones wait for the machine's scheduling now and then.
template <typename Work> double median_wall_seconds_of(Work work) {
    std::vector<double> samples(IN_ONE_REPETITION);
    std::generate(samples.begin(), samples.end(), [&] { return wall_seconds_of(work); });
    return median(samples);
}

Row latency_row() {
    Row row;
    row.work = "one change, from the command to the client's event";
    row.beside = "a CPG message to oneself, one in flight";
    row.why = "the engine's own ordered event, by its own library";
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = 0.5;
    row.prepare = [] {
        return Sides{[changes = std::make_shared<Changes_Of_Wispd>()] {
                         return median_wall_seconds_of([&] { changes->one(); });
                     },
                     [messages = std::make_shared<Engine_Messages>()] {
                         return median_wall_seconds_of([&] { messages->one(); });
                     }};
    };
    return row;
}

Row throughput_row() {
    Row row;
    row.work = "changes pipelined, one client";
    row.beside = "CPG messages of 64 bytes, pipelined";
    row.why = "the engine's own events, as many as its flow control permits";
    row.cost = Cost::wall_time;
    row.target = 1.5;
    row.prepare = [] {
        return Sides{[changes = std::make_shared<Changes_Of_Wispd>()] {
                         return wall_seconds_of([&] { changes->pipelined(PIPELINED); }) / PIPELINED;
                     },
                     [messages = std::make_shared<Engine_Messages>()] {
                         return wall_seconds_of([&] { messages->pipelined(PIPELINED); }) / PIPELINED;
                     }};
    };
    return row;
}

double look_up_in_library() {
    return seconds_per_call([] {
        Hb_Node_Number node = 0;
        if (hb_get_node_number_by_adapter_number(3, &node) != Hb_Success) {
            throw std::runtime_error("a query failed");
        }
    });
}

// These wait for the engine's answer, so their time is wall time.
double cmap_look_up() {
    cmap_handle_t handle = 0;
    if (cmap_initialize(&handle) != CS_OK) {
        throw std::runtime_error("cmap_initialize");
    }
    const double seconds = median_wall_seconds_of([&] {
        uint32_t id = 0;
        if (cmap_get_uint32(handle, "nodelist.node.0.nodeid", &id) != CS_OK) {
            throw std::runtime_error("cmap_get_uint32");
        }
    });
    cmap_finalize(handle);
    return seconds;
}

double quorum_look_up() {
    quorum_handle_t handle = 0;
    quorum_callbacks_t callbacks{};
    uint32_t type = 0;
    if (quorum_initialize(&handle, &callbacks, &type) != CS_OK) {
        throw std::runtime_error("quorum_initialize");
    }
    const double seconds = median_wall_seconds_of([&] {
        int is_quorate = 0;
        if (quorum_getquorate(handle, &is_quorate) != CS_OK) {
            throw std::runtime_error("quorum_getquorate");
        }
    });
    quorum_finalize(handle);
    return seconds;
}

Row look_up_row(const char *beside, double (*peer)()) {
    Row row;
    row.work = "node of adapter";
    row.beside = beside;
    row.why = "a look-up by the engine's own library";
    row.cost = Cost::wall_time;
    row.prepare = [peer] {
        return Sides{[changes = std::make_shared<Changes_Of_Wispd>()] { return look_up_in_library(); }, peer};
    };
    return row;
}

int measure(int argc, char **argv) {
    return run(
        {"hb_peer_bench",
         "Compares the library and wispd with Corosync's own client libraries, on a host made of namespaces. "
         "Exits with 3 when this machine does not permit such hosts.",
         {latency_row(), throughput_row(), look_up_row("`cmap_get`", cmap_look_up),
          look_up_row("`quorum_getquorate`", quorum_look_up)},
         {}},
        argc, argv);
}

// Returns the exit status of this program inside the host.
int run_inside(const std::vector<std::string> &arguments) {
    hb_test::Hosts hosts(1, 1);
    hosts.start_all();
    if (!hosts.wait_quorum()) {
        throw std::runtime_error("Corosync does not start:\n" + hosts.account());
    }
    const std::unique_ptr<hb_test::Child_Process> inside = hosts.places().run(1, arguments, {{INSIDE, "1"}});
    const hb_test::Deadline deadline(std::chrono::hours(1));
    while (const std::optional<std::string> line = inside->read_line(deadline)) {
        std::printf("%s\n", line->c_str());
        std::fflush(stdout);
    }
    const std::optional<hb_test::Child_End> end = inside->wait();
    std::cerr << inside->error_output();
    return end && end->signal == 0 ? end->exit_status : 1;
}

} // namespace

int main(int argc, char **argv) {
    std::vector<std::string> arguments(argv, argv + argc);
    arguments[0] =
        std::filesystem::read_symlink("/proc/self/exe"); // the host's working directory is another one
    bool measures = true;
    for (const std::string &argument : arguments) {
        measures = measures && argument != "--list" && argument != "--help" && argument != "-h";
    }
    if (!measures || std::getenv(INSIDE) != nullptr) {
        return measure(argc, argv);
    }
    if (const std::optional<std::string> reason = hb_test::why_no_hosts()) {
        std::cerr << "hb_peer_bench: no cluster on this machine: " << *reason << '\n';
        return NOT_POSSIBLE;
    }
    try {
        return run_inside(arguments);
    } catch (const std::exception &trouble) {
        std::cerr << "hb_peer_bench: " << trouble.what() << '\n';
        return 1;
    }
}
