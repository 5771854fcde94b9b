// SPDX-License-Identifier: Apache-2.0
// Events through the library, beside a bare loop with only the unavoidable work. The loop reads the same bytes
// from the same kind of socket and clears the same list.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <unistd.h>
#include <vector>

#include "bench/comparison/clocks.h"
#include "bench/event_feed.h"
#include "bench/rows.h"
#include "bench/sample_cluster.h"
#include "lib/hb_communication/connection.h"

namespace {

using namespace comparison;

constexpr int BATCH = 16; // this many of the largest records always fit in a socket
constexpr int BATCHES = 8;

// Deaths and joins alternate, so that every event changes the state of each of its members.
class Records {
  public:
    Records(int count, Members members)
        : death_(adapter_record(HB_ADAPTER_DEATH, count, members)),
          join_(adapter_record(HB_ADAPTER_JOIN, count, members)) {}

    void feed_batch(int daemon_end) const {
        for (int i = 0; i < BATCH; i += 2) {
            if (!feed(daemon_end, death_) || !feed(daemon_end, join_)) {
                throw std::runtime_error("the socket does not hold a batch of events");
            }
        }
    }

  private:
    std::vector<char> death_;
    std::vector<char> join_;
};

// Each batch is in the socket before the clock starts, so no scheduling is measured. Returns the time of one event.
template <typename Read> double seconds_per_event(int daemon_end, const Records &records, Read read_one) {
    double used = 0;
    for (int batch = 0; batch < BATCHES; ++batch) {
        records.feed_batch(daemon_end);
        const double begin = processor_seconds();
        for (int i = 0; i < BATCH; ++i) {
            if (!read_one()) {
                throw std::runtime_error("an event was not received");
            }
        }
        used += processor_seconds() - begin;
    }
    return used / (BATCH * BATCHES);
}

// The library, connected to this process, with the largest cluster in its table.
class Library {
  public:
    // The library has one connection in a process, so all sides share it.
    static std::shared_ptr<Library> open() {
        static std::weak_ptr<Library> current;
        std::shared_ptr<Library> library = current.lock();
        if (!library) {
            library.reset(new Library);
            current = library;
        }
        return library;
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
    ~Library() {
        hb_remove_socket();
        hb_remove_client_select();
        close(daemon_end_);
    }

    double seconds(const Records &records) {
        int descriptors[] = {client_socket->socket(), -1};
        return seconds_per_event(daemon_end_, records, [&] {
            Hb_Name name;
            int events = 0;
            unsigned long sequence = 0;
            return hb_get_event_message(descriptors, nullptr, &events, name, group_.get(), &sequence) ==
                   Hb_Success;
        });
    }

  private:
    Library() {
        setenv("HB_SERVER_SOCKET", listener_.path().c_str(), 1);
        if (hb_init_communication() != Hb_Success) {
            throw std::runtime_error("the library does not connect");
        }
        daemon_end_ = listener_.accept_one();
        load_sample_cluster(); // connecting empties the table
    }

    const Listener listener_;
    int daemon_end_ = -1;
    const std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
};

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

class Bare_Loop {
  public:
    Bare_Loop() : fd_(connect_plainly(listener_.path())), daemon_end_(listener_.accept_one()) {}
    Bare_Loop(const Bare_Loop &) = delete;
    Bare_Loop &operator=(const Bare_Loop &) = delete;
    ~Bare_Loop() {
        close(fd_);
        close(daemon_end_);
    }

    double seconds(const Records &records) {
        auto &list = group_->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
        return seconds_per_event(daemon_end_, records, [&] {
            int32_t length = 0;
            if (!read_whole(fd_, reinterpret_cast<char *>(&length), sizeof length) ||
                !read_whole(fd_, buffer_.data(), static_cast<std::size_t>(length))) {
                return false;
            }
            std::memset(list, 0xFF, sizeof list);
            keep(&list);
            return true;
        });
    }

  private:
    const Listener listener_;
    int fd_;
    int daemon_end_;
    std::vector<char> buffer_ = std::vector<char>(1 << 16);
    const std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
};

Row event_row(const char *work, int count, Members members, std::optional<double> target) {
    Row row;
    row.work = work;
    row.beside = "a bare loop";
    row.why = "it reads the same bytes and clears the same list";
    row.target = target;
    row.is_quick = true;
    row.prepare = [count, members] {
        const auto records = std::make_shared<Records>(count, members);
        return Sides{[library = Library::open(), records] { return library->seconds(*records); },
                     [loop = std::make_shared<Bare_Loop>(), records] { return loop->seconds(*records); }};
    };
    return row;
}

} // namespace

std::vector<Row> event_rows() {
    return {event_row("events of 1 member", 1, Members::Of_Whole_Nodes, 0.95),
            event_row("events of 16 members", 16, Members::Of_Whole_Nodes, 0.95),
            event_row("events of 1,000 members in a row", 1000, Members::Of_Whole_Nodes, 0.85),
            event_row("events of 1,000 members on 1,000 nodes", 1000, Members::Of_One_Network, 0.75)};
}

std::vector<Growth> event_growth() {
    return {{"event", "16 members", Cost::processor_time, [](int size) {
                 const auto records = std::make_shared<Records>(16 * size, Members::Of_Whole_Nodes);
                 return [library = Library::open(), records] { return library->seconds(*records); };
             }}};
}
