/* SPDX-License-Identifier: Apache-2.0 */
/*
 * hb_client.h - the cluster heartbeat client library, libhb_client.so
 *
 * A program on a cluster node includes this header to learn which nodes, adapters, networks and sites are
 * configured and alive.  It receives an event as soon as that changes.
 *
 * CONVENTIONS
 *
 *  1. Results.  Unless stated otherwise, a function returns Hb_Success (2) or Hb_Failure (3).  After Hb_Failure
 *     hb_get_errno() returns the reason, an error number.  The process has one error number, which all threads
 *     share.  A later success does not change it.
 *  2. Opening.  A function marked "Opens", itself or in the comment of its group, first opens the library, as
 *     hb_init() does, if it is not open.  If opening fails, the function returns Hb_Failure, has written nothing,
 *     and the error number is that of hb_init().  The numbers that opening can give are listed at hb_init() and
 *     are not repeated below.
 *  3. Outputs.  A function writes its outputs on success only, unless it is documented to write a "none" value.
 *     A null output pointer gives error 4 before anything is sent or waited for.
 *  4. Iterations come in first/next pairs.  "First" starts at the beginning, whatever the cursor holds.  "Next"
 *     continues from the cursor.  When nothing is left, the function writes the none value, sets error 1,
 *     returns Hb_Failure and leaves the cursor unchanged.  A negative cursor counts as 0.
 *  5. Memory.  The caller owns the records; the library keeps no pointer into them after a call returns.  What
 *     the library allocates for the caller has its own free function, named below.
 *  6. Threads and processes.  Call the library from one thread at a time, with two exceptions.
 *     First, several threads may make the first call at once.  One of them opens the library and the others
 *     wait.  If that opening fails, each of the others tries to open it.
 *     Second, a process may end by exit() while another thread is inside a call.
 *     Do not close the session in one thread while another waits for an event: the waiting call may never
 *     return.  The library starts no thread and changes no signal disposition.  No C++ exception leaves it.
 *     A forked child shares the connection with its parent, and each event reaches only one of the two.  A
 *     child that continues without exec calls hb_terminate first.  That does not affect the parent's session,
 *     and the child may then open its own.  A child that is forked while another thread is inside a call finds
 *     no lock held.  A program started by exec inherits no descriptor of the library.
 *  7. Signals.  A write to a daemon that has ended raises SIGPIPE.  A program that does not want that signal
 *     ignores it (signal(SIGPIPE, SIG_IGN)); the call then fails with error 16.
 *  8. Values.  Enumerated fields are plain 32-bit integers.  A value from the daemon that this header does not
 *     name is passed on unchanged.
 *  9. Layout.  Every record below has the same size and offsets in 32-bit and 64-bit programs, except
 *     Hb_Client_Hb_Info and the records that hold security keys.
 *
 * ENVIRONMENT, read each time the library is opened
 *
 *  HB_SERVER_SOCKET  base path of the daemon's socket; default /var/ha/soc/wisp/server_socket.  A base path
 *                    that was read once stays in use, even if the variable is unset later.
 *  HA_DOMAIN_NAME    if not empty, "." and this value are appended to the base path
 *  HA_SYSPAR_NAME    the same, when HA_DOMAIN_NAME is unset or empty
 *
 *  A program that runs with more rights than its caller (set-user-ID, set-group-ID, file capabilities) ignores
 *  all three.  Its caller therefore cannot choose which daemon it trusts.
 *
 * ERROR NUMBERS
 *
 *  hb_get_errno returns one of these.  The names are enumerators.  Three numbers have two meanings and a name for
 *  each meaning; the second name follows the word "As".  hb_error.h gives the name and a short text of each number,
 *  for log lines.
 *
 *   0 HB_ERROR_NONE  no call has failed yet
 *
 *  Arguments and queries
 *   1 HB_ERROR_NO_MORE  the iteration has no (further) item
 *   3 HB_ERROR_NOT_AVAILABLE  the group record does not hold what was asked for.  As HB_ERROR_REQUEST_REFUSED: the
 *     daemon refused the request, because this user may not make it
 *   4 HB_ERROR_BAD_ARGUMENT  an argument is out of range, or a pointer is null
 *   5 HB_ERROR_WRONG_GROUP_TYPE  the group record is of another type
 *   6 HB_ERROR_NO_ROUTE  there is no route to the node
 *   7 HB_ERROR_ADAPTER_NOT_CONFIGURED  the adapter or address is not in the configuration, or not in the group
 *   8 HB_ERROR_NETWORK_NOT_CONFIGURED  the network is not configured.  As HB_ERROR_REQUEST_FAILED: the daemon could not
 *     do what was asked
 *   9 HB_ERROR_NODE_NOT_CONFIGURED  the node is not configured: it has no adapter
 *  11 HB_ERROR_WRONG_SUBSCRIPTION_TYPE  the subscription group's type does not allow this, or the group is empty
 *  49 HB_ERROR_ROUTE_NOT_IP  the route to the node is not an IP route
 *  53 HB_ERROR_MESSAGE_TOO_LARGE  the payload or the request is too large
 *  84 HB_ERROR_SITE_NOT_CONFIGURED  the site is not configured
 *
 *  The daemon's answers to requests about adapters
 *  50 HB_ERROR_ADDRESS_IN_USE  the address cannot be configured: another adapter has it
 *  51 HB_ERROR_ADDRESS_UNSUITABLE  the address cannot be configured: the adapter cannot carry it
 *  52 HB_ERROR_GRACE_OUT_OF_RANGE  no grace: the time is out of range
 *  55 HB_ERROR_ADAPTER_DOWN  no grace: the adapter is down
 *  56 HB_ERROR_GRACE_RUNNING  no grace: the adapter has grace already
 *
 *  The connection to the daemon
 *   2 HB_ERROR_TIMEOUT  the time-out ended before anything arrived
 *  10 HB_ERROR_UNEXPECTED_REPLY  the daemon sent an unexpected record, or one whose contents contradict each other.
 *     An event that arrives before the reply to a request also gives this number, and is lost.  A watch (hb_watch.h)
 *     has a connection of its own: requests cannot lose its events.
 *  12 HB_ERROR_RECEIVE_FAILED  waiting for the daemon or reading from it failed.  The library may no longer know
 *     where the next record begins: call hb_terminate, and open again.  The daemon may also have died with a request
 *     unread; the next call then gives 16.  A cluster service that calls the library while the library opens receives
 *     this number, too.
 *  13 HB_ERROR_SOCKET_FAILED  the socket could not be created
 *  14 HB_ERROR_SOCKET_BUFFER_FAILED  the socket's buffer size could not be set
 *  15 HB_ERROR_CONNECT_FAILED  no daemon listens at the socket path, this user may not connect to it, or the path is
 *     longer than 107 bytes.  A signal may also have ended the wait for the connection, if its handler was installed
 *     without SA_RESTART.
 *  16 HB_ERROR_DISCONNECTED  the daemon closed the connection.  Every later call gives this number again: call
 *     hb_terminate, and open again after a pause.  docs/programming.md shows the steps under "When the daemon ends".
 *  17 HB_ERROR_NO_MEMORY  out of memory
 *  18 HB_ERROR_SEND_BAD_ADDRESS  sending failed: bad address
 *  21 HB_ERROR_SEND_IO  sending failed: input/output error
 *  22 HB_ERROR_SEND_FAILED  sending failed otherwise: a part was written, a length is negative, or there is no
 *     connection.  After a part was written, call hb_terminate and open again.  As HB_ERROR_NOT_OPEN: the library is not
 *     open
 *  23 HB_ERROR_CONFIG_READ_BAD_ADDRESS  reading the configuration failed: bad address
 *  26 HB_ERROR_CONFIG_READ_IO  reading the configuration failed: input/output error
 *  27 HB_ERROR_CONFIG_READ_FAILED  reading the configuration failed otherwise
 *
 *  Shared memory and semaphores
 *  28 HB_ERROR_NO_CONFIG_SEGMENT_KEY  ftok gave no key for the configuration segment
 *  29 HB_ERROR_NO_ROUTE_SEGMENT_KEY  ftok gave no key for the route segment
 *  54 HB_ERROR_NO_SECURITY_SEGMENT_KEY  ftok gave no key for the security segment
 *  30 HB_ERROR_NO_SEMAPHORE_KEY  ftok gave no key for the semaphores
 *  31 HB_ERROR_SEGMENT_PERMISSION  a shared segment could not be found: permission denied
 *  32 HB_ERROR_SEGMENT_SIZE  a shared segment could not be found: it has another size
 *  33 HB_ERROR_SEGMENT_ABSENT  a shared segment could not be found: it is absent
 *  34 HB_ERROR_SEGMENT_MEMORY  a shared segment could not be found: out of memory
 *  35 HB_ERROR_SEGMENT_LIMIT  a shared segment could not be found: a system limit is reached
 *  36 HB_ERROR_SEGMENT_FAILED  a shared segment could not be found for another reason
 *  37 HB_ERROR_ATTACH_PERMISSION  a shared segment could not be attached: permission denied, or its creator is neither
 *     root nor the user who runs the connected daemon
 *  38 HB_ERROR_ATTACH_INVALID  a shared segment could not be attached: invalid
 *  39 HB_ERROR_ATTACH_ABSENT  a shared segment could not be attached: it is absent
 *  41 HB_ERROR_ATTACH_MEMORY  a shared segment could not be attached: out of memory
 *  42 HB_ERROR_ATTACH_FAILED  a shared segment could not be attached for another reason
 *  43 HB_ERROR_SEMAPHORE_PERMISSION  the semaphores could not be found: permission denied, or their creator is neither
 *     root nor the user who runs the connected daemon
 *  44 HB_ERROR_SEMAPHORE_SIZE  the semaphores could not be found: the set has another size
 *  45 HB_ERROR_SEMAPHORE_ABSENT  the semaphores could not be found: they are absent
 *  46 HB_ERROR_SEMAPHORE_MEMORY  the semaphores could not be found: out of memory
 *  47 HB_ERROR_SEMAPHORE_LIMIT  the semaphores could not be found: a system limit is reached
 *  48 HB_ERROR_SEMAPHORE_FAILED  the semaphores could not be found for another reason
 *
 *  Cluster-event mode
 *  58 HB_ERROR_NEW_GROUP_READ_FAILED  the request for a new group could not be read
 *  59 HB_ERROR_WAKE_UP_FAILED  a subscription could not be passed to the cluster-event handlers, or an event could not
 *     be signalled
 *  63 HB_ERROR_CLUSTER_QUERY_FAILED  the cluster service did not report the cluster, or none is installed
 *  64 HB_ERROR_NODE_QUERY_FAILED  the cluster service did not report its nodes
 *  65 HB_ERROR_INTERFACE_QUERY_FAILED  the cluster service did not report its interfaces
 *  68 HB_ERROR_BAD_NEW_GROUP_REQUEST  a byte from the new-group pipe of the library is not a request
 *  70 HB_ERROR_NODE_STATE_UNKNOWN  a node's state is neither up nor down
 *  71 HB_ERROR_ADAPTER_STATE_UNKNOWN  an adapter's state is neither up nor down
 *  72 HB_ERROR_BAD_WAKE_UP  a byte from the event pipe of the library is not a wake-up
 *  73 HB_ERROR_NODES_DIFFER  the cluster service and the daemon do not configure the same nodes.  At a second commit:
 *     the service's nodes differ from those of the configuration in use
 *  74 HB_ERROR_HANDLERS_NOT_CREATED  the cluster-event handlers could not be created, or the cluster service did not
 *     report the cluster's name
 *  75 HB_ERROR_NODE_UNKNOWN_TO_SERVICE  the cluster service does not know a node that the daemon knows
 *  81 HB_ERROR_NO_HANDLER  no cluster-event handler owns any of the ready descriptors
 *  82 HB_ERROR_HANDLER_NOT_REGISTERED  a cluster-event handler was unregistered more often than registered
 *  86 HB_ERROR_SITE_QUERY_FAILED  the cluster service did not report the local site
 *  87 HB_ERROR_NODE_ID_QUERY_FAILED  the cluster service did not report the local node's identifier
 *  88 HB_ERROR_MERGE_POLICY_QUERY_FAILED  the cluster service did not report the merge policy of the sites
 *
 *  Kept for other transports: this one gives none of 19 HB_ERROR_SEND_RESERVED_6, 20 HB_ERROR_SEND_RESERVED_7,
 *  24 HB_ERROR_CONFIG_READ_RESERVED_10, 25 HB_ERROR_CONFIG_READ_RESERVED_11, and 40, which has no name.
 */
