// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/corosync_service/service_fixture.h"

namespace hb_test {

void Corosync_Service_Test::start(std::optional<mox_corosync::Peer_Settings> peers,
                                  std::chrono::milliseconds grace, std::chrono::milliseconds poll) {
    const wispd::Corosync_Settings settings{{}, {poll, grace}};
    auto follower = std::make_unique<wispd::Corosync_Follower>(
        settings, [this] { return std::make_unique<wispd_test::Fake_Corosync>(*cluster_); },
        std::make_unique<wispd_test::Fake_Interfaces>(cables_));
    service_ = std::make_unique<mox_followed::Followed_Service>(
        std::move(follower),
        peers ? std::make_unique<mox_corosync::Corosync_Peers>(std::move(*peers)) : nullptr);
}

void Corosync_Service_Test::node_dies(uint32_t node) {
    wispd::Corosync_Members members = cluster_->members;
    members.erase(node);
    cluster_->tell_members(members);
}

void Corosync_Service_Test::node_returns(uint32_t node) {
    wispd::Corosync_Members members = cluster_->members;
    const auto before = members.find(node);
    members[node] = before == members.end() ? 7 : before->second + 1;
    cluster_->tell_members(members);
}

void Corosync_Service_Test::link(uint32_t node, int number, bool connected) {
    cluster_->links[{node, number}].connected = connected;
}

void Corosync_Service_Test::link_flaps(uint32_t node, int number) {
    ++cluster_->links[{node, number}].times_down;
}

void Corosync_Service_Test::engine_ends() {
    cluster_->runs = false;
    cluster_->bell.ring();
}

} // namespace hb_test
