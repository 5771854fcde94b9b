// SPDX-License-Identifier: Apache-2.0
#include "providers/corosync/cpg_peer_group.h"

#include <stdexcept>
#include <utility>

#include <corosync/cpg.h>

#include "engine/engine.h"
#include "host/text.h"

namespace mox_corosync {
namespace {

constexpr const char *GROUP = "hb_client.peers.";

void require(cs_error_t result, const char *what) {
    if (result != CS_OK) {
        throw wispd::Engine_Gone(wispd::text("Corosync: ", what, " failed with ", cs_strerror(result)));
    }
}

class Cpg_Peer_Group : public Peer_Group {
  public:
    explicit Cpg_Peer_Group(const cpg_name &name) {
        cpg_model_v1_data_t model{};
        model.model = CPG_MODEL_V1;
        model.cpg_confchg_fn = on_change;
        require(
            cpg_model_initialize(&handle_, CPG_MODEL_V1, reinterpret_cast<cpg_model_data_t *>(&model), this),
            "opening the process groups");
        try {
            require(cpg_join(handle_, &name), "joining the peer group");
            require(cpg_fd_get(handle_, &descriptor_), "waiting for the peer group");
        } catch (...) {
            cpg_finalize(handle_);
            throw;
        }
    }
    ~Cpg_Peer_Group() override { cpg_finalize(handle_); }

    int descriptor() const override { return descriptor_; }
    std::vector<Peers> dispatch() override {
        require(cpg_dispatch(handle_, CS_DISPATCH_ALL), "reading peer notifications");
        return std::exchange(seen_, {});
    }

  private:
    static void on_change(cpg_handle_t handle, const cpg_name *, const cpg_address *members, std::size_t count,
                          const cpg_address *left, std::size_t left_count, const cpg_address *, std::size_t) {
        void *context = nullptr;
        if (cpg_context_get(handle, &context) != CS_OK) {
            return;
        }
        Peers peers;
        for (std::size_t i = 0; i < count; ++i) {
            peers.present.insert(members[i].nodeid);
        }
        for (std::size_t i = 0; i < left_count; ++i) {
            if (left[i].reason == CPG_REASON_NODEDOWN) {
                peers.left_with_node.insert(left[i].nodeid);
            }
        }
        static_cast<Cpg_Peer_Group *>(context)->seen_.push_back(std::move(peers));
    }

    cpg_handle_t handle_{};
    int descriptor_ = -1;
    std::vector<Peers> seen_;
};

} // namespace

Peer_Join join_peers_called(const std::string &name) {
    const std::string whole = GROUP + name;
    cpg_name group{};
    if (whole.size() >= sizeof group.value) {
        throw std::invalid_argument(
            wispd::text("the peer group's name has ", name.size(), " characters; at most ",
                        sizeof group.value - 1 - std::string(GROUP).size(), " are permitted"));
    }
    whole.copy(group.value, whole.size());
    group.length = static_cast<decltype(group.length)>(whole.size());
    return [group] { return std::make_unique<Cpg_Peer_Group>(group); };
}

} // namespace mox_corosync