#ifndef HB_CLIENT_H
#define HB_CLIENT_H

#include <netinet/in.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/uio.h>

#include "hb_error_list.h"
#include "qz_mss.h"

/* The library reads and writes the platform's own timeval. A 32-bit program compiled with 64-bit time would
 * pass time-outs that the library reads as zero. Define HB_CLIENT_WITHOUT_TIMEVAL in a program that passes
 * none. */
#if defined(__i386__) && defined(_TIME_BITS) && !defined(HB_CLIENT_WITHOUT_TIMEVAL)
#if _TIME_BITS == 64
#error "libhb_client takes the platform's 32-bit timeval: compile without _TIME_BITS=64"
#endif
#endif

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define HB_API __attribute__((visibility("default")))
#else
#define HB_API
#endif

/* ------------------------------------------------------------------------------------------------
 * Results, truth and capacities
 * ---------------------------------------------------------------------------------------------- */

/* Result of a call. */
typedef int32_t Hb_Rc;
enum { Hb_Success = 2, Hb_Failure = 3 };

/* Truth value.  A field that arrives from the daemon may hold other values than these two. */
typedef int32_t Hb_Boolean;
enum { Hb_False = 0, Hb_True = 1 };

/* Fixed capacities of the records. */
enum {
    HB_NODE_SLOTS = 2049,    /* node numbers 0 to 2048 */
    HB_NETWORK_SLOTS = 48,   /* network numbers 0 to 47 */
    HB_ADAPTER_SLOTS = 98352 /* HB_NODE_SLOTS x HB_NETWORK_SLOTS */
};

