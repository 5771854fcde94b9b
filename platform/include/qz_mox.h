/* SPDX-License-Identifier: Apache-2.0 */
/*
 * qz_mox.h - the cluster-awareness service and its event-notification file system (ORBFS), libqz_mox.so
 *
 * The service knows the cluster's nodes, network interfaces and sites, and reports each change of them as an
 * event. libqz_mox.so connects programs to it: a service installs itself as a table of functions, and every
 * call below goes directly to the installed table. Without an installed service, every query returns -1. The
 * program that reads the events is called the reader; in practice it is the heartbeat client library.
 *
 * Conventions
 *   - The interface is for C99 and C++. This library itself throws nothing.
 *   - A query returns 0 on success. If no service is installed, or the function is null in its table, a query
 *     returns -1 and changes neither errno nor the caller's memory. A release then does nothing. Any other
 *     result and errno come from the service unchanged.
 *   - `cluster_name` null means the default cluster.
 *   - Lists and records that a query returns belong to the service. The caller releases them as a whole with
 *     the matching release function. A null argument goes to the service like any other argument.
 *   - Strings end in NUL. A null string means that the service does not know it.
 *   - The order of fields is fixed. With 32-bit pointers, sizes and offsets are part of the interface: 64-bit
 *     integers and UUIDs are 4-aligned, and records have no hidden padding except after `hwaddr`.
 *   - Enumerated values are plain 32-bit integers. A value that is not listed here is passed through unchanged.
 *   - Calls may come from any thread. Another thread may be inside a call while a service is installed or
 *     removed. Only the service can decide when it can free its table.
 */
#ifndef QZ_MOX_H
#define QZ_MOX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ---- Values ------------------------------------------------------------------------------------------- */

/* Event categories: the kind of record in an event, and the kind of event that a reader requests. */
typedef int32_t qz_orb_event_category_t;
enum {
    QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS = 0,
    QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS = 1,
    QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS = 2,
    QZ_ORB_EVENT_CATEGORY_NODE_CFG = 3,
    QZ_ORB_EVENT_CATEGORY_ADDR_CFG = 4,
    QZ_ORB_EVENT_CATEGORY_IP_CHANGE = 5,
    QZ_ORB_EVENT_CATEGORY_NODE_LIST = 6,
    QZ_ORB_EVENT_CATEGORY_REPOS_DISK = 7,
    QZ_ORB_EVENT_CATEGORY_SITE_CFG = 8,
    QZ_ORB_EVENT_CATEGORY_CAP_UP = 9
};

/* The category of cluster reconfigurations. Request it from the monitor "cluster_reconfig". The events of that
 * monitor have this category, too, and their record is p_cluster_reconfig. */
#define QZ_ORB_MONITOR_CLUSTER_RECONFIG 100

/* Event types: the change that an event reports. */
typedef int32_t qz_orb_event_type_t;
enum {
    QZ_ORB_EVENT_DOWN = 0,
    QZ_ORB_EVENT_UP = 1,
    QZ_ORB_EVENT_ADD = 2,
    QZ_ORB_EVENT_DELETE = 3,
    QZ_ORB_ADDRESS_ADD = 4,
    QZ_ORB_ADDRESS_DELETE = 5,
    QZ_ORB_ADDRESS_CHG = 6,
    QZ_ORB_SITE_ADD = 7,
    QZ_ORB_SITE_DELETE = 8,
    QZ_ORB_SITE_UP = 9,
    QZ_ORB_SITE_DOWN = 10,
    QZ_ORB_SITE_MODIFY = 11,
    QZ_ORB_SITE_MERGE = 12,
    QZ_ORB_CAP_UP = 13
};

/* The reason of a site event. */
typedef int32_t qz_orb_site_reason_t;
enum { QZ_ORB_SITE_REASON_LINK_DOWN = 0, QZ_ORB_SITE_REASON_RESYNC_SITES = 1 };

typedef int32_t qz_mox_node_status_t;
enum { QZ_MOX_NODE_STATUS_UNDEF = -1, QZ_MOX_NODE_STATUS_DOWN = 0, QZ_MOX_NODE_STATUS_UP = 1 };

typedef int32_t qz_mox_intf_status_t;
enum { QZ_MOX_INTF_STATUS_UNDEF = -1, QZ_MOX_INTF_STATUS_DOWN = 0, QZ_MOX_INTF_STATUS_UP = 1 };

typedef int32_t qz_mox_devtype_t;
enum { QZ_MOX_DEVTYPE_UNSUPPORTED = 0, QZ_MOX_DEVTYPE_ETHER = 1, QZ_MOX_DEVTYPE_TOKENRING = 800 };

