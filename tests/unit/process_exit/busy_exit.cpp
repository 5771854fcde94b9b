// SPDX-License-Identifier: Apache-2.0
// A program that ends by exit() while another of its threads is inside the library. It does so many times, each
// time in a new forked child. It prints the number of children that ended with a status other than 0.
//
//   busy_exit query N      in queries of the table, in daemon mode
//   busy_exit wait N       in hb_get_event_message, in daemon mode
//   busy_exit dispatch N   in hb_get_event_message, in cluster-event mode, while events arrive
//   busy_exit service T    in queries of a preloaded cluster service; once, after T microseconds, no fork
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "hb_client.h"
#include "providers/sim/simulated_service.h"

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int> calls{0}; // made by the worker

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "busy_exit: %s: error %d\n", what, hb_get_errno());
    _exit(2);
}

void query_once() {
    int count = 0;
    Hb_Node_Number node = 0;
    Hb_Cursor cursor = 0;
    if (hb_get_number_of_configured_adapters(&count) != Hb_Success ||
        hb_get_first_configured_node_number(&node, &cursor) != Hb_Success) {
        fail("query");
    }
    Hb_Adapter_Number adapter = 0;
    Hb_Cursor at = 0;
    Hb_Adapter_Type type = {};
    for (Hb_Rc more = hb_get_first_configured_adapter_number(&adapter, &at); more == Hb_Success;
         more = hb_get_next_configured_adapter_number(&adapter, &at)) {
        if (hb_get_adapter_type_by_number(adapter, type) != Hb_Success) {
            fail("adapter");
        }
        ++calls;
    }
}

std::vector<int> ready_descriptors() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        fail("descriptors");
    }
    std::vector<pollfd> waiting;
    for (int i = 0; i < count; ++i) {
        waiting.push_back({descriptors[i], POLLIN, 0});
    }
    hb_free_file_descriptor_array(descriptors);
    poll(waiting.data(), waiting.size(), -1);
    std::vector<int> ready;
    for (const pollfd &each : waiting) {
        if (each.revents != 0) {
            ready.push_back(each.fd);
        }
    }
    ready.push_back(-1);
    return ready;
}

void take_event(std::vector<int> descriptors) {
    static auto *group = new Hb_Group;
    int events = 0;
    Hb_Name name = {};
    unsigned long sequence = 0;
    ++calls;
    hb_get_event_message(descriptors.data(), nullptr, &events, name, group, &sequence);
}

void wait_in_daemon_mode() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        fail("descriptors");
    }
    take_event({descriptors[0], -1});
}

// ---- Cluster-event mode ----

void fill(mox_sim::Simulated_Service &service) {
    for (uint32_t number = 1; number <= 64; ++number) {
        mox_sim::Node node;
        node.number = number;
        service.set(node);
        mox_sim::Interface interface;
        interface.node = number;
        interface.name = "eth0";
        interface.address = mox_sim::address_of("10.1.0." + std::to_string(number));
        service.set(interface);
    }
}

void enter_cluster_event_mode() {
    hb_migrate_to_mox_commit();
    if (hb_init() != Hb_Success || hb_migrate_to_mox_prep() != Hb_Success ||
        hb_migrate_to_mox_commit() != Hb_Success) {
        fail("migration");
    }
}

void dispatch(mox_sim::Simulated_Service &service) {
    for (;;) {
        service.node_down(3);
        take_event(ready_descriptors());
        service.node_up(3);
        take_event(ready_descriptors());
    }
}

// ---- Ending ----

// Ends the process at a moment within the first milliseconds of the worker's work.
[[noreturn]] void exit_while_at_work(unsigned moment) {
    while (calls == 0) {
        std::this_thread::yield();
    }
    const auto end = Clock::now() + std::chrono::microseconds(moment);
    while (Clock::now() < end) {
        std::this_thread::yield();
    }
    std::exit(0);
}

template <typename Work> int count_bad_ends(int times, Work work) {
    std::mt19937 random(20240607);
    std::uniform_int_distribution<unsigned> moments(0, 3000);
    int bad = 0;
    for (int i = 0; i < times; ++i) {
        const unsigned moment = moments(random);
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            // Half of them end from a thread other than main's, as any thread may.
            if (i % 2 == 0) {
                std::thread(work).detach();
                exit_while_at_work(moment);
            }
            std::thread([moment] { exit_while_at_work(moment); }).detach();
            work();
            fail("the work ended");
        }
        int status = -1;
        waitpid(child, &status, 0);
        if (status != 0) {
            ++bad;
            std::fprintf(stderr, "busy_exit: end %d: wait status %d\n", i, status);
        }
    }
    return bad;
}

void query_for_ever() {
    for (;;) {
        query_once();
    }
}

} // namespace

// A module has another name for it.
extern "C" __attribute__((visibility("default"))) int main(int argc, char **argv);

int main(int argc, char **argv) {
    const std::string_view mode = argc > 1 ? argv[1] : "";
    const int times = argc > 2 ? std::atoi(argv[2]) : 0;
    int bad = 0;
    if (mode == "query" || mode == "wait") {
        if (hb_init() != Hb_Success) {
            fail("opening");
        }
        bad = mode == "query" ? count_bad_ends(times, query_for_ever)
                              : count_bad_ends(times, wait_in_daemon_mode);
    } else if (mode == "dispatch") {
        auto *service = new mox_sim::Simulated_Service; // like any service, it outlives the threads
        fill(*service);
        enter_cluster_event_mode();
        bad = count_bad_ends(times, [service] { dispatch(*service); });
    } else if (mode == "service") {
        enter_cluster_event_mode();
        std::thread([] {
            for (;;) {
                qz_mox_net_intf_info_t *list = nullptr;
                if (qz_mox_get_net_intf_info(nullptr, &list) == 0) {
                    qz_mox_release_net_intf_info(list);
                }
                ++calls;
            }
        }).detach();
        exit_while_at_work(static_cast<unsigned>(times));
    } else {
        return 2;
    }
    std::printf("%d\n", bad);
    return 0;
}