/* Sizes of the texts in bytes, including the terminating NUL. */
enum {
    HB_NAME_SIZE = 32,
    HB_NETWORK_NAME_SIZE = 70,
    HB_NETWORK_TYPE_SIZE = 16,
    HB_ADAPTER_TYPE_SIZE = 36,
    HB_FFDC_ID_SIZE = 43
};

/* ------------------------------------------------------------------------------------------------
 * Numbers and texts
 *
 * adapter number = node number x adapters per node + network number
 * ---------------------------------------------------------------------------------------------- */

typedef int16_t Hb_Node_Number;      /* none: -1 */
typedef int16_t Hb_Network_Number;   /* none: -1 */
typedef uint16_t Hb_Site_Number;     /* none: 65535 */
typedef uint32_t Hb_Adapter_Number;  /* none: 0xFFFFFFFF */
typedef uint32_t Hb_Incarnation;     /* bit 27: died because removed; all bits set: not in the group */
typedef uint32_t Hb_Config_Instance; /* generation of a configuration */
typedef uint32_t Hb_Sequence_Number; /* generation of shared data */
typedef int32_t Hb_Cursor;           /* iteration position, one past the last item returned */

typedef char Hb_Name[HB_NAME_SIZE];
typedef char Hb_Network_Name[HB_NETWORK_NAME_SIZE];
typedef char Hb_Network_Type[HB_NETWORK_TYPE_SIZE];
typedef char Hb_Adapter_Type[HB_ADAPTER_TYPE_SIZE];
typedef char Hb_FFDC_Id[HB_FFDC_ID_SIZE];

/* 16-byte address in network byte order.  For an IPv4 address, filler holds 0, 0 and htonl(0xFFFF), and
 * v4_in_v6_ipv4 holds the address. */
typedef union Hb_IP_address6 {
    struct {
        uint32_t filler[3];
        uint32_t v4_in_v6_ipv4;
    } v4_in_v6;
    struct in6_addr i6_ipv6;
} Hb_IP_address6;

/* An IPv4 address in network byte order. */
typedef struct in_addr Hb_IP_address4;

/* State of a node, adapter or site, and the reason for a node's state. */
typedef int32_t Hb_Entity_State;
enum { Hb_Entity_Undef = 0, Hb_Entity_Up = 1, Hb_Entity_Down = 2 };
typedef int32_t Hb_Entity_State_Reason;
enum {
    Hb_Entity_State_Reason_Down = 0,
    Hb_Entity_State_Reason_Up = 1,
    Hb_Entity_State_Reason_KOBAL_Down = 2, /* reported dead, though the service may see it up */
    Hb_Entity_State_Reason_KOBAL_Up = 3    /* up again after such a report, or after a message */
};

/* One configured adapter, 64 bytes. */
typedef struct Hb_Adapter_Entry {
    Hb_IP_address6 Hb_ip_address;
    Hb_Network_Number Hb_network;
    Hb_Adapter_Type Hb_adapter_type;
    char Hb_padding[2];
    Hb_Adapter_Number Hb_adapter_num;
    Hb_Entity_State Hb_state;
} Hb_Adapter_Entry;

/* One network, 86 bytes.  A network is configured when its name is not empty. */
typedef struct Hb_Network_Entry {
    Hb_Network_Name Hb_network_name;
    Hb_Network_Type Hb_network_type;
} Hb_Network_Entry;

/* ------------------------------------------------------------------------------------------------
 * Events and the membership group record
 * ---------------------------------------------------------------------------------------------- */

/* Kind of event.  A subscription's mask may hold 1, 2, 4, 16, 32, 64, 256 and 512.  16 has no name, because no
 * event has it. */
typedef int32_t Hb_Events;
enum {
    HB_EVENT_NONE = 0,            /* nothing to report */
    HB_EVENT_DEATH = 1,           /* nodes or adapters died */
    HB_EVENT_JOIN = 2,            /* nodes or adapters joined */
    HB_EVENT_NEW_GROUP = 4,       /* a group with all its members */
    HB_EVENT_FFDC = 8,            /* a first-failure identifier: names one failure, to find it in logs */
    HB_EVENT_SITE_SPLIT = 32,     /* the sites lost contact with each other */
    HB_EVENT_SITE_MERGE = 64,     /* the sites are in contact again */
    HB_EVENT_CONFIG = 128,        /* the configuration changed; the group record is not filled */
    HB_EVENT_DIFF_INSTANCE = 256, /* a message came from a node with another configuration instance */
    HB_EVENT_HEARTBEAT = 512      /* heartbeat settings; read them with hb_get_client_hb_info */
};

/* The names of events that belong to no subscription. */
#define HB_EVENT_NAME_CONFIG "Hb_Config_Group" /* HB_EVENT_CONFIG */
#define HB_EVENT_NAME_FFDC "Hb_FFDC_Group"     /* HB_EVENT_FFDC */
#define HB_EVENT_NAME_EMPTY "<EMPTY EVENT>"    /* HB_EVENT_NONE, and events without a subscription */

/* Selects the valid member of the union of an Hb_Group. */
typedef int32_t Hb_Group_Type;
enum {
    Hb_Node_Group = 0,
    Hb_Adapter_Group = 1,
    Hb_Diff_Instance_Type = 2,
    Hb_Repository_Disk_Type = 3,
    Hb_Site_Group = 4
};

typedef int32_t Hb_Group_Status;
enum { Hb_Group_Stable = 0, Hb_Group_Unstable = 1 };

/* 16-byte unique identifiers, as reported by the cluster service. */
typedef struct Hb_Uuid {
    uint32_t word[4];
} Hb_Uuid;
typedef Hb_Uuid node_id_t;
typedef Hb_Uuid site_id_t;
typedef Hb_Uuid cluster_id_t;

/* One side of a site split or merge, 68 bytes. */
typedef struct Hb_Site_Info {
    node_id_t node_id;
    uint32_t node_number;
    site_id_t site_id;
    uint32_t site_number;
    uint32_t site_priority;
    uint32_t site_policy;
    uint32_t site_merge_flag;
    cluster_id_t cluster_id;
} Hb_Site_Info;

typedef struct Hb_Adapter_Membership_Grp {
    int32_t Hb_num_adapters; /* number of members */
    Hb_Adapter_Number Hb_group_leader;
    Hb_Incarnation Hb_group_incarnation;
    Hb_Incarnation Hb_adapter_list[HB_ADAPTER_SLOTS]; /* by adapter number; 0xFFFFFFFF: not a member */
} Hb_Adapter_Membership_Grp;

typedef struct Hb_Node_Membership_Grp {
    int32_t Hb_num_nodes;                   /* number of members */
    Hb_Boolean Hb_node_list[HB_NODE_SLOTS]; /* by node number; Hb_True: a member */
} Hb_Node_Membership_Grp;

typedef struct diff_instance_info {
    Hb_IP_address6 addr;             /* sender of the message */
    Hb_Config_Instance machinesInst; /* configuration instance of the sender */
} diff_instance_info;

typedef struct site_split_info {
    Hb_Site_Info local_site;
    Hb_Site_Info remote_site;
} site_split_info;

