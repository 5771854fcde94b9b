/*
 * qz_mox.h - the cluster-awareness service and its event-notification file system (ORBFS), libqz_mox.so
 *
 * The service knows the cluster's nodes, network interfaces and sites, and reports each change of them as an
 * event. This library is the seam to it: whoever has a service installs it as a table of functions, and every
 * call below goes straight to the installed table. On a platform without one nothing is installed, and every
 * query reports -1.
 *
 * Conventions
 *   - C99 and C++; nothing here throws of its own accord.
 *   - A query gives 0 on success. While no service is installed, or the installed table leaves the function
 *     out (null), a query gives -1 and touches neither errno nor the caller's memory, and a release does
 *     nothing. Any other result, and errno, are the service's own, handed through.
 *   - `cluster_name` null means the default cluster.
 *   - Lists and records that a query returns belong to the service and are given back, whole, through the
 *     release call of their kind. A null goes to the service like any other argument.
 *   - Strings end in NUL; a null string means that the service does not know it.
 *   - Fields stand in a fixed order. With 32-bit pointers sizes and offsets are part of the interface: 64-bit
 *     integers and UUIDs are 4-aligned there and no record has hidden padding but that after `hwaddr`.
 *   - Enumerated values are plain 32-bit integers: a value that is not listed here is handed through as it is.
 *   - Calls may come from any thread. Installing or removing a service while another thread is inside a call is
 *     safe for the seam; whether the table may be taken down then is the service's to know.
 */
#ifndef QZ_MOX_H
#define QZ_MOX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ---- Values ------------------------------------------------------------------------------------------- */

/* Event categories: which record an event carries, and what a monitor is read for. */
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

/* What the monitor of cluster reconfigurations is read for, and the category of the events that it gives; their
 * record is p_cluster_reconfig. */
#define QZ_ORB_MONITOR_CLUSTER_RECONFIG 100

/* Event types: what happened. */
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

/* Why a site event happened. */
typedef int32_t qz_orb_site_reason_t;
enum { QZ_ORB_SITE_REASON_LINK_DOWN = 0, QZ_ORB_SITE_REASON_RESYNC_SITES = 1 };

typedef int32_t qz_mox_node_status_t;
enum { QZ_MOX_NODE_STATUS_UNDEF = -1, QZ_MOX_NODE_STATUS_DOWN = 0, QZ_MOX_NODE_STATUS_UP = 1 };

typedef int32_t qz_mox_intf_status_t;
enum { QZ_MOX_INTF_STATUS_UNDEF = -1, QZ_MOX_INTF_STATUS_DOWN = 0, QZ_MOX_INTF_STATUS_UP = 1 };

typedef int32_t qz_mox_devtype_t;
enum { QZ_MOX_DEVTYPE_UNSUPPORTED = 0, QZ_MOX_DEVTYPE_ETHER = 1, QZ_MOX_DEVTYPE_TOKENRING = 800 };

/* What a configuration change did to an entry. */
typedef int32_t qz_mox_cfg_chg_op_t;
enum {
    QZ_MOX_CFG_OP_UNDEF = -1,
    QZ_MOX_CFG_OP_ADD = 0,
    QZ_MOX_CFG_OP_DEL = 1,
    QZ_MOX_CFG_OP_CHG = 2,
    QZ_MOX_CFG_OP_IGNORE = 3
};

/* How the parts of a split cluster find together again. */
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

/* 128-bit identifier. 4-aligned in every ABI: copy a half out before taking its address. */
typedef struct qz_mox_uuid {
    uint64_t high;
    uint64_t low;
} __attribute__((packed, aligned(4))) qz_mox_uuid_t;

/* An IPv4 address in the place of an IPv6 one, as ::ffff:a.b.c.d: the last filler word is htonl(0xFFFF), as in
 * what the heartbeat daemon tells. The library takes addresses as they come, and another form is another address. */
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

/* ---- What the queries return -------------------------------------------------------------------------- */

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
    uint32_t cfg_op; /* a qz_mox_cfg_chg_op_t in an unsigned word */
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

/* One entry of a list that ends in a null `next`. Address and netmask are texts. */
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
    uint32_t site_policy; /* a qz_mox_site_policy_t in an unsigned word */
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

