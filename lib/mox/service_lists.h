// SPDX-License-Identifier: Apache-2.0
// Owns the lists that queries of the cluster service return: each list is released on every path.
#pragma once

#include <memory>

#include "lib/base/errno_keeper.h"
#include "lib/base/uncancelled.h"
#include "lib/hb_global_data/cluster_name.h"
#include "qz_mox.h"

// Releasing a list changes neither errno nor can it be cancelled.
struct MOX_Release {
    void operator()(qz_mox_cluster_info_t *info) const { release(qz_mox_release_cluster_info, info); }
    void operator()(qz_mox_node_info_t *list) const { release(qz_mox_release_node_info, list); }
    void operator()(qz_mox_net_intf_info_t *list) const { release(qz_mox_release_net_intf_info, list); }

  private:
    template <typename Record> static void release(void (*back)(Record *), Record *record) {
        const Hb_Errno_Keeper kept;
        const Hb_Uncancelled guard;
        back(record);
    }
};

// The service still lists a node or interface that is being removed, for the last time. It no longer belongs
// to a table or a group.
template <typename Record> bool MOX_is_leaving(const Record &info) {
    return info.cfg_op == static_cast<decltype(info.cfg_op)>(QZ_MOX_CFG_OP_DEL);
}

template <typename Record> using MOX_Owned = std::unique_ptr<Record, MOX_Release>;

// Runs `query`, owns the list that it returns, and returns its result.
template <typename Record, typename Query> int MOX_query(MOX_Owned<Record> &list, Query query) {
    Record *given = nullptr;
    const int result = query(&given);
    if (result == 0) {
        list.reset(given);
    }
    return result;
}