typedef struct site_merge_info {
    uint32_t num_local_up_nodes;
    uint32_t num_remote_up_nodes;
    Hb_Site_Info local_site;
    Hb_Site_Info remote_site;
} site_merge_info;

/* One event, 393,480 bytes: allocate it on the heap or statically, not on a small stack.  The caller owns it.
 * Each event overwrites only the fields that it uses. */
typedef struct Hb_Group {
    Hb_Group_Type Hb_group_type;
    Hb_Cursor Hb_cursor; /* position of an iteration over this record; only one can run at a time */
    Hb_Events Hb_events;
    Hb_Group_Status Hb_group_status; /* valid for new-group events */
    Hb_FFDC_Id Hb_ffdc_id;           /* empty if the event has none */
    char Hb_padding;
    union {
        Hb_Adapter_Membership_Grp Hb_adapter_membership_grp;
        Hb_Node_Membership_Grp Hb_node_membership_grp;
        struct diff_instance_info diff_instance_info;
        struct site_split_info site_split_info;
        struct site_merge_info site_merge_info;
    } Hb_membership_grp_union;
} Hb_Group;

/* One adapter at one incarnation.  hb_get_group_id uses it for a group. */
typedef struct Hb_Adapter_Identifier {
    Hb_Adapter_Number Hb_adapter_number;
    Hb_Incarnation Hb_incarnation;
    Hb_Boolean Hb_died_because_removed;
} Hb_Adapter_Identifier;
typedef Hb_Adapter_Identifier Hb_Group_Identifier;

/* Heartbeat settings of the daemon.  The size depends on the platform's timeval. */
typedef struct Hb_Client_Hb_Info {
    struct timeval client_hb_thresh; /* heartbeat threshold, seconds and microseconds */
    Hb_Boolean client_hb_is_enabled;
    pid_t client_hb_daemon_pid;
} Hb_Client_Hb_Info;

/* ------------------------------------------------------------------------------------------------
 * The subscription group
 * ---------------------------------------------------------------------------------------------- */

/* Kind of a subscription group.  A record has an "all" type only while hb_subscribe runs. */
typedef int32_t Hb_Subscription_Type;
enum {
    Hb_Node_Subscription = 0,
    Hb_All_Nodes_Subscription = 1,
    Hb_Adapter_Subscription = 2,
    Hb_All_Adapters_Subscription = 3,
    Hb_Empty_Subscription = 4,
    Hb_Network_Subscription = 5,
    Hb_Diff_Inst_Num_Subscription = 6,
    Hb_Site_Subscription = 7,
    Hb_All_Sites_Subscription = 8
};

/* Sizes of the bitmaps in bytes.  Number i is bit 0x80 >> (i mod 8) of byte i / 8. */
enum { HB_ADAPTER_BITMAP_SIZE = 12294, HB_NODE_BITMAP_SIZE = 257, HB_SITE_BITMAP_SIZE = 1 };

/* The members that a client wants events for, 12,348 bytes.  The record is sent to the daemon exactly as it
 * lies in memory.  Build it with the functions below, starting with hb_empty_subscription_group. */
typedef struct Hb_Subscription_Group {
    Hb_Subscription_Type Hb_subscription_type;
    Hb_Cursor Hb_cursor;         /* position of an iteration over this record; only one can run at a time */
    Hb_Events Hb_events;         /* mask of the last hb_subscribe */
    Hb_Name Hb_name;             /* name of the last hb_subscribe */
    Hb_Network_Number Hb_netnum; /* not used */
    char Hb_padding[2];
    union {
        struct {
            int32_t Hb_num_adapters;
            uint8_t Hb_adapter_list[HB_ADAPTER_BITMAP_SIZE];
            char Hb_padding[2];
        } Hb_adapter_subscription_grp;
        struct {
            int32_t Hb_num_nodes;
            uint8_t Hb_node_list[HB_NODE_BITMAP_SIZE];
            char Hb_padding[3];
        } Hb_node_subscription_grp;
        struct {
            int32_t Hb_num_sites;
            uint8_t Hb_site_list[HB_SITE_BITMAP_SIZE];
            char Hb_padding[3];
        } Hb_site_subscription_grp;
    } Hb_subscription_grp_union;
} Hb_Subscription_Group;

/* ------------------------------------------------------------------------------------------------
 * Session
 * ---------------------------------------------------------------------------------------------- */

/* Opens the library: resolves the socket path from the environment, connects to the daemon, attaches the
 * shared segments and loads the configuration.  Does nothing if the library is open, even after
 * hb_remove_socket.  A program need not call it: functions marked "Opens" open the library themselves.
 * Waits without limit while a daemon delays accepting the connection or does not answer.  A signal whose
 * handler was installed without SA_RESTART ends the wait for the connection with error 15.  It does not end the
 * wait for an answer.  With a suspended daemon (SIGSTOP) the system still accepts the connection, so the call
 * waits for an answer.  Cancelling the thread ends either wait and leaves the library closed.  Other threads
 * that open the library wait meanwhile.
 * A failed call leaves the library closed and the configuration empty.  It may be repeated; the next call
 * starts afresh.  Until then the connection of the failed call stays open unused; hb_remove_socket closes it.
 * Errors: 10, 12, 13, 14, 15, 16, 17, 18, 21, 22, 23, 26, 27, 28-39, 41-48, 54; in cluster-event mode
 * 17, 63, 64, 65.  While hb_init queries a cluster service, that service must not call hb_init: it receives
 * error 12, and the opening continues. */
HB_API Hb_Rc hb_init(void);

/* Closes an open library: releases the cluster-event handlers and closes the connection, unless
 * hb_remove_socket has closed it.  The shared segments stay attached until the process ends or the library is
 * opened again.  Descriptors from hb_get_file_descriptor_array become invalid.
 * Cluster events that are still queued survive the call.  They are delivered after the next successful
 * hb_migrate_to_mox_prep and hb_migrate_to_mox_commit, with the adapter numbers of the closed session.
 * It also closes a session that hb_init_communication interrupted, together with the connection that
 * hb_init_communication made.
 * If no session is open or interrupted, succeeds and does nothing: a connection that hb_init_communication made
 * on a closed library stays open. */
HB_API Hb_Rc hb_terminate(void);

/* Returns the error number of the last failure in any thread, or 0 if nothing has failed.  Does not open the
 * library. */
HB_API int hb_get_errno(void);

/* Steps of opening and closing, for programs that manage the connection themselves.  None of them opens the
 * library.
 *
 * hb_init_communication resolves the socket path, closes an existing connection and wait set, and makes new
 * ones.  Subscriptions of the old connection end.  On the new connection hb_subscribe and hb_get_event_message
 * work without a configuration.  In daemon mode it interrupts an open session: the configuration becomes empty,
 * and hb_terminate closes the session together with the new connection.  A later function marked "Opens" makes
 * another connection.  hb_init_communication waits as hb_init does.  Errors: 12, 13, 14, 15, 17.
 *
 * hb_remove_socket closes the connection and hb_remove_client_select releases the wait set.  Both succeed, even
 * if there is none, and wait while another thread opens the library.  After hb_remove_socket an open library
 * stays open without its connection: queries answer from the loaded configuration, and requests fail with error
 * 22.  hb_get_file_descriptor_array and hb_get_event_message then reopen connection, segments and configuration,
 * since another daemon may listen by now. */
