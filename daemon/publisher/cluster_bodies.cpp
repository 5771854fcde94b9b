// SPDX-License-Identifier: Apache-2.0
#include "daemon/publisher/cluster_bodies.h"

namespace wispd {

const Body &Cluster_Bodies::snapshot() {
    if (!snapshot_) {
        snapshot_ = encode_snapshot(cluster_);
    }
    return snapshot_;
}

const std::vector<Adapter_Member> &Cluster_Bodies::adapters_up() {
    if (!adapters_up_) {
        adapters_up_ = cluster_.adapters_up();
    }
    return *adapters_up_;
}

const Body &Cluster_Bodies::all_adapters_up() {
    if (!all_adapters_up_) {
        all_adapters_up_ = encode_adapter_members(adapters_up());
    }
    return all_adapters_up_;
}

void Cluster_Bodies::forget() {
    snapshot_.reset();
    adapters_up_.reset();
    all_adapters_up_.reset();
}

} // namespace wispd
