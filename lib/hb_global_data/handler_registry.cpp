#include "lib/hb_global_data/handler_registry.h"

char *orbfs_cluster_name = nullptr;

void MOX_delete_global_event_handlers() {
    delete[] orbfs_cluster_name;
    orbfs_cluster_name = nullptr;
}