HB_API Hb_Rc hb_init_communication(void);
HB_API Hb_Rc hb_remove_socket(void);
HB_API Hb_Rc hb_remove_client_select(void);

/* Registers the trace component "_HBC" with the trace library, once for the process.  hb_init calls it. */
HB_API void hbc_initialize_trace_once(void);

/* ------------------------------------------------------------------------------------------------
 * Events
 * ---------------------------------------------------------------------------------------------- */

/* Returns the descriptors to wait on for reading.  *descriptor becomes a new array of *numbers_of_fds
 * descriptors, followed by -1.  The caller releases the array with hb_free_file_descriptor_array.  The library
 * owns the descriptors themselves: do not close, read or write them.
 * In daemon mode there is one descriptor; call again after hb_terminate.  In cluster-event mode there are nine,
 * or none while no handlers exist; call again after hb_migrate_to_mox_commit, too.
 * Opens.  In daemon mode it also reopens a library whose connection hb_remove_socket has closed; the caller
 * must then subscribe again.  If reopening fails, the library is closed and no connection stays.
 * Errors: 4 (null pointer), 17. */
HB_API Hb_Rc hb_get_file_descriptor_array(int **descriptor, int *numbers_of_fds);

/* Releases an array from hb_get_file_descriptor_array.  Does not open the library.
 * Errors: 4 (null pointer). */
HB_API Hb_Rc hb_free_file_descriptor_array(int *descriptors);

/* Waits for the next event and returns it.
 *   descriptors  an array from hb_get_file_descriptor_array; if its first entry is -1, the call fails at
 *                once and sets no error number
 *   timeout      how long to wait for an event to begin; null waits without limit; not changed.  A wait with a
 *                time-out needs a connection whose descriptor is below 1024; otherwise it fails with error 12.
 *   events       receives the kind of event, one value of HB_EVENT_...
 *   name         receives the name of the subscription that the event belongs to; at least 32 bytes.
 *                "Hb_Config_Group" for a configuration change, "Hb_FFDC_Group" for a failure identifier
 *   group        receives the event
 *   seqnum_p     receives the event's sequence number
 * A configuration change replaces the configuration that the queries below answer from.
 *
 * In cluster-event mode it does not wait: pass only the descriptors that are ready, followed by -1.  One call
 * reads one event, from the first descriptor in the array.  *events is 0 if there is nothing to report: no
 * subscription covers the event, or nothing has changed.  The name is then "<EMPTY EVENT>".
 * Without a subscription to nodes, the death or join of a node can still be reported: *events is then 1 or 2,
 * and the name "<EMPTY EVENT>".
 *
 * In cluster-event mode it does not open the library.  In daemon mode it opens the library if there
 * is no usable connection; the caller must then subscribe again.  Opening may wait longer than the time-out
 * (see hb_init).  If opening fails, the errors are those of hb_init, the library is closed, no connection
 * stays, and the next call tries again.  A connection made by hb_init_communication is used as it is.
 *
 * Errors in daemon mode: 2 time-out; 4 null pointer; 12 waiting or reading failed, or no memory for the record;
 * 16 the daemon closed the connection (call hb_terminate; the next call opens the library again);
 * 10 unexpected or malformed record; 17 out of memory for a new configuration.  After 10 and 17 the record is
 * dropped.  *seqnum_p is then set and the group's Hb_ffdc_id cleared, unless the record was shorter than its
 * header.  Nothing else is written.
 *
 * Errors in cluster-event mode: 4, 17, 58, 59, 63, 64, 65, 68, 81, 86, 87, 88.  No number is set if a service's
 * event could not be read.  With 17, 63, 64 or 65 a change could not be determined, because memory was short or
 * the cluster service did not answer.  Nothing is reported or changed then; the next successful reading of the
 * service reports the difference.  If 64 or 65 occurs instead of the state event that follows a subscription,
 * that event is lost: subscribe again.  17, 63, 64 and 65 may also be set on success.  The call then reports that
 * a node died or returned, but not the changes of its adapters. */
HB_API Hb_Rc hb_get_event_message(int *descriptors, struct timeval *timeout, int *events, char *name,
                                  Hb_Group *group, unsigned long *seqnum_p);

/* Copies the heartbeat settings from the daemon's last heartbeat event; all zero before the first one.
 * Does not open the library.  Errors: 4 (null pointer). */
HB_API Hb_Rc hb_get_client_hb_info(Hb_Client_Hb_Info *client_hb_info_p);

/* ------------------------------------------------------------------------------------------------
 * Configuration: counts.  Opens (all functions).  Errors: 4 (null pointer).
 * ---------------------------------------------------------------------------------------------- */

/* Returns the number of the node that this program runs on. */
HB_API Hb_Rc hb_get_my_node_number(Hb_Node_Number *node);
/* Returns how many nodes own at least one adapter. */
HB_API Hb_Rc hb_get_number_of_configured_nodes(int *count);
/* Returns how many networks the configuration lists. */
HB_API Hb_Rc hb_get_number_of_configured_networks(int *count);
/* Returns how many adapters are configured, whatever their state. */
HB_API Hb_Rc hb_get_number_of_configured_adapters(int *count);
/* Returns how many sites are configured; 0 in daemon mode. */
HB_API Hb_Rc hb_get_number_of_configured_sites(int *count);

/* ------------------------------------------------------------------------------------------------
 * Configuration: iterations.  Opens (all functions).  The caller owns the cursor and need not set it before
 * "first".
 * Errors: 1 nothing left (the none value is written, the cursor is unchanged), 4 null pointer.
 * ---------------------------------------------------------------------------------------------- */

/* Return the nodes that own an adapter, in ascending order.  None: -1. */
HB_API Hb_Rc hb_get_first_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor);

/* Return the sites in ascending order.  None: 65535. */
HB_API Hb_Rc hb_get_first_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor);

/* Return the networks that have a name, in ascending order.  None: -1. */
HB_API Hb_Rc hb_get_first_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor);

/* Return all adapters in the order of the configuration.  None: 0xFFFFFFFF. */
HB_API Hb_Rc hb_get_first_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor);

/* Return the adapters of one network in the order of the configuration.  None: 0xFFFFFFFF.
 * Also: 4 network out of range, 8 network not configured (in both cases nothing is written). */
HB_API Hb_Rc hb_get_first_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                        Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                       Hb_Cursor *cursor);

/* Return the adapters of one node in ascending order.  None: 0xFFFFFFFF.
 * Also: 4 node out of range, 9 node not configured (in both cases nothing is written). */
HB_API Hb_Rc hb_get_first_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                                     Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                                    Hb_Cursor *cursor);

/* ------------------------------------------------------------------------------------------------
 * Configuration: look-ups.  Opens (all functions).  Errors: 4 number out of range or null pointer; others are
 * stated below.
 * ---------------------------------------------------------------------------------------------- */

/* Finds the first adapter, in the order of the configuration, that has this address.
 * Error 7: no adapter has it; *adapter becomes 0xFFFFFFFF. */
