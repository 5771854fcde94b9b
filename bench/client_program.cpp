// SPDX-License-Identifier: Apache-2.0
// hb_bench_client: one client process of a benchmark, with the shared library as any program uses it.
//
//   memory               prints how many bytes of private memory an open library costs
//   listen BOARD SOCKET  receives events of the library, and records from the bare socket, and notes on the board
//                        when each arrived
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/arrival_board.h"
#include "hb_client.h"

namespace {

constexpr int DEATHS_AND_JOINS = 3;

long private_bytes() {
    std::ifstream file("/proc/self/smaps_rollup");
    long kilobytes = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("Private_", 0) == 0) {
            kilobytes += std::stol(line.substr(line.find(':') + 1));
        }
    }
    return kilobytes * 1024;
}

int fail(const char *what) {
    std::fprintf(stderr, "hb_bench_client: %s\n", what);
    return 1;
}

int measure_memory() {
    private_bytes(); // what reading the file needs does not count
    const long before = private_bytes();
    if (hb_init() != Hb_Success) {
        return fail("the library does not open");
    }
    std::printf("%ld\n", private_bytes() - before);
    std::fflush(stdout);
    return hb_terminate() == Hb_Success ? 0 : 1;
}

bool subscribe() {
    char name[] = "bench";
    const auto group = std::make_unique<Hb_Subscription_Group>();
    return hb_empty_subscription_group(group.get()) == Hb_Success &&
           hb_add_all_adapters_to_subscription_group(group.get()) == Hb_Success &&
           hb_subscribe(name, group.get(), DEATHS_AND_JOINS) == Hb_Success;
}

// Returns the library's descriptor, or -1.
int descriptor_of_library() {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success || count < 1) {
        return -1;
    }
    const int first = descriptors[0];
    hb_free_file_descriptor_array(descriptors);
    return first;
}

int connect_to(const char *path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 ? fd : -1;
}

// Reads one record: its length, then its bytes.
bool read_record(int fd) {
    std::array<char, 4096> bytes{};
    int32_t length = 0;
    return read(fd, &length, sizeof length) == sizeof length && length > 0 &&
           static_cast<std::size_t>(length) <= bytes.size() &&
           read(fd, bytes.data(), static_cast<std::size_t>(length)) == length;
}

// poll has reported a record, so there is nothing to wait for.
bool read_event(int fd, Hb_Group &group) {
    int descriptors[] = {fd, -1};
    int events = 0;
    Hb_Name name{};
    unsigned long sequence = 0;
    return hb_get_event_message(descriptors, nullptr, &events, name, &group, &sequence) == Hb_Success;
}

int listen(const char *board_path, const char *socket_path) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Arrival_Board board = Arrival_Board::open(board_path);
    if (hb_init() != Hb_Success || !subscribe()) {
        return fail("the library does not open or subscribe");
    }
    const auto group = std::make_unique<Hb_Group>();
    const int library = descriptor_of_library();
    const int bare = connect_to(socket_path);
    if (library < 0 || bare < 0) {
        return fail("there is no connection");
    }
    board.arrive();
    std::array<pollfd, 2> waiting{{{library, POLLIN, 0}, {bare, POLLIN, 0}}};
    while (poll(waiting.data(), waiting.size(), -1) > 0) {
        const bool is_event = waiting[0].revents != 0;
        if (!(is_event ? read_event(library, *group) : read_record(bare))) {
            return 0; // the benchmark has ended
        }
        board.arrive();
    }
    return fail("poll");
}

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && std::strcmp(argv[1], "memory") == 0) {
        return measure_memory();
    }
    if (argc == 4 && std::strcmp(argv[1], "listen") == 0) {
        return listen(argv[2], argv[3]);
    }
    return fail("usage: hb_bench_client memory | listen BOARD SOCKET");
}
