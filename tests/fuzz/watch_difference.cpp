// SPDX-License-Identifier: Apache-2.0
#include "tests/fuzz/watch_difference.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <poll.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "hb_watch.h"

// The input is a list of operations: a byte for the operation, and bytes for its arguments. After each operation the
// watch reads everything. Then its reports must add up to the sets below.
namespace {

using Bytes = std::vector<uint8_t>;
using Members = std::set<unsigned>;

constexpr unsigned NODES = 4;
constexpr unsigned SLOTS = 2;
constexpr std::size_t OPERATIONS_MOST = 200;
constexpr int LONG_TIME = 1000000;
constexpr int TURNS_MOST = 10000; // a watch that never comes to rest has a fault

// Kinds of records and requests.
constexpr unsigned CONFIGURATION = 0;
constexpr unsigned ADAPTER_DEATH = 2;
constexpr unsigned ADAPTER_GROUP = 4;
constexpr unsigned NODE_DEATH = 5;
constexpr unsigned NODE_GROUP = 7;
constexpr unsigned ROUTE = 8;
constexpr unsigned UPDATE = 9;
constexpr unsigned ASK_CONFIGURATION = 201;
constexpr unsigned SUBSCRIBE = 209;
constexpr unsigned ASK_ROUTE = 211;

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "watch_difference: %s\n", what);
    std::abort();
}

void require(bool condition, const char *what) {
    if (!condition) {
        fail(what);
    }
}

// ---- Bytes ----

void put(Bytes &bytes, uint32_t number, unsigned size = 4) {
    for (unsigned i = 0; i < size; ++i) {
        bytes.push_back(static_cast<uint8_t>(number >> (8 * i)));
    }
}