HB_API Hb_Rc hb_get_adapter_number_by_address(Hb_IP_address6 address, Hb_Adapter_Number *adapter);

/* Returns the adapter that a node has on a network; offset is the network's number.  Error 7: there is none. */
HB_API Hb_Rc hb_get_adapter_number_by_node_number(Hb_Node_Number node, int offset, Hb_Adapter_Number *adapter);

/* Returns how many adapters a node has.  Error 9: the node is not configured. */
HB_API Hb_Rc hb_get_number_of_configured_adapters_in_node(Hb_Node_Number node, int *count);

/* Returns the node of an adapter.  Error 7: no such adapter. */
HB_API Hb_Rc hb_get_node_number_by_adapter_number(Hb_Adapter_Number adapter, Hb_Node_Number *node);

/* Copies the adapter's type, for instance an interface name; type has at least 36 bytes.
 * Error 7: no such adapter. */
HB_API Hb_Rc hb_get_adapter_type_by_number(Hb_Adapter_Number adapter, char *type);

/* Returns the adapter's address.  Error 7: no such adapter. */
HB_API Hb_Rc hb_get_adapter_address_by_number(Hb_Adapter_Number adapter, Hb_IP_address6 *address);

/* Copies the network's name; name has at least 70 bytes.  Error 8: the network is not configured. */
HB_API Hb_Rc hb_get_network_name_by_number(Hb_Network_Number network, char *name);

/* Copies the network's type; type has at least 16 bytes.  Succeeds for any network in
 * range.  A network that is not configured has no name, but its type is copied as well; it is empty unless the
 * daemon sent one. */
HB_API Hb_Rc hb_get_network_type_by_number(Hb_Network_Number network, char *type);

/* Finds the lowest-numbered network of this name.  Error 8: there is none; *network becomes -1. */
HB_API Hb_Rc hb_get_network_number_by_name(char *name, Hb_Network_Number *network);

/* ------------------------------------------------------------------------------------------------
 * Reading an event's group record.  A null pointer gives error 4.
 * ---------------------------------------------------------------------------------------------- */

/* Return the nodes of a node group in ascending order; the record keeps the position.  Opens (both functions).
 * Errors: 1 nothing left (*node becomes -1), 5 not a node group. */
HB_API Hb_Rc hb_get_first_node(Hb_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_next_node(Hb_Group *group, Hb_Node_Number *node);

/* Return the adapters of an adapter group in ascending order; the record keeps the position.  Each comes with
 * its incarnation (bit 27 cleared) and whether it died because it was removed from the configuration.  Opens
 * (both functions).
 * Errors: 1 nothing left (*adapter is unchanged), 5 not an adapter group. */
HB_API Hb_Rc hb_get_first_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter);
HB_API Hb_Rc hb_get_next_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter);

/* Returns what the record holds for the node: Hb_True for a member; any other value is returned as it arrived.
 * Does not open the library; before it is open, every number is out of range.
 * Returns Hb_False with error 4 number out of range, 5 not a node group. */
HB_API Hb_Boolean hb_is_node_in_group(Hb_Group *group, Hb_Node_Number node);

/* Returns whether the adapter is a member.  Does not open the library; before it is open, every number is out
 * of range.
 * Returns Hb_False with error 4 number out of range, 5 not an adapter group. */
HB_API Hb_Boolean hb_is_adapter_in_group(Hb_Group *group, Hb_Adapter_Number adapter);

/* Returns the adapter's number and its incarnation as stored, including bit 27.  Hb_died_because_removed is not
 * written.  Opens.  Errors: 4 number out of range, 5 not an adapter group, 7 not in the group. */
HB_API Hb_Rc hb_get_adapter_id(Hb_Group *group, Hb_Adapter_Number adapter, Hb_Adapter_Identifier *id);

/* Returns whether the group is stable (0) or unstable (1).  Opens.  Errors: 3 not a new-group event. */
HB_API Hb_Rc hb_get_group_status(Hb_Group *group, int *status);

/* Returns the leader of an adapter group and its incarnation as stored.  Opens.
 * Errors: 3 not a new-group event, 4 the leader is not a valid adapter number, 5 not an adapter group. */
HB_API Hb_Rc hb_get_group_leader_id(Hb_Group *group, Hb_Adapter_Identifier *id);

/* Returns the identity of an adapter group: its leader and the group's own incarnation.  Opens.
 * Errors: 3 not a new-group event, 5 not an adapter group. */
HB_API Hb_Rc hb_get_group_id(Hb_Group *group, Hb_Group_Identifier *id);

/* Returns the first-failure identifier of a death, join or failure-identifier event.  Opens.
 * Errors: 3 another event, or the event has no identifier. */
HB_API Hb_Rc hb_get_FFDC_id(Hb_Group *group, Hb_FFDC_Id *ffdc_id);

/* Returns the sender that has another configuration instance.  Opens.  Errors: 3 another event. */
HB_API Hb_Rc hb_get_different_instance_sender(Hb_Group *group, diff_instance_info *info);

/* Return the two sides of a site merge or split.  They do not check the record: call them only for
 * HB_EVENT_SITE_MERGE and HB_EVENT_SITE_SPLIT.  They do not open the library. */
HB_API Hb_Rc hb_get_site_merge_info(Hb_Group *group, site_merge_info *info);
HB_API Hb_Rc hb_get_site_split_info(Hb_Group *group, site_split_info *info);

/* Returns the incarnation of an identifier; 0xFFFFFFFF with error 4 for null.  Does not open the library. */
HB_API Hb_Incarnation hb_adapter_incarnation(Hb_Adapter_Identifier *id);

/* Returns whether the adapter died because it was removed from the configuration.  Opens; if that fails,
 * returns 3 (Hb_Failure), which is neither Hb_True nor Hb_False.  Returns Hb_False with error 4 for null. */
HB_API Hb_Boolean hb_has_adapter_died_because_removed(Hb_Adapter_Identifier *id);

/* ------------------------------------------------------------------------------------------------
 * Subscribing.  A null pointer gives error 4.
 * ---------------------------------------------------------------------------------------------- */

/* Makes the record an empty group.  Sets only its type.  Fill the record with zeros first: hb_subscribe sends
 * all of it.  Opens. */
HB_API Hb_Rc hb_empty_subscription_group(Hb_Subscription_Group *group);

/* Add or remove one member.  The first member decides the kind of the group.  Adding a member twice or removing
 * an absent member succeeds.  A network stands for all its adapters.  It can be added only to an empty group,
 * and no second network can follow.  Opens (all functions).
 * Errors: 4 number out of range; not configured: 9 node, 7 adapter, 8 network, 84 site; 11 the group's kind
 * does not allow it: a node in a group of adapters or sites, an adapter in one of nodes or sites, a site in one
 * of nodes or adapters, a network in any group that is not empty.  Other mixtures are not rejected, but they
 * damage the bitmap of the group's members: do not make them. */
HB_API Hb_Rc hb_add_node_to_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node);
HB_API Hb_Rc hb_remove_node_from_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node);
HB_API Hb_Rc hb_add_adapter_to_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter);
HB_API Hb_Rc hb_remove_adapter_from_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter);
HB_API Hb_Rc hb_add_network_to_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network);
HB_API Hb_Rc hb_remove_network_from_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network);
HB_API Hb_Rc hb_add_site_to_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site);
HB_API Hb_Rc hb_remove_site_from_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site);

