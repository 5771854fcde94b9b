// SPDX-License-Identifier: Apache-2.0
// The cluster service over a fake Corosync engine, used as the library uses it.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "providers/corosync/corosync_peers.h"
#include "tests/unit/followed_service/service_fixture.h"
#include "tests/unit/wispd/fake_corosync.h"

namespace hb_test {

class Corosync_Service_Test : public Followed_Service_Test {
  protected:
    // The service's engine uses the cluster, which this class owns.
    ~Corosync_Service_Test() override { stop(); }
    // Nodes 1 to 3 on two links. Every check includes the links.
    void start(std::optional<mox_corosync::Peer_Settings> peers = std::nullopt,
               std::chrono::milliseconds grace = std::chrono::seconds(100),
               std::chrono::milliseconds poll = std::chrono::milliseconds(0));

    // Changes of the cluster.
    void node_dies(uint32_t node);
    void node_returns(uint32_t node); // with a higher count
    void link(uint32_t node, int number, bool connected);
    void link_flaps(uint32_t node, int number);
    void engine_ends();

    std::unique_ptr<wispd_test::Fake_Cluster> cluster_ = wispd_test::Fake_Cluster::of_three();
    wispd_test::Fake_Interfaces::Cables cables_;
};

} // namespace hb_test
