// The cluster's name as cluster-event mode knows it.
#ifndef HB_CLUSTER_NAME_H
#define HB_CLUSTER_NAME_H

extern char *orbfs_cluster_name; // new[], null until known

#endif
