// SPDX-License-Identifier: Apache-2.0
// Prints which nodes die and join, from a program on Asio. Its other work continues meanwhile. Here it counts the nodes that
// are up, every INTERVAL milliseconds: asio_watch [INTERVAL; default 1000].
#include <cstdio>
#include <cstdlib>

#include <asio.hpp>

#include "hb_client.hpp"

class Watch {
  public:
    // Asio waits on the watcher's descriptor. It stays the same, through every loss of contact.
    Watch(asio::io_context &context, hb::watcher watcher)
        : watcher_(std::move(watcher)), descriptor_(context, watcher_.descriptor()) {
        wait();
    }
    ~Watch() { descriptor_.release(); }

    void count() const {
        int up = 0;
        for (const hb::node_number node : watcher_.nodes()) {
            up += watcher_.node_state(node) == hb::entity_state::up ? 1 : 0;
        }
        std::printf("%d nodes are up%s\n", up, watcher_.is_current() ? "" : ", as far as known");
    }

  private:
    void wait() {
        descriptor_.async_wait(asio::posix::descriptor::wait_read, [this](const asio::error_code &failure) {
            if (!failure) {
                while (const std::optional<hb::report> report = watcher_.next()) {
                    show(*report);
                }
                wait();
            }
        });
    }

    static void show(const hb::report &report) {
        if (const auto *died = std::get_if<hb::reports::node_died>(&report))
            std::printf("node %d died\n", died->node);
        if (const auto *joined = std::get_if<hb::reports::node_joined>(&report))
            std::printf("node %d joined\n", joined->node);
    }

    hb::watcher watcher_;
    asio::posix::stream_descriptor descriptor_;
};

int main(int argc, char **argv) {
    const std::chrono::milliseconds interval(argc > 1 ? std::atoi(argv[1]) : 1000);
    asio::io_context context;
    Watch watch(context, hb::watcher::open().value());
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    for (;;) {
        context.run_for(interval);
        watch.count();
    }
}