/* What a configuration change did to a node or an interface. */
typedef int32_t qz_mox_cfg_chg_op_t;
enum {
    QZ_MOX_CFG_OP_UNDEF = -1,
    QZ_MOX_CFG_OP_ADD = 0,
    QZ_MOX_CFG_OP_DEL = 1,
    QZ_MOX_CFG_OP_CHG = 2,
    QZ_MOX_CFG_OP_IGNORE = 3
};

/* The policy by which the parts of a split cluster merge again. */
typedef int32_t qz_mox_site_policy_t;
enum { QZ_MOX_SITE_POLICY_PRIORITY = 1, QZ_MOX_SITE_POLICY_HEURISTIC = 2, QZ_MOX_SITE_POLICY_MANUAL = 3 };

typedef int32_t qz_mox_site_status_t;
enum { QZ_MOX_SITE_STATUS_UNDEF = -1, QZ_MOX_SITE_STATUS_DOWN = 0, QZ_MOX_SITE_STATUS_UP = 1 };

typedef int32_t qz_mox_site_merge_flag_t;
enum {
    QZ_MOX_SITE_MERGE_FLAG_NOPER_PENDING = 1,
    QZ_MOX_SITE_MERGE_FLAG_MERGE_PENDING = 2,
    QZ_MOX_SITE_MERGE_FLAG_RBOOT_PENDING = 3
};

/* ---- Parts of records --------------------------------------------------------------------------------- */

/* 128-bit identifier, 4-aligned in every ABI. `high` and `low` may be misaligned for a uint64_t: do not use
 * their addresses; copy the values. */
typedef struct qz_mox_uuid {
    uint64_t high;
    uint64_t low;
} __attribute__((packed, aligned(4))) qz_mox_uuid_t;

/* An IPv4 address in the form of an IPv6 address, as ::ffff:a.b.c.d. The last filler word is htonl(0xFFFF), as
 * in the heartbeat daemon's addresses. The heartbeat client library compares all 16 bytes, so it considers an
 * IPv4 address in another form a different address. */
typedef struct qz_mox_v4_in_v6 {
    uint32_t filler[3];
    uint32_t v4_in_v6_ipv4; /* network order */
} qz_mox_v4_in_v6_t;

/* A 16-byte address or netmask, network order. */
typedef union qz_mox_IP_address6 {
    uint8_t v6[16];
    qz_mox_v4_in_v6_t v4;
} qz_mox_IP_address6_t;

/* A hardware address. */
typedef struct qz_mox_hwaddr {
    uint8_t ieee802mac[6];
} qz_mox_hwaddr_t;

/* ---- Query results ------------------------------------------------------------------------------------ */

/* The cluster. */
typedef struct qz_mox_cluster_info {
    uint32_t local_node_number;
    char *p_cluster_name;
    char cluster_id[64];
    qz_mox_uuid_t uuid;
    uint32_t cluster_shid;
    uint32_t cluster_type;
} qz_mox_cluster_info_t;

/* A node, one entry of a list that ends in a null `p_next`. */
typedef struct qz_mox_node_info {
    uint32_t number;
    qz_mox_uuid_t id;
    char *p_name;
    qz_mox_node_status_t status;
    qz_mox_uuid_t site_id;
    uint32_t site_number;
    qz_mox_cfg_chg_op_t cfg_op;
    struct qz_mox_node_info *p_next;
} qz_mox_node_info_t;

/* A network interface, one entry of a list that ends in a null `p_next`. */
typedef struct qz_mox_net_intf_info {
    uint32_t node_number;
    char *p_name;
    qz_mox_IP_address6_t ip_addr;
    qz_mox_IP_address6_t netmask;
    uint64_t flags;
    qz_mox_devtype_t type;
    qz_mox_hwaddr_t hwaddr;
    uint8_t hwaddr_padding[2];
    qz_mox_intf_status_t status;
    uint32_t cfg_op; /* a qz_mox_cfg_chg_op_t, stored unsigned */
    void *caller_data;
    struct qz_mox_net_intf_info *p_next;
} qz_mox_net_intf_info_t;

/* A site. */
typedef struct qz_mox_site_info {
    uint32_t site_number;
    qz_mox_uuid_t site_id;
    char *p_name;
    qz_mox_site_policy_t site_policy;
    uint32_t site_priority;
    qz_mox_site_status_t status;
    qz_mox_site_merge_flag_t merge_flag;
    uint32_t nodes_up;
    struct qz_mox_site_info *p_next;
} qz_mox_site_info_t;

