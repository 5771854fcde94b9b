// SPDX-License-Identifier: Apache-2.0
// An engine and interfaces that a test controls.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cluster/address.h"
#include "engine/corosync/corosync.h"
#include "engine/corosync/corosync_follower.h"
#include "engine/corosync/local_interfaces.h"

namespace wispd_test {

// A descriptor that can be made readable.
class Bell {
  public:
    Bell() = default;
    Bell(const Bell &) = delete;
    Bell &operator=(const Bell &) = delete;
    ~Bell() { close(fd_); }

    int descriptor() const { return fd_; }
    void ring() const { eventfd_write(fd_, 1); }
    void silence() const {
        eventfd_t count = 0;
        eventfd_read(fd_, &count);
    }

  private:
    int fd_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

// The state of a test's engine. The test owns it, and each connection reads it.
struct Fake_Cluster {
    std::mutex mutex; // held while the engine answers; a test that holds it longer blocks the engine
    bool runs = true;
    int connections = 0;
    int connections_open = 0;
    int looks_at_links = 0;
    int counts_of_joins = 0;
    wispd::Corosync_Members counted; // join counts that differ from the reported ones
    wispd::Corosync_Configuration configuration;
    wispd::Corosync_Members members;
    wispd::Corosync_Links links;
    wispd::Corosync_News news;
    Bell bell;
    std::function<void()> on_configuration; // called after it has been read

    // Nodes 1 to 3 on links 0 and 1, all up; node 1 is the local node.
    static std::unique_ptr<Fake_Cluster> of_three() {
        auto cluster = std::make_unique<Fake_Cluster>();
        cluster->configuration = {"test",
                                  1,
                                  {{1, "one", {{0, "10.1.0.1"}, {1, "10.2.0.1"}}},
                                   {2, "two", {{0, "10.1.0.2"}, {1, "10.2.0.2"}}},
                                   {3, "three", {{0, "10.1.0.3"}, {1, "10.2.0.3"}}}}};
        cluster->members = {{1, 1}, {2, 1}, {3, 1}};
        for (const uint32_t node : {2U, 3U}) {
            for (const int link : {0, 1}) {
                cluster->links[{node, link}] = {true, 0};
            }
        }
        return cluster;
    }

    void tell_members(const wispd::Corosync_Members &now) {
        members = now;
        news.membership = true;
        bell.ring();
    }
    void tell_reload() {
        news.configuration = true;
        bell.ring();
    }
};

class Fake_Corosync : public wispd::Corosync {
  public:
    explicit Fake_Corosync(Fake_Cluster &cluster) : cluster_(cluster) {
        const std::lock_guard lock(cluster_.mutex);
        ++cluster_.connections;
        check();
        ++cluster_.connections_open;
    }
    ~Fake_Corosync() override {
        const std::lock_guard lock(cluster_.mutex);
        --cluster_.connections_open;
    }

    std::vector<int> descriptors() const override { return {cluster_.bell.descriptor()}; }
    wispd::Corosync_News dispatch() override {
        const std::lock_guard lock(cluster_.mutex);
        check();
        cluster_.bell.silence();
        return std::exchange(cluster_.news, {});
    }
    wispd::Corosync_Configuration configuration() override {
        const std::lock_guard lock(cluster_.mutex);
        check();
        const wispd::Corosync_Configuration read = cluster_.configuration;
        if (cluster_.on_configuration) {
            std::function<void()>(cluster_.on_configuration)();
        }
        return read;
    }
    wispd::Corosync_Members members() override {
        const std::lock_guard lock(cluster_.mutex);
        check();
        return cluster_.members;
    }
    wispd::Corosync_Members count_joins() override {
        const std::lock_guard lock(cluster_.mutex);
        check();
        ++cluster_.counts_of_joins;
        return cluster_.counted.empty() ? cluster_.members : cluster_.counted;
    }
    wispd::Corosync_Links links(const wispd::Corosync_Configuration &) override {
        const std::lock_guard lock(cluster_.mutex);
        check();
        ++cluster_.looks_at_links;
        return cluster_.links;
    }

  private:
    void check() const {
        if (!cluster_.runs) {
            throw wispd::Engine_Gone("it does not run");
        }
    }

    Fake_Cluster &cluster_;
};

// Carries every address except those that were cut.
class Fake_Interfaces : public wispd::Local_Interfaces {
  public:
    struct Cables {
        std::map<std::string, bool> cut;
        Bell bell;
    };

    explicit Fake_Interfaces(Cables &cables) : cables_(cables) {}

    int descriptor() const override { return cables_.bell.descriptor(); }
    void dispatch() override { cables_.bell.silence(); }
    bool carries(const Hb_IP_address6 &address) const override {
        const auto found = cables_.cut.find(wispd::address_text(address));
        return found == cables_.cut.end() || !found->second;
    }

  private:
    Cables &cables_;
};

} // namespace wispd_test