/* Replace the group's members with every configured node, adapter or site.  Opens (all functions). */
HB_API Hb_Rc hb_add_all_nodes_to_subscription_group(Hb_Subscription_Group *group);
HB_API Hb_Rc hb_add_all_adapters_to_subscription_group(Hb_Subscription_Group *group);
HB_API Hb_Rc hb_add_all_sites_to_subscription_group(Hb_Subscription_Group *group);

/* Return the members in ascending order; the record keeps the position.  Opens (all functions).
 * Errors: 1 nothing left (*node becomes -1, *adapter 0xFFFFFFFF, *site 65535), 11 the group is of another
 * kind. */
HB_API Hb_Rc hb_get_first_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_next_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_first_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter);
HB_API Hb_Rc hb_get_next_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter);
HB_API Hb_Rc hb_get_first_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site);
HB_API Hb_Rc hb_get_next_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site);

/* Subscribes to the events of the mask for the group's members.  The name has at most 31 characters; a longer
 * one is cut.  The group can be changed and subscribed again afterwards.
 * A mask of exactly 96 (site split and merge) subscribes to site events, whatever members the group holds.  It
 * makes the caller's group a site group.  A mask of exactly 256 subscribes to messages from nodes with another
 * configuration instance, and changes the type to Hb_Diff_Inst_Num_Subscription.  Does not open the library:
 * open it first.
 * Errors: 4 mask empty or with a bit outside 0x377, 11 the group is empty, 16, 18, 21, 22 sending failed
 * (22: not open), 59 in cluster-event mode. */
HB_API Hb_Rc hb_subscribe(char *group_name, Hb_Subscription_Group *group, int events);

/* Ends the subscription with that name.  Opens.  Errors: 16, 18, 21, 22 sending failed. */
HB_API Hb_Rc hb_unsubscribe(const char *name);

/* For programs that acknowledge a site split or merge.  Both always succeed and do nothing.  They do not open
 * the library. */
HB_API Hb_Rc hb_site_down(Hb_Group *group);
HB_API Hb_Rc hb_site_merge(Hb_Group *group);

/* ------------------------------------------------------------------------------------------------
 * Cluster-event mode
 * ---------------------------------------------------------------------------------------------- */

/* The migration of a running program from the daemon to the operating system's cluster service.  It has three
 * calls, all made by the thread that reads the events: prepare, then commit, or abort to stay.  A committed
 * migration cannot be undone.
 *
 * hb_migrate_to_mox_prep creates the handlers for the service's events.  It then checks that the service and
 * the daemon describe the same cluster: the local node, and every node that the daemon knows.  The session with
 * the daemon continues.  May be called again, also in cluster-event mode; if it fails there, the handlers that
 * deliver events stay.  Does not open the library: open it first.
 * Errors: 22 the library is not open, and nothing was created; 17; 74 the handlers could not be created, also
 * when the service does not know its cluster's name yet; 63, 64, 65 the service reports no cluster, nodes or
 * interfaces (call hb_migrate_to_mox_abort then); 75 the service does not know a node that the daemon knows.
 * It fails without an error number if the local nodes differ.  Error 70 or 71 is set, even on success, when the
 * service reports a node or an interface that is neither up nor down. */
HB_API Hb_Rc hb_migrate_to_mox_prep(void);

/* Leaves the daemon for the service and asks the daemon to end after its delay.  Differences between the two
 * are reported as events.  A daemon that has already ended does not stop the commit, and does not raise
 * SIGPIPE.  The descriptors to wait on change: call hb_get_file_descriptor_array again.  Subscriptions stay,
 * with their names.
 * The events come in this order: adapters that are down, nodes that are down, exactly one configuration event
 * (128), nodes that are up, adapters that are up.  The configuration that the queries answer from changes with
 * event 128 and not before.  A node whose state is unknown to the daemon or to the service has no node event.
 * If the service does not answer, the commit uses what the preparation read, provided no event has been read
 * since.  Otherwise event 128 alone is queued, the configuration stays, and the next successful reading reports
 * the difference.
 * After a commit without a successful preparation, no events are delivered until a later preparation and commit
 * succeed.
 * A second commit reports what has changed in the configuration since the first.  It discards unread events
 * about the configuration and the node list.  It keeps unread events about the death or return of single
 * nodes and adapters.  The program receives those events after event 128.
 * The call waits while a suspended daemon does not read.  It opens a library that is not open, to reach the
 * daemon.  Always succeeds, but may set an error number: that of hb_init or of sending if the daemon could not
 * be asked; 17, 63, 64, 65, 70, 71 from reading the service; 59 if the events could not be signalled; 73 if a
 * node is known to the service or to the daemon, but not to both.  A second commit compares the service with the
 * configuration in use instead. */
HB_API Hb_Rc hb_migrate_to_mox_commit(void);

/* Cancels the preparation and stays with the daemon.  After a commit, no handlers remain and no events are
 * delivered until a later preparation and commit succeed.  Does not open the library.  Always succeeds, also
 * when repeated. */
HB_API Hb_Rc hb_migrate_to_mox_abort(void);

/* Reports, in cluster-event mode, that the program has received a message from the node, which is therefore
 * alive.  If the node had been reported dead, it is up again and a join event follows.  Otherwise an event 0
 * with the name "<EMPTY EVENT>" follows, also for a number that no node has.  Each pending event needs 384 KiB,
 * which is kept for later messages: read events between calls.  In daemon mode, and when memory is short, the
 * call succeeds and no event follows.  Opens.
 * Errors: 59 the event could not be signalled. */
HB_API Hb_Rc hb_mox_msg_received_from(short node);

/* ------------------------------------------------------------------------------------------------
 * Control requests
 *
 * They inform the daemon, or ask it to act on an adapter of the local node.  Opens (all functions).  Errors of
 * all: 16, 18, 21, 22 sending failed.  The daemon acts only for root and its configured group.  For any other
 * user it rejects a request that has an answer (error 3 or 8) and ignores a request that has none.  In
 * cluster-event mode the requests without an answer succeed without effect, and those with one fail with error
 * 12.  After hb_remove_socket both kinds fail with error 22 in daemon mode.
 * ---------------------------------------------------------------------------------------------- */

/* Report that a node or adapter may be down, or is down.
 * Errors: 4 number out of range; not configured: 9 node, 7 adapter. */
HB_API Hb_Rc hb_node_may_be_down(short node);
HB_API Hb_Rc hb_node_is_down(short node);
HB_API Hb_Rc hb_adapter_may_be_down(unsigned int adapter);
HB_API Hb_Rc hb_adapter_is_down(unsigned int adapter);

/* Include an adapter of this node in heartbeats, or exclude it.
 * Errors: 4 out of range or not of this node, 7 not configured. */
HB_API Hb_Rc hb_enable_adapter(unsigned int adapter);
HB_API Hb_Rc hb_disable_adapter(unsigned int adapter);

/* Report that the interface of an adapter of this node was set down, or up.
 * Errors: 4 out of range or not of this node, 7 not configured. */
