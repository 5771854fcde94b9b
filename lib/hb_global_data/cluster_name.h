// The cluster's name in cluster-event mode.
#ifndef HB_CLUSTER_NAME_H
#define HB_CLUSTER_NAME_H

extern char *orbfs_cluster_name; // from new[]; null until known

#endif
