// SPDX-License-Identifier: Apache-2.0
// Stands between a watch and its daemon, and damages what passes: it cuts connections at any byte, carries nothing,
// and drops, doubles or exchanges events. It knows only the framing of records.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "tests/support/bytes.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

class Link_Proxy {
  public:
    explicit Link_Proxy(const std::string &daemon);
    Link_Proxy(const Link_Proxy &) = delete;
    Link_Proxy &operator=(const Link_Proxy &) = delete;
    ~Link_Proxy();

    const std::string &path() const { return path_; }

    // Ends the connection after that many more bytes to the client. Without a connection, this applies to the next.
    void cut_after(std::size_t bytes);
    // Each applies to the next events. Replies pass.
    void drop(unsigned events);
    void duplicate(unsigned events);
    void swap(); // the next event and the one behind it
    // Sends a record to the client, between two records.
    void insert(const Bytes &record);
    // Carries nothing in either direction, and lets the connections open.
    void hold(bool on);
    // Has no listening socket; ends the connections.
    void refuse(bool on);
    // Carries one byte at a time to the client.
    void trickle(bool on);
    // Ends every order above, so that all that comes passes.
    void be_transparent();

    unsigned connections() const;

  private:
    struct Orders {
        std::optional<std::size_t> cut_after;
        unsigned drop = 0;
        unsigned duplicate = 0;
        unsigned swap = 0;
        Bytes insert;
        bool hold = false;
        bool refuse = false;
        bool trickle = false;
        bool stop = false;
    };
    struct Pair {
        Unique_Fd client;
        Unique_Fd daemon;
        Bytes from_daemon; // not a whole record yet
        Bytes to_client;
        Bytes to_daemon;
        Bytes held; // an event that the next one overtakes
        bool daemon_ended = false;
    };

    void listen_here();
    void serve();
    Orders orders() const;
    void change(const std::function<void(Orders &)> &how);
    void accept_all();
    bool carry(Pair &pair, bool trickle);
    void take_records(Pair &pair);
    void pass(Pair &pair, const Bytes &record);
    bool write_to_client(Pair &pair, bool trickle);

    Temp_Dir directory_;
    std::string path_ = directory_.file("p");
    std::string daemon_;
    Unique_Fd listener_;
    Unique_Fd wake_;
    std::list<Pair> pairs_;
    mutable std::mutex mutex_;
    Orders orders_;
    unsigned connections_ = 0;
    std::thread thread_;
};

} // namespace hb_test
