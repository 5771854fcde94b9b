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
#include <unistd.h>
#include <vector>

#include <corosync/cmap.h>
#include <corosync/quorum.h>

#include "bench/changes_of_wispd.h"
#include "bench/comparison/clocks.h"
#include "bench/comparison/program.h"
#include "bench/comparison/samples.h"
#include "bench/engine_messages.h"
#include "bench/placement.h"
#include "tests/cluster/hosts.h"

namespace {

using namespace comparison;

constexpr int NOT_POSSIBLE = 3;
constexpr int IN_ONE_REPETITION = 300;
constexpr int PIPELINED = 20000;
constexpr const char *ENGINE = "HB_PEER_BENCH_ENGINE"; // its process, for this program inside the host

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

// Where the client, wispd and the engine run. The scheduler puts a client and its server on one processor or on two, and
// waking a process on another processor lasts longer than all the work. On one processor the work alone counts, so
// that place is judged.
enum class Place { on_one_processor, on_two_processors, as_scheduled };

std::string text_of(Place place) {
    return place == Place::on_one_processor    ? ", all on one processor"
           : place == Place::on_two_processors ? ", client and servers on two processors"
                                               : ", as scheduled";
}

struct Sides_Of_Changes {
    std::shared_ptr<Changes_Of_Wispd> changes = std::make_shared<Changes_Of_Wispd>();
    std::shared_ptr<Engine_Messages> messages = std::make_shared<Engine_Messages>();
    std::shared_ptr<Placement> placement = std::make_shared<Placement>();

    explicit Sides_Of_Changes(Place place) {
        if (place != Place::as_scheduled) {
            const int servers = place == Place::on_two_processors ? 1 : 0;
            placement->put(getpid(), 0);
            placement->put(changes->wispd(), servers);
            placement->put(std::stoi(std::getenv(ENGINE)), servers);
        }
    }
};

Row latency_row(Place place, std::optional<double> target) {
    Row row;
    row.work = "one change, from the command to the client's event" + text_of(place);
    row.beside = "a CPG message to oneself, one in flight";
    row.why = "the engine's own ordered event, by its own library";
    row.ratio = Ratio::cost;
    row.cost = Cost::wall_time;
    row.target = target;
    row.prepare = [place] {
        const Sides_Of_Changes of(place);
        return Sides{[changes = of.changes, placement = of.placement] {
                         return median_wall_seconds_of([&] { changes->one(); });
                     },
                     [messages = of.messages] { return median_wall_seconds_of([&] { messages->one(); }); }};
    };
    return row;
}

// Each side uses as many processors as it can.
Row throughput_row() {
    Row row;
    row.work = "changes pipelined, one client" + text_of(Place::as_scheduled);
    row.beside = "CPG messages of 64 bytes, pipelined";
    row.why = "the engine's own events, as many as its flow control permits";
    row.cost = Cost::wall_time;
    row.target = 1.5;
    row.prepare = [] {
        const Sides_Of_Changes of(Place::as_scheduled);
        return Sides{[changes = of.changes] {
                         return wall_seconds_of([&] { changes->pipelined(PIPELINED); }) / PIPELINED;
                     },
                     [messages = of.messages] {
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
         {latency_row(Place::on_one_processor, 0.5), latency_row(Place::on_two_processors, {}),
          latency_row(Place::as_scheduled, {}), throughput_row(), look_up_row("`cmap_get`", cmap_look_up),
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
    const std::unique_ptr<hb_test::Child_Process> inside =
        hosts.places().run(1, arguments, {{ENGINE, std::to_string(hosts.engine(1).pid())}});
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
    if (!measures || std::getenv(ENGINE) != nullptr) {
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
