// SPDX-License-Identifier: Apache-2.0
// Events through the library, against a bare loop with only the unavoidable work. The loop reads the same bytes
// from the same kind of socket and clears the same list.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/event_feed.h"
#include "bench/sample_cluster.h"
#include "lib/hb_communication/connection.h"

namespace {

constexpr int BATCH = 16; // this many of the largest records always fit in a socket

// Processor time of this thread: nothing here waits, and other load on the machine must not count.
double seconds_used() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Deaths and joins alternate, so that every event changes the state of each of its members.
bool feed_batch(int daemon_end, const std::vector<char> &death, const std::vector<char> &join) {
    for (int i = 0; i < BATCH; i += 2) {
        if (!feed(daemon_end, death) || !feed(daemon_end, join)) {
            return false;
        }
    }
    return true;
}

// Measures `take` on batches that are in the socket before it starts.
template <typename Take> void run_batches(benchmark::State &state, int daemon_end, Members members, Take take) {
    const int count = static_cast<int>(state.range(0));
    const std::vector<char> death = adapter_record(HB_ADAPTER_DEATH, count, members);
    const std::vector<char> join = adapter_record(HB_ADAPTER_JOIN, count, members);
    for (auto _ : state) {
        if (!feed_batch(daemon_end, death, join)) {
            state.SkipWithError("the socket does not hold a batch");
            break;
        }
        const double start = seconds_used();
        for (int i = 0; i < BATCH; ++i) {
            if (!take()) {
                state.SkipWithError("an event was not received");
                break;
            }
        }
        state.SetIterationTime(seconds_used() - start);
    }
    state.SetItemsProcessed(state.iterations() * BATCH);
}

bool read_whole(int fd, char *buffer, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
        const ssize_t n = read(fd, buffer + done, length - done);
        if (n <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

void library_events(benchmark::State &state, Members members) {
    load_sample_cluster();
    const Listener listener;
    setenv("HB_SERVER_SOCKET", listener.path().c_str(), 1);
    if (hb_init_communication() != Hb_Success) {
        state.SkipWithError("the library does not connect");
        return;
    }
    const int daemon_end = listener.accept_one();
    int descriptors[] = {client_socket->socket(), -1};
    const auto group = std::make_unique<Hb_Group>();
    Hb_Name name;
    int events = 0;
    unsigned long sequence = 0;
    run_batches(state, daemon_end, members, [&] {
        return hb_get_event_message(descriptors, nullptr, &events, name, group.get(), &sequence) == Hb_Success;
    });
    hb_remove_socket();
    hb_remove_client_select();
    close(daemon_end);
}

void bare_events(benchmark::State &state, Members members) {
    const Listener listener;
    const int fd = connect_plainly(listener.path());
    const int daemon_end = listener.accept_one();
    const auto group = std::make_unique<Hb_Group>();
    std::vector<char> buffer(1 << 16);
    auto &list = group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    run_batches(state, daemon_end, members, [&] {
        int32_t length = 0;
        if (!read_whole(fd, reinterpret_cast<char *>(&length), sizeof length) ||
            !read_whole(fd, buffer.data(), static_cast<std::size_t>(length))) {
            return false;
        }
        std::memset(list, 0xFF, sizeof list);
        benchmark::DoNotOptimize(list);
        benchmark::ClobberMemory();
        return true;
    });
    close(fd);
    close(daemon_end);
}

BENCHMARK_CAPTURE(library_events, nodes, Members::Of_Whole_Nodes)->Arg(1)->Arg(16)->Arg(1000)->UseManualTime();
BENCHMARK_CAPTURE(bare_events, nodes, Members::Of_Whole_Nodes)->Arg(1)->Arg(16)->Arg(1000)->UseManualTime();
BENCHMARK_CAPTURE(library_events, network, Members::Of_One_Network)->Arg(1000)->UseManualTime();
BENCHMARK_CAPTURE(bare_events, network, Members::Of_One_Network)->Arg(1000)->UseManualTime();

} // namespace