/* ---- Event records ------------------------------------------------------------------------------------ */

typedef struct qz_orb_event_node_liveness {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
} qz_orb_event_node_liveness_t;

typedef struct qz_orb_event_adapter_liveness {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
    char *p_interface_name;
} qz_orb_event_adapter_liveness_t;

typedef struct qz_orb_event_process_liveness {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    char *p_command_name;
} qz_orb_event_process_liveness_t;

typedef struct qz_orb_event_cluster_reconfig {
    uint64_t sequence_number;
    uint32_t reason_number;
} qz_orb_event_cluster_reconfig_t;

/* One entry of a list that ends in a null `next`. */
typedef struct qz_orb_event_node_cfg {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
    char *node_name;
    struct qz_orb_event_node_cfg *next;
} qz_orb_event_node_cfg_t;

/* One entry of a list that ends in a null `next`. Address and netmask are strings. */
typedef struct qz_orb_event_addr_cfg {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
    char *intf_name;
    char *ipaddr;
    char *netmask;
    struct qz_orb_event_addr_cfg *next;
} qz_orb_event_addr_cfg_t;

typedef struct qz_orb_event_ip_change {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
    char *p_interface_name;
    qz_mox_IP_address6_t ip_addr;
} qz_orb_event_ip_change_t;

typedef struct qz_orb_event_node_list {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    uint32_t reason_number;
} qz_orb_event_node_list_t;

typedef struct qz_orb_event_repos_disk {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t sequence_number;
    char *disk_name;
} qz_orb_event_repos_disk_t;

/* One entry of a list that ends in a null `next`. */
typedef struct qz_orb_event_site_cfg {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    qz_mox_uuid_t node_id;
    uint32_t site_number;
    qz_mox_uuid_t site_id;
    qz_mox_uuid_t cluster_id;
    uint64_t sequence_number;
    uint32_t reason_number;
    uint32_t site_priority;
    uint32_t site_policy; /* a qz_mox_site_policy_t, stored unsigned */
    uint32_t num_local_node_up;
    uint32_t num_remote_node_up;
    qz_orb_site_reason_t event_reason;
    char *node_name;
    char *site_name;
    struct qz_orb_event_site_cfg *next;
} qz_orb_event_site_cfg_t;

typedef struct qz_orb_event_cap_up {
    qz_orb_event_type_t event_type;
    uint32_t node_number;
    uint64_t node_id;
    uint64_t clust_id;
    uint64_t sequence_number;
    uint32_t reason_number;
} qz_orb_event_cap_up_t;

/* An event: its category, and a pointer to the record of that category. The record belongs to the service
 * until qz_orb_release_event(). */
typedef struct qz_orb_event_metadata {
    qz_orb_event_category_t category;
    union {
        qz_orb_event_node_liveness_t *p_node_liveness;
        qz_orb_event_adapter_liveness_t *p_adapter_liveness;
        qz_orb_event_process_liveness_t *p_process_liveness;
        qz_orb_event_cluster_reconfig_t *p_cluster_reconfig;
        qz_orb_event_node_cfg_t *p_node_cfg;
        qz_orb_event_addr_cfg_t *p_addr_cfg;
        qz_orb_event_ip_change_t *p_ip_change;
        qz_orb_event_node_list_t *p_node_list;
        qz_orb_event_site_cfg_t *p_site_cfg;
        qz_orb_event_cap_up_t *p_cap_up;
        qz_orb_event_repos_disk_t *p_repos_disk;
    } event;
} qz_orb_event_metadata_t;

/* ---- Queries ------------------------------------------------------------------------------------------ */

/* Returns the record of the cluster. Release it with qz_mox_release_cluster_info(). */
int qz_mox_get_cluster_info(const char *cluster_name, qz_mox_cluster_info_t **info);

/* Return all nodes, as they are now or as they were just after `event`. Release them with
 * qz_mox_release_node_info(). If events about a node are unread, these and the next queries return the state
 * that the reader already knows: see "The duties of a service" below. */
int qz_mox_get_node_info(const char *cluster_name, qz_mox_node_info_t **list);
int qz_mox_get_node_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                     qz_mox_node_info_t **list);

/* Return all network interfaces of all nodes, as they are now or as they were just after `event`. Release them
 * with qz_mox_release_net_intf_info(). */
int qz_mox_get_net_intf_info(const char *cluster_name, qz_mox_net_intf_info_t **list);
int qz_mox_get_net_intf_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                         qz_mox_net_intf_info_t **list);

/* Return the local node's identifier, its site, and the cluster's merge policy (a qz_mox_site_policy_t). In the
 * site `p_next` is null, and `p_name` belongs to the service. Nothing needs to be released. */