/* The cluster's own record; release with qz_mox_release_cluster_info(). */
int qz_mox_get_cluster_info(const char *cluster_name, qz_mox_cluster_info_t **info);

/* All nodes, as they are now or as they were just after `event`; release with qz_mox_release_node_info(). In this and
 * the next queries a node with unread liveness events is as it was last reported: see what a service owes, below. */
int qz_mox_get_node_info(const char *cluster_name, qz_mox_node_info_t **list);
int qz_mox_get_node_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                     qz_mox_node_info_t **list);

/* All network interfaces of all nodes, as they are now or as they were just after `event`; release with
 * qz_mox_release_net_intf_info(). */
int qz_mox_get_net_intf_info(const char *cluster_name, qz_mox_net_intf_info_t **list);
int qz_mox_get_net_intf_info_after_event(const char *cluster_name, const qz_orb_event_metadata_t *event,
                                         qz_mox_net_intf_info_t **list);

/* The local node's identifier, its site (`p_next` null; `p_name` stays the service's), and the cluster's merge
 * policy (a qz_mox_site_policy_t). Nothing to release. */
int qz_mox_get_local_node_uuid(const char *cluster_name, qz_mox_uuid_t *uuid);
int qz_mox_get_local_site_info(const char *cluster_name, qz_mox_site_info_t *site);
int qz_mox_get_site_merge_policy(const char *cluster_name, int *policy);

/* Give back what a query returned. */
void qz_mox_release_cluster_info(qz_mox_cluster_info_t *info);
void qz_mox_release_node_info(qz_mox_node_info_t *list);
void qz_mox_release_net_intf_info(qz_mox_net_intf_info_t *list);

/* ---- Events ------------------------------------------------------------------------------------------- */

/* Opens the monitor `fname`: *fd becomes a descriptor that is readable when an event waits. The caller closes
 * it. Monitors: "node_liveness", "adapter_liveness", "node_list", "peer_gs_liveness", "ip_change",
 * "cluster_reconfig", "site_cfg" and "repos_disk". */
int qz_orb_open_monitor(const char *fname, int *fd);

/* Reads one event of `category` from a monitor's descriptor: 0 with *event filled, -16 when the descriptor held
 * none for this reader, anything else on failure. Release a filled event with qz_orb_release_event(). */
int qz_orb_read_event(int fd, int category, qz_orb_event_metadata_t *event);
void qz_orb_release_event(qz_orb_event_metadata_t *event);

/* ---- What a service owes to its readers ---------------------------------------------------------------- */

/* A reader may read the monitors in any order. At an event of any category it may rebuild its own view from the
 * queries, and it compares the two views. That finds nodes and interfaces that joined or left, other addresses, and
 * other states of interfaces. It does not find another state of a node that both views have: only the node's own
 * event reports that. A query that shows the new state before that event is read loses the event. Therefore:
 *
 *   - A node or interface with unread liveness events is reported by every query as it was last reported. That is as
 *     the last event that was read left it, or as it was before the first unread one. It holds for the status of the
 *     node and for those of its interfaces, in the node list and in the interface list.
 *   - Once an event is read, every query reports the state of that event, also the queries "after an event". Once the
 *     last one is read, they report the state of now.
 *   - Only reading an event makes it known. A query leaves unread events as they are, whatever it is asked for: also
 *     while a program prepares to use the service, or is refused.
 *   - A node's liveness event stands for its interfaces. Before it is read, their own liveness events are neither held
 *     nor added. They would otherwise be read behind it and undo it.
 *   - A node's liveness events begin with the status that it joins the configuration with. They become readable when
 *     the event that reports its joining has been read: a death comes behind its join. When a node leaves the
 *     configuration its unread liveness events are withdrawn: its leaving is its death.
 *   - A new configuration may show at once. If it brings other states of nodes or interfaces that stay, each has a
 *     liveness event of its own. */

/* ---- Installing a service ----------------------------------------------------------------------------- */

/* One function for each call above. A null entry means that the service does not offer it. */
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

/* Installs a service for this process in place of any other; null removes it, which is the state at start. The
 * table is not copied: it must stay as it is until another is installed or it is removed. */
void qz_mox_install_service(const qz_mox_service_t *service);

/* 1 while a service is installed, else 0. */
int qz_mox_service_present(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
