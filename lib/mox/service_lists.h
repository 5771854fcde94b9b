// What the cluster service's queries return, owned: each list goes back to the service on every path.
#ifndef MOX_SERVICE_LISTS_H
#define MOX_SERVICE_LISTS_H

#include <memory>

#include "lib/base/errno_keeper.h"
#include "lib/base/uncancelled.h"
#include "lib/hb_global_data/cluster_name.h"
#include "qz_mox.h"

// What a service does to release a list shows neither in errno nor by a cancellation.
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

// A node or interface that leaves the configuration stands in the service's answer for the last time. It is no part
// of a table or a group any more.
template <typename Record> bool MOX_is_leaving(const Record &info) {
    return info.cfg_op == static_cast<decltype(info.cfg_op)>(QZ_MOX_CFG_OP_DEL);
}

template <typename Record> using MOX_Owned = std::unique_ptr<Record, MOX_Release>;

// Runs `query` with a place for its list, which is then owned. Gives the query's result.
template <typename Record, typename Query> int MOX_query(MOX_Owned<Record> &list, Query query) {
    Record *given = nullptr;
    const int result = query(&given);
    if (result == 0) {
        list.reset(given);
    }
    return result;
}

#endif
