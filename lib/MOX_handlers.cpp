#include "lib/MOX_handlers.h"

#include "lib/hb_global_data/cluster_name.h"

ORBFSHandler *node_liveness_handler_p = nullptr;
ORBFSHandler *adapter_event_handler_p = nullptr;
ORBFSPipeHandler *new_group_event_handler_p = nullptr;
ORBFSHandler *cluster_reconfig_handler_p = nullptr;
ORBFSPipeHandler *event_pipe_handler_p = nullptr;
ORBFSHandler *peer_GS_liveness_handler_p = nullptr;
ORBFSHandler *ip_change_handler_p = nullptr;
ORBFSHandler *node_list_handler_p = nullptr;
ORBFSHandler *site_config_handler_p = nullptr;

namespace {

template <typename Handler> void drop(Handler *&handler) {
    delete handler;
    handler = nullptr;
}

} // namespace

void MOX_delete_global_event_handlers() {
    delete[] orbfs_cluster_name;
    orbfs_cluster_name = nullptr;
    drop(node_liveness_handler_p);
    drop(adapter_event_handler_p);
    drop(new_group_event_handler_p);
    drop(cluster_reconfig_handler_p);
    drop(event_pipe_handler_p);
    drop(peer_GS_liveness_handler_p);
    drop(ip_change_handler_p);
    drop(node_list_handler_p);
    drop(site_config_handler_p);
}