uint32_t number_at(const Bytes &bytes, std::size_t at) {
    uint32_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

void append(Bytes &bytes, const Bytes &more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

// A record with its length.
Bytes record(unsigned kind, uint32_t sequence, const Bytes &body) {
    Bytes bytes;
    put(bytes, static_cast<uint32_t>(108 + body.size()));
    put(bytes, kind);
    bytes.resize(4 + 104); // leader to failure identifier
    put(bytes, sequence);
    append(bytes, body);
    return bytes;
}

Members members_of(unsigned mask) {
    Members members;
    for (unsigned i = 0; i < 8; ++i) {
        if ((mask >> i & 1U) != 0) {
            members.insert(i);
        }
    }
    return members;
}

Bytes adapters_body(const Members &adapters, uint32_t incarnation) {
    Bytes body;
    put(body, static_cast<uint32_t>(adapters.size()) - 1);
    for (const unsigned adapter : adapters) {
        put(body, adapter);
        put(body, incarnation);
    }
    return body;
}

Bytes nodes_body(const Members &nodes) {
    Bytes body;
    for (unsigned node = 0; node < NODES; ++node) {
        put(body, nodes.contains(node) ? 1 : 0);
    }
    return body;
}

// ---- What the records say ----

// Understands a record by its description in docs/protocol.md, with sets.
struct Understanding {
    Members configured{0, 1, 2, 3, 4, 5, 6, 7}; // adapters
    Members nodes{0, 1, 2, 3};                  // that are up
    Members adapters{0, 1, 2, 3, 4, 5, 6, 7};

    bool has_node(unsigned node) const {
        return configured.contains(node * SLOTS) || configured.contains(node * SLOTS + 1);
    }

    void drop_what_is_not_configured() {
        std::erase_if(adapters, [&](unsigned adapter) { return !configured.contains(adapter); });
        std::erase_if(nodes, [&](unsigned node) { return !has_node(node); });
    }

    void configure(const Members &all) {
        configured = all;
        drop_what_is_not_configured();
    }

    // Returns false, and changes nothing, if the body is malformed.
    bool read(unsigned kind, const Bytes &body) {
        Members members;
        if (kind >= NODE_DEATH ? !read_nodes(body, members) : !read_adapters(body, members)) {
            return false;
        }
        Members &mine = kind >= NODE_DEATH ? nodes : adapters;
        const unsigned first = kind >= NODE_DEATH ? NODE_DEATH : ADAPTER_DEATH;
        if (kind == first) {
            std::erase_if(mine, [&](unsigned member) { return members.contains(member); });
        } else if (kind == first + 1) {
            mine.insert(members.begin(), members.end());
        } else {
            mine = members;
        }
        drop_what_is_not_configured();
        return true;
    }

    static bool read_adapters(const Bytes &body, Members &members) {
        if (body.size() < 4) {
            return false;
        }
        const int64_t pairs = static_cast<int64_t>(static_cast<int32_t>(number_at(body, 0))) + 1;
        if (pairs < 0 || static_cast<uint64_t>(pairs) * 8 > body.size() - 4) {
            return false;
        }
        for (std::size_t i = 0; i < static_cast<std::size_t>(pairs); ++i) {
            if (number_at(body, 8 + i * 8) != 0xFFFFFFFFU) { // "not in the group"
                members.insert(number_at(body, 4 + i * 8));
            }
        }
        return true;
    }

    static bool read_nodes(const Bytes &body, Members &members) {
        if (body.size() < 4 * NODES) {
            return false;
        }
        for (unsigned node = 0; node < NODES; ++node) {
            if (number_at(body, 4 * node) == 1) {
                members.insert(node);
            }
        }
        return true;
    }

    Bytes configuration() const {
        Bytes body;
        put(body, 0); // the local node, and padding
        put(body, NODES);
        put(body, SLOTS);
        put(body, static_cast<uint32_t>(configured.size()));
        put(body, SLOTS);
        for (const unsigned adapter : configured) {
            body.resize(body.size() + 16, 1); // address
            put(body, adapter % SLOTS, 2);
            body.resize(body.size() + 38); // type and padding
            put(body, adapter);
            put(body, 1); // state
        }
        for (unsigned network = 0; network < SLOTS; ++network) {
            body.push_back(static_cast<uint8_t>('a' + network));
            body.resize(body.size() + 85);
        }
        return body;
    }
};

// ---- The daemon ----

class Daemon {
  public:
    Daemon() {
        const char *root = std::getenv("TMPDIR");
        directory_ = std::string(root != nullptr ? root : "/tmp") + "/hbf.XXXXXX";
        require(mkdtemp(directory_.data()) != nullptr, "mkdtemp");
        path_ = directory_ + "/s";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        require(bind(listener_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
                    listen(listener_, 4) == 0,
                "listen");
    }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;
    ~Daemon() {
        hang_up();
        close(listener_);
        unlink(path_.c_str());
        rmdir(directory_.c_str());
    }

    const std::string &path() const { return path_; }
    int listener() const { return listener_; }
    int connection() const { return connection_; }

    void hang_up() {
        if (connection_ >= 0) {
            close(connection_);
        }
        connection_ = -1;
    }

    // Accepts and answers. Returns whether there was anything to do.
    bool serve(const Understanding &truth) {
        if (connection_ < 0) {
            connection_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            received_.clear();
            sequence = 0;
            last.clear();
            return connection_ >= 0;
        }
        uint8_t buffer[65536];
        const ssize_t count = recv(connection_, buffer, sizeof buffer, 0);
        if (count <= 0) {
            if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
                hang_up();
                return true;
            }
            return false;
        }
        received_.insert(received_.end(), buffer, buffer + count);
        answer_all(truth);
        return true;
    }

    void send(const Bytes &bytes) {
        if (connection_ >= 0 && !bytes.empty()) {
            const ssize_t sent = ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            require(sent == static_cast<ssize_t>(bytes.size()) || errno == EPIPE || errno == ECONNRESET,
                    "the watch does not read");
        }
    }

    void send_event(unsigned kind, const Bytes &body) {
        last = record(kind, ++sequence, body);
        send(last);
    }

    uint32_t sequence = 0;
    Bytes last; // event

  private:
    void answer_all(const Understanding &truth) {
        std::size_t at = 0;
        while (at + 4 <= received_.size()) {
            const std::size_t length = number_at(received_, at);
            require(length >= 76 && length <= 98427, "the length of a request");
            if (at + 4 + length > received_.size()) {
                break;
            }
            answer(number_at(received_, at + 12), number_at(received_, at + 16), length,
                   length > 80 ? number_at(received_, at + 80) : 0, truth);
            at += 4 + length;
        }
        received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(at));
    }

    void answer(unsigned kind, std::size_t len, std::size_t length, unsigned type, const Understanding &truth) {
        require(length == 76 + len, "the lengths of a request contradict each other");
        if (kind == ASK_CONFIGURATION) {
            send(record(CONFIGURATION, 0, truth.configuration()));
        } else if (kind == SUBSCRIBE && type == 1) {
            send_event(NODE_GROUP, nodes_body(truth.nodes));
        } else if (kind == SUBSCRIBE && type == 3) {
            send_event(ADAPTER_GROUP, adapters_body(truth.adapters, 1));
        } else if (kind == ASK_ROUTE) {
            send(record(ROUTE, 0, Bytes(176)));
        } else {
            fail("a request that a watch has no reason to make");
        }
    }

    std::string directory_;
    std::string path_;
    int listener_ = -1;
    int connection_ = -1;
    Bytes received_;
};

// ---- The reports ----

struct Account {
    Members nodes;
    Members adapters;
    bool current = false;
    bool lost = false;

    void take(const Hb_Watch_Report &report) {
        switch (report.kind) {
        case HB_WATCH_CURRENT:
            require(!current, "it was current already");
            current = true;
            lost = false;
            break;
        case HB_WATCH_UNREACHABLE:
            require(!lost, "the loss was reported already");
            current = false;
            lost = true;
            break;
        case HB_WATCH_NODE_JOINED:
            require(nodes.insert(static_cast<unsigned>(report.node)).second, "a node joined that was up");
            break;
        case HB_WATCH_NODE_DIED:
            require(nodes.erase(static_cast<unsigned>(report.node)) == 1, "a node died that was not up");
            break;
        case HB_WATCH_ADAPTER_JOINED:
            require(adapters.insert(report.adapter).second, "an adapter joined that was up");
            break;
        case HB_WATCH_ADAPTER_DIED:
            require(adapters.erase(report.adapter) == 1, "an adapter died that was not up");
            break;
        case HB_WATCH_CONFIGURATION:
            break;
        default:
            fail("a report of an unknown kind");
        }
    }
};

struct Close_Watch {
    void operator()(Hb_Watch *watch) const { hb_watch_close(watch); }
};

// ---- One input ----

class Course {
  public:
    Course(const uint8_t *data, std::size_t size) : data_(data), left_(size) {
        Hb_Watch_Options options;
        hb_watch_default_options(&options);
        options.socket_path = daemon_.path().c_str();
        options.check_interval = 0;
        options.answer_timeout = LONG_TIME;
        options.retry_min = 1;
        options.retry_max = 1;
        watch_.reset(hb_watch_open(&options));
        require(watch_ != nullptr, "hb_watch_open");
    }

    void run() {
        rest();
        for (std::size_t i = 0; i < OPERATIONS_MOST && left_ > 0; ++i) {
            operate();
            rest();
        }
    }

  private:
    unsigned byte() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *data_++;
    }

    Bytes bytes(std::size_t count) {
        Bytes some;
        while (count-- > 0 && left_ > 0) {
            some.push_back(static_cast<uint8_t>(byte()));
        }
        return some;
    }

    void operate() {
        const unsigned operation = byte() % 12;
        switch (operation) {
        case 0:
        case 1:
        case 2: { // adapters die, join, are up
            const Members members = members_of(byte());
            event(ADAPTER_DEATH + operation, adapters_body(members, byte() * 0x00801001U));
            break;
        }
        case 3:
        case 4:
        case 5: // nodes die, join, are up
            event(NODE_DEATH + operation - 3, nodes_body(members_of(byte())));
            break;
        case 6:                                        // another configuration
            truth_.configure(members_of(byte() | 1U)); // the local node stays
            daemon_.send_event(UPDATE, truth_.configuration());
            break;
        case 7: { // events are lost, and the next one shows it
            daemon_.sequence += 1 + byte() % 3;
            truth_.configure(members_of(byte() | 1U));
            truth_.adapters = members_of(byte());
            truth_.nodes = members_of(byte() % 16);
            truth_.drop_what_is_not_configured();
            daemon_.send_event(12, {});
            break;
        }
        case 8: // the last event again
            daemon_.send(daemon_.last);
            break;
        case 9: { // an event with any body
            const unsigned kind = ADAPTER_DEATH + byte() % 6;
            event(kind, bytes(byte() % 64));
            break;
        }
        case 10: // bytes without sense
            daemon_.send(bytes(1 + byte() % 128));
            drain();
            daemon_.hang_up();
            break;
        default: // the connection ends, and the cluster is another one
            daemon_.hang_up();
            truth_.adapters = members_of(byte());
            truth_.nodes = members_of(byte() % 16);
            truth_.drop_what_is_not_configured();
            break;
        }
    }

    // A malformed event is a loss of contact. After it the watch compares.
    void event(unsigned kind, const Bytes &body) {
        const bool good = truth_.read(kind, body);
        daemon_.send_event(kind, body);
        if (!good) {
            drain();
            require(account_.lost, "a malformed event was accepted");
        }
    }

    bool drain() {
        bool any = false;
        Hb_Watch_Report report;
        for (int i = 0; hb_watch_next(watch_.get(), &report) == 1; ++i) {
            account_.take(report);
            any = true;
            require(i < TURNS_MOST, "reports without end");
        }
        return any;
    }

    bool is_readable() const {
        pollfd wanted{hb_watch_descriptor(watch_.get()), POLLIN, 0};
        return poll(&wanted, 1, 0) == 1;
    }

    // Lets both sides act until nothing is left to do. Then the reports must add up to what the daemon sent.
    void rest() {
        for (int turn = 0; turn < TURNS_MOST; ++turn) {
            const bool drained = drain(); // it may send requests without a report
            if (daemon_.serve(truth_) || drained || is_readable()) {
                continue;
            }
            if (account_.current && daemon_.connection() >= 0) {
                compare();
                return;
            }
            pollfd wanted[2] = {{hb_watch_descriptor(watch_.get()), POLLIN, 0},
                                {daemon_.listener(), POLLIN, 0}};
            require(poll(wanted, 2, 10000) > 0, "the watch does not come back");
        }
        fail("no rest");
    }

    void compare() {
        require(account_.nodes == truth_.nodes, "the nodes that were reported are not those that are up");
        require(account_.adapters == truth_.adapters,
                "the adapters that were reported are not those that are up");
        require(hb_watch_is_current(watch_.get()) == 1, "the watch is not current");
        Members configured;
        for (Hb_Adapter_Number number = 0xFFFFFFFFU;
             (number = hb_watch_next_adapter(watch_.get(), number)) != 0xFFFFFFFFU;) {
            configured.insert(number);
            const bool up = hb_watch_adapter_state(watch_.get(), number) == Hb_Entity_Up;
            require(up == truth_.adapters.contains(number), "the state of an adapter");
        }
        require(configured == truth_.configured, "the configured adapters");
        for (unsigned node = 0; node < NODES; ++node) {
            const bool up = hb_watch_node_state(watch_.get(), static_cast<int>(node)) == Hb_Entity_Up;
            require(up == truth_.nodes.contains(node), "the state of a node");
        }
    }

    const uint8_t *data_;
    std::size_t left_;
    Understanding truth_;
    Daemon daemon_;
    std::unique_ptr<Hb_Watch, Close_Watch> watch_;
    Account account_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    Course(data, size).run();
    return 0;
}
