// A program that reads the daemon's shared segments over and over, for as long as its standard input is open,
// and checks every reading. Its last line tells what it saw.
//
//   segment_reader routes NODE [signals]   the route to a node; every hop has to lie in the first one's network
//   segment_reader keys [signals]          the security keys; a reading that nothing changed has to be whole
//   segment_reader inside                  goes into the route segment as a reader does, and stays there
//
// "ready" is said after the first reading, "changed" with every route or generation that differs from the one
// before. With "signals" a timer interrupts it all the time.
#include <poll.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "hb_client.h"

namespace {

volatile std::sig_atomic_t interruptions = 0;

void count_interruption(int) {
    interruptions = interruptions + 1;
}

// Without SA_RESTART, so that system calls end early.
void interrupt_all_the_time() {
    struct sigaction action {};
    action.sa_handler = count_interruption;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval interval{{0, 200}, {0, 200}};
    setitimer(ITIMER_REAL, &interval, nullptr);
}

bool told_to_end() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

void say(const std::string &line) {
    const std::string whole = line + "\n";
    std::size_t written = 0;
    while (written < whole.size()) {
        const ssize_t count = write(STDOUT_FILENO, whole.data() + written, whole.size() - written);
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

struct Tally {
    long readings = 0;
    long torn = 0;
    long failed = 0; // with a number that is not expected
};

int end_with(const Tally &tally) {
    say("readings " + std::to_string(tally.readings > 0) + " torn " + std::to_string(tally.torn) + " failed " +
        std::to_string(tally.failed));
    return 0;
}

// ---- Routes ----

const unsigned char *bytes_of(const Hb_IP_address6 &address) {
    return reinterpret_cast<const unsigned char *>(&address);
}

// 10.N.x.y: what lies in network N of the test's cluster.
bool is_whole(const Hb_Route &route, unsigned length) {
    if (length != 2) {
        return false;
    }
    for (unsigned hop = 0; hop < length; ++hop) {
        if (bytes_of(route.sr_address[hop])[12] != 10 ||
            bytes_of(route.sr_address[hop])[13] != bytes_of(route.sr_address[0])[13]) {
            return false;
        }
    }
    return true;
}

int read_routes(Hb_Node_Number node) {
    Tally tally;
    int network_before = -1;
    while (!told_to_end()) {
        Hb_Route route;
        std::uint16_t length = 0;
        std::memset(&route, 0xEE, sizeof route);
        int network = 0;
        if (hb_read_route(node, &route, &length) == Hb_Success) {
            tally.torn += is_whole(route, length) ? 0 : 1;
            network = bytes_of(route.sr_address[0])[13];
        } else {
            tally.failed += hb_get_errno() == 6 ? 0 : 1;
        }
        if (tally.readings++ == 0) {
            say("ready");
        } else if (network != network_before) {
            say("changed");
        }
        network_before = network;
    }
    return end_with(tally);
}

// ---- Keys ----

int read_keys() {
    Tally tally;
    Hb_Sequence_Number generation_before = 0;
    while (!told_to_end()) {
        Hb_Security_Status current;
        Hb_Security_Status previous;
        Hb_Key_Cache cache;
        Hb_Sequence_Number first = 0;
        Hb_Sequence_Number second = 0;
        hb_get_security_sequence(&first);
        const Hb_Rc result = hb_get_security_infomation(&current, &previous, &cache);
        hb_get_security_sequence(&second);
        // An even generation is that of a change under way.
        const bool unchanged = first == second && first % 2 == 1;
        if (unchanged && result != Hb_Success) {
            ++tally.failed;
        }
        if (unchanged && result == Hb_Success) {
            const bool whole = current.securityOn == Hb_True && current.key.type == SEC_KEY_TYPE_HMAC_SHA256 &&
                               current.key.length == 32 && cache.keyCacheCount <= HB_KEY_CACHE_SIZE;
            tally.torn += whole ? 0 : 1;
        }
        hb_free_security_info_keys(&current, &previous, &cache);
        if (tally.readings++ == 0) {
            say("ready");
        } else if (first != generation_before) {
            say("changed");
        }
        generation_before = first;
    }
    return end_with(tally);
}

// ---- Staying inside ----

int stay_inside() {
    const key_t key = ftok(std::getenv("HB_SERVER_SOCKET"), 'i');
    const int semaphores = semget(key, 2, 0);
    sembuf enter[2] = {{0, 1, SEM_UNDO}, {1, 0, 0}};
    if (key == -1 || semaphores == -1 || semop(semaphores, enter, 2) != 0) {
        std::perror("segment_reader: entering");
        return 1;
    }
    say("inside");
    pause();
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "inside") {
        return stay_inside();
    }
    if (hb_init() != Hb_Success) {
        std::fprintf(stderr, "segment_reader: cannot open the library, error %d\n", hb_get_errno());
        return 1;
    }
    if (std::string(argv[argc - 1]) == "signals") {
        interrupt_all_the_time();
    }
    return mode == "keys" ? read_keys() : read_routes(static_cast<Hb_Node_Number>(std::atoi(argv[2])));
}