int qz_mox_get_local_node_uuid(const char *cluster_name, qz_mox_uuid_t *uuid);
int qz_mox_get_local_site_info(const char *cluster_name, qz_mox_site_info_t *site);
int qz_mox_get_site_merge_policy(const char *cluster_name, int *policy);

/* Release the result of a query. */
void qz_mox_release_cluster_info(qz_mox_cluster_info_t *info);
void qz_mox_release_node_info(qz_mox_node_info_t *list);
void qz_mox_release_net_intf_info(qz_mox_net_intf_info_t *list);

/* ---- Events ------------------------------------------------------------------------------------------- */

/* Opens the monitor `fname`. Sets *fd to a descriptor that is readable while events are pending. The caller
 * closes it. Monitors: "node_liveness", "adapter_liveness", "node_list", "peer_gs_liveness", "ip_change",
 * "cluster_reconfig", "site_cfg" and "repos_disk". */
int qz_orb_open_monitor(const char *fname, int *fd);

/* Reads one event of `category` from a monitor's descriptor. Returns 0 with *event filled, -16 if no event is
 * pending for this reader, or any other value on failure. qz_orb_release_event() releases a filled event. */
int qz_orb_read_event(int fd, int category, qz_orb_event_metadata_t *event);
void qz_orb_release_event(qz_orb_event_metadata_t *event);

/* ---- The duties of a service -------------------------------------------------------------------------- */

/* A reader may read the monitors in any order. At an event of any category it may rebuild its view from the
 * queries and compare the new view with the old view. The comparison finds nodes and interfaces that joined or
 * left, changed addresses, and changed states of interfaces. It does not find a changed state of a node in both
 * views: only the node's own event reports that change. If a query returned the new state before that event is
 * read, the reader would not detect the change. The rules are therefore:
 *
 *   - Every query returns the last reported state of a node or interface with unread liveness events. That
 *     state is the result of the last event read, or the state before the first unread event. The rule applies
 *     to the status of the node and of its interfaces, in the node list and in the interface list.
 *   - After an event is read, every query returns the state of that event, including the queries "after an
 *     event". After the last event is read, they return the current state.
 *   - An event counts as reported only after it was read. Queries never remove unread events. This also applies
 *     while a program prepares a migration to the service, and if the preparation fails.
 *   - A node's liveness event also reports its interfaces. While that event is unread, the service discards
 *     their own unread liveness events and adds no new ones. A reader would otherwise read them later and undo
 *     the node's event.
 *   - A node joins the configuration with a status, and its liveness events report the changes of that status.
 *     They become readable after the event that adds the node was read, so that its death follows its join.
 *     When a node leaves the configuration, the service discards its unread liveness events: the removal itself
 *     reports the death.
 *   - A new configuration may be visible at once. Each changed state of a remaining node or interface has its
 *     own liveness event. */

/* ---- Installing a service ----------------------------------------------------------------------------- */

/* One function for each call above. A null entry means that the service does not support the call. */
typedef struct qz_mox_service {
    int (*get_cluster_info)(const char *cluster_name, qz_mox_cluster_info_t **info);
    int (*get_node_info)(const char *cluster_name, qz_mox_node_info_t **list);
    int (*get_node_info_after_event)(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                     qz_mox_node_info_t **list);
    int (*get_net_intf_info)(const char *cluster_name, qz_mox_net_intf_info_t **list);
    int (*get_net_intf_info_after_event)(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                         qz_mox_net_intf_info_t **list);
    int (*get_local_node_uuid)(const char *cluster_name, qz_mox_uuid_t *uuid);
    int (*get_local_site_info)(const char *cluster_name, qz_mox_site_info_t *site);
    int (*get_site_merge_policy)(const char *cluster_name, int *policy);
    void (*release_cluster_info)(qz_mox_cluster_info_t *info);
    void (*release_node_info)(qz_mox_node_info_t *list);
    void (*release_net_intf_info)(qz_mox_net_intf_info_t *list);
    int (*open_monitor)(const char *fname, int *fd);
    int (*read_event)(int fd, int category, qz_orb_event_metadata_t *event);
    void (*release_event)(qz_orb_event_metadata_t *event);
} qz_mox_service_t;

/* Installs a service for this process and replaces any other; null removes the service. At start no service is
 * installed. The table is not copied: it must not change until it is replaced or removed. */
void qz_mox_install_service(const qz_mox_service_t *service);

/* Returns 1 while a service is installed, or else 0. */
int qz_mox_service_present(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