HB_API Hb_Rc hb_ifconfig_down(unsigned int adapter);
HB_API Hb_Rc hb_ifconfig_up(unsigned int adapter);

/* The four functions below wait at most 55 seconds for the daemon's answer.  An event that arrives before the
 * answer is lost and ends the call with error 10.  A program that also reads events should therefore use a
 * separate process for these requests.  Errors of all four: 2 no answer in time, 3 rejected, 4 out of range or
 * not of this node, 7 not configured, 8 the daemon could not do it, 10 unexpected answer, 12 waiting failed, or
 * the connection's descriptor is 1024 or above. */

/* Gives an adapter of this node the IPv4 address.  Also: 50 the address is in use, 51 the adapter cannot
 * use it. */
HB_API Hb_Rc hb_configure_adapter(unsigned int adapter, Hb_IP_address4 address);
/* Removes the adapter's address. */
HB_API Hb_Rc hb_unconfigure_adapter(unsigned int adapter);
/* Makes the adapter exchange addresses with the adapter of this node that has the given address. */
HB_API Hb_Rc hb_swap_adapters(unsigned int adapter, Hb_IP_address4 address);
/* Returns the state that the daemon reports for an adapter of this node: *state becomes an Hb_Entity_State.  A
 * daemon that rejects the request gives error 10 here, not 3. */
HB_API Hb_Rc hb_get_adapter_state(unsigned int adapter, int *state);

/* Asks the daemon not to consider an adapter of this node down for this many seconds.  Waits for the answer
 * without limit.  Errors: 4 out of range or not of this node, 7 not configured, 8 the daemon could not do it,
 * 10, 12, 52 the time is out of range, 55 the adapter is down, 56 grace is running already. */
HB_API Hb_Rc hb_adapter_grace(unsigned int adapter, int seconds);

/* Test hook: makes the daemon act as if it had slept for this many seconds. */
HB_API Hb_Rc hb_simulate_death(int slept_sec);

/* Makes the daemon discard messages that waited too long (1), or keep them (any other value). */
HB_API Hb_Rc hb_discard_stale_messages(int discard_flag);

/* Sends a sign of life of this program.  Only the low 32 bits of seqnum are sent. */
HB_API Hb_Rc hb_client_heartbeat(unsigned long seqnum);

/* Puts a network interface module under manual control, or ends manual control.  interface names the module; an
 * empty name means all.  Errors: 4 ctrl is neither of the two values, or interface is null. */
enum { HB_NIM_MANCTRL_ENABLE = 1, HB_NIM_MANCTRL_DISABLED = 2 };
HB_API Hb_Rc hb_nim_manual_start_control(int ctrl, char *interface);

/* Asks the daemon to end after its configured delay. */
HB_API Hb_Rc hb_mox_delayed_daemon_shutdown(void);

/* ------------------------------------------------------------------------------------------------
 * Routes.  Opens (all functions).  Errors: 4 node out of range or a null pointer.  In cluster-event mode no
 * daemon can be asked: hb_get_route fails with error 12, and hb_daemon_route_mcast succeeds without effect.
 * After hb_remove_socket both fail with error 22 in daemon mode.
 * ---------------------------------------------------------------------------------------------- */

/* The hops to a node, 176 bytes.  A separate length says how many are used. */
enum { HB_ROUTE_HOPS = 11 };
typedef struct Hb_Route {
    Hb_IP_address6 sr_address[HB_ROUTE_HOPS];
} Hb_Route;

/* Asks the daemon for the route to a node; waits for the answer without limit.  An event that arrives before
 * the answer is lost and ends the call with error 10, as with control requests.
 * Errors: 6 no route, 9 node not configured, 10 unexpected answer or more than HB_ROUTE_HOPS hops, 12, 16, 18,
 * 21, 22. */
HB_API Hb_Rc hb_get_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);

/* Return the route to a node, configured or not, from shared memory without asking the daemon.  While the
 * daemon rewrites the routes, they wait at most three seconds and no longer than the daemon runs.  Then they
 * read what is there.  hb_read_ip_route returns IP routes only.
 * Errors: 6 no route, more than HB_ROUTE_HOPS hops, or no shared memory that holds the node; 49 not an IP
 * route. */
HB_API Hb_Rc hb_read_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);
HB_API Hb_Rc hb_read_ip_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);

/* Asks the daemon to deliver the buffers, one after the other, to a port on n nodes.  Only the low 16 bits of
 * port are used.  0 to 6 buffers, none null or empty; 1 to 2049 nodes, none listed twice.  If n is above 2, the
 * call sorts the caller's array of nodes, even if it then fails because of the buffers or the size.  The
 * whole request, 60 + 4 x n bytes plus the payload, has at most 10000 bytes.  The call does not wait for an
 * answer.
 * Errors: 4 a pointer or buffer is null, a count or length is out of range, a node is listed twice; 53 too
 * large; 16, 18, 21, 22 sending failed. */
HB_API Hb_Rc hb_daemon_route_mcast(const struct iovec *iov, int count, int port, int *nodes, int n);

/* ------------------------------------------------------------------------------------------------
 * Security keys
 * ---------------------------------------------------------------------------------------------- */

typedef struct Hb_Security_Status {
    Hb_Boolean securityOn;
    int32_t keyCount;
    Hb_Boolean KLOM_compatible;
    Hb_Boolean is_valid_for_signing;
    Hb_Boolean is_valid_for_authenticating;
    sec_key_desc key; /* zeroed: no key */
} Hb_Security_Status;

enum { HB_KEY_CACHE_SIZE = 10 };
typedef struct Hb_Key_Cache {
    sec_key_desc keyCache[HB_KEY_CACHE_SIZE]; /* zeroed: no key */
    uint32_t keyCacheCount;
} Hb_Key_Cache;

/* Returns the generation of the security information.  When it changes, read the keys again.
 * Opens.  Errors: 4 null pointer, 33 the key segment is not attached. */
HB_API Hb_Rc hb_get_security_sequence(Hb_Sequence_Number *sequence);

/* Returns the current security state, the previous one, and the cached keys.
 * The daemon may be changing them.  A successful reading is consistent if hb_get_security_sequence returned the
 * same number before and after it.  A reading that failed without an error number can be tried again.
 * All descriptors are zeroed before anything else.  So hb_free_security_info_keys, called once, releases the
 * keys that were made, whatever the result.
 * A key that cannot be unmarshalled, as happens while the daemon changes the keys, ends the call without an
 * error number.  Fields are filled in the order current, previous, cache: those before the key are filled by
 * then, the others are not.
 * Opens.  Errors: 4 null pointer, 33 the key segment is not attached. */
HB_API Hb_Rc hb_get_security_infomation(Hb_Security_Status *current, Hb_Security_Status *previous,
                                        Hb_Key_Cache *cache);

/* Releases the keys of the three records, any of which may be null.  The descriptors are not changed: do not
 * release them twice.  Does not open the library; succeeds. */
HB_API Hb_Rc hb_free_security_info_keys(Hb_Security_Status *current, Hb_Security_Status *previous,
                                        Hb_Key_Cache *cache);

#ifdef __cplusplus
}
#endif

#endif
