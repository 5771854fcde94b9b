/*
 * hb_client.h - the cluster heartbeat client library, libhb_client.so
 *
 * A program on a cluster node includes this one header to learn which nodes, adapters, networks and
 * sites are configured and alive, and to be told the moment that changes.
 *
 * CONVENTIONS
 *
 *  1. Results.  Unless said otherwise a function returns Hb_Success (2) or Hb_Failure (3).  After
 *     Hb_Failure the reason is the number that hb_get_errno() gives.  There is one such number for the
 *     process, not one for each thread; a later success leaves it as it was.
 *  2. Opening.  A function marked "Opens" first opens the library as hb_init() does, if it is not open.
 *     If that fails it returns Hb_Failure, has written nothing, and the error number is hb_init's.  The
 *     numbers that opening can give are listed at hb_init() and are not repeated below.
 *  3. Outputs are written on success only, except where a function says that it writes a "none" value.
 *     A null pointer where an answer should go gives error 4 before anything is sent or waited for.
 *  4. Iterations come in first/next pairs.  "First" starts at the beginning whatever the cursor held;
 *     "next" goes on from the cursor.  When nothing is left: the none value, error 1, Hb_Failure, and the
 *     cursor stays.  A cursor below 0 counts as 0.
 *  5. Memory.  Records are the caller's; the library keeps no pointer into them after a call returns.
 *     What the library allocates for the caller has a free function of its own named below.
 *  6. Threads and processes.  Call the library from one thread at a time.  Two things are allowed besides.  Several
 *     threads may make the first call at once: one opens, the others wait, and each tries itself if that failed.
 *     A process may end by exit() while another thread is inside a call.  Do not close the session in one thread
 *     while another waits for an event: the waiting call may never return.  The library starts no thread,
 *     changes no signal disposition and lets no C++ exception out.
 *     A forked child shares the connection with its parent, and each event reaches only one of the two.  A child
 *     that goes on without exec calls hb_terminate first: the parent's session is left alone, and the child may
 *     open its own.  A child that is forked while another thread is inside a call finds no lock held.  A program
 *     that is started by exec inherits no descriptor of the library.
 *  7. Signals.  A write to a daemon that has ended raises SIGPIPE.  A program that does not want that signal ignores
 *     it (signal(SIGPIPE, SIG_IGN)); the call then fails with error 16.
 *  8. Values.  Enumerated fields are plain 32-bit integers: a value that the daemon sends and this header
 *     does not name is handed on as it arrived.
 *  9. Layout.  Every record below has the same size and offsets in 32-bit and 64-bit programs, but for
 *     Hb_Client_Hb_Info and those that hold security keys.
 *
 * ENVIRONMENT, read each time the library is opened
 *
 *  HB_SERVER_SOCKET  base path of the daemon's socket; default /var/ha/soc/wisp/server_socket.  Once taken over
 *                    it stays the base path, also when the variable is unset later.
 *  HA_DOMAIN_NAME    if not empty, "." and this are appended to the base path
 *  HA_SYSPAR_NAME    the same, when HA_DOMAIN_NAME is unset or empty
 *
 *  A program that runs with more rights than its caller (set-user-ID, set-group-ID, file capabilities) ignores all
 *  three: its caller does not choose which daemon it believes.
 *
 * ERROR NUMBERS
 *
 *    1  nothing (more) to iterate over
 *    2  the time-out ended before anything arrived
 *    3  the group record does not carry what was asked for; the daemon refuses the request
 *    4  an argument is out of range, or a pointer is null
 *    5  the group record is of another type
 *    6  there is no route to the node
 *    7  the adapter or address is not in the configuration, or not in the group
 *    8  the network is not configured; the daemon could not do what was asked
 *    9  the node is not configured (it has no adapter)
 *   10  the daemon sent something else than was expected, or a record that does not hold together
 *   11  the subscription group's type does not allow this
 *   12  waiting for or reading from the daemon failed.  Records may be out of step then: hb_terminate, and open
 *       again.  Also given when the daemon died with a request unread; the next call then gives 16.  A cluster
 *       service that calls the library while the library opens receives it, too.
 *   13  the socket could not be made
 *   14  the socket's buffer size could not be set
 *   15  no daemon listens at the socket path, this user may not connect to it, the path is longer than 107
 *       bytes, or a signal ended the wait for the connection: one handled by a handler installed without SA_RESTART
 *   16  the daemon closed the connection.  Every later call gives it again: hb_terminate, and open again after a
 *       pause.  The README shows the steps under "When the daemon ends".
 *   17  out of memory
 *   18  sending: bad address         21  sending: input/output error
 *   22  sending failed otherwise (a part was written, a negative length, no connection), or the library is not
 *       open.  After a part was written, hb_terminate and open again.
 *   23, 26, 27  reading the configuration failed: bad address, input/output error, otherwise
 *   28, 29, 54, 30  no key for the configuration, route or security segment, or the semaphores
 *   31-36  a shared segment could not be found: permission, size, absent, memory, limit, otherwise
 *   37-39, 41, 42  a shared segment could not be attached: permission, invalid, absent, memory, otherwise.  37 also
 *       for a segment that neither root nor the user who runs the connected daemon created.
 *   43-48  the semaphores could not be found: permission, size, absent, memory, limit, otherwise.  43 also for
 *       a set that neither root nor the user who runs the connected daemon created.
 *   49  the route to the node is not an IP route
 *   50, 51  the address cannot be configured: it is in use, the adapter cannot carry it
 *   52, 55, 56  no grace: the time is out of range, the adapter is down, grace is running already
 *   53  the payload or the request is too large
 *   58  cluster-event mode: the request for a new group could not be read
 *   59  the subscription could not be handed to the cluster-event handlers, or an event could not be signalled
 *   63-65  the cluster service did not tell the cluster (63: none is installed), its nodes, its interfaces
 *   68, 72  cluster-event mode: a byte that is no request, or no wake-up, came through a pipe of the library
 *   70, 71  a node's or adapter's state is neither up nor down
 *   73, 75  the cluster service does not know every node that the daemon knows
 *   74  the cluster-event handlers could not be made, or the cluster service did not report its name
 *   81  no cluster-event handler owns any of the ready descriptors
 *   82  a cluster-event handler was given up more often than it was made
 *   84  the site is not configured
 *   86-88  the cluster service did not tell the local site, the local node's identifier, the merge policy
 *  19, 20, 24, 25 and 40 are kept for other transports and are not given by this one.
 */
#ifndef HB_CLIENT_H
#define HB_CLIENT_H

#include <netinet/in.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>
#include <sys/uio.h>

#include "qz_mss.h"

/* The library takes and fills the platform's own timeval. A 32-bit program built for the wider one would pass
 * time-outs that the library reads as zero. Define HB_CLIENT_WITHOUT_TIMEVAL where none is passed. */
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

/* Truth.  Fields that arrive from the daemon may hold other values than these two. */
typedef int32_t Hb_Boolean;
enum { Hb_False = 0, Hb_True = 1 };

/* Fixed capacities of the records. */
enum {
    HB_NODE_SLOTS = 2049,    /* node numbers 0 to 2048 */
    HB_NETWORK_SLOTS = 48,   /* network numbers 0 to 47 */
    HB_ADAPTER_SLOTS = 98352 /* HB_NODE_SLOTS x HB_NETWORK_SLOTS */
};

/* Bytes of each text, its terminating NUL included. */
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
typedef uint32_t Hb_Incarnation;     /* bit 27: died because it was removed; all bits: not in the group */
typedef uint32_t Hb_Config_Instance; /* generation of a configuration */
typedef uint32_t Hb_Sequence_Number; /* generation of shared data */
typedef int32_t Hb_Cursor;           /* iteration position, one past the last item given */

typedef char Hb_Name[HB_NAME_SIZE];
typedef char Hb_Network_Name[HB_NETWORK_NAME_SIZE];
typedef char Hb_Network_Type[HB_NETWORK_TYPE_SIZE];
typedef char Hb_Adapter_Type[HB_ADAPTER_TYPE_SIZE];
typedef char Hb_FFDC_Id[HB_FFDC_ID_SIZE];

/* 16-byte address in network byte order.  An IPv4 address sits in v4_in_v6_ipv4 behind the three
 * filler words 0, 0 and htonl(0xFFFF). */
typedef union Hb_IP_address6 {
    struct {
        uint32_t filler[3];
        uint32_t v4_in_v6_ipv4;
    } v4_in_v6;
    struct in6_addr i6_ipv6;
} Hb_IP_address6;

/* An IPv4 address in network byte order. */
typedef struct in_addr Hb_IP_address4;

/* State of a node, adapter or site, and why a node is in it. */
typedef int32_t Hb_Entity_State;
enum { Hb_Entity_Undef = 0, Hb_Entity_Up = 1, Hb_Entity_Down = 2 };
typedef int32_t Hb_Entity_State_Reason;
enum {
    Hb_Entity_State_Reason_Down = 0,
    Hb_Entity_State_Reason_Up = 1,
    Hb_Entity_State_Reason_KOBAL_Down = 2,
    Hb_Entity_State_Reason_KOBAL_Up = 3
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

/* One network, 86 bytes.  It is configured when its name is not empty. */
typedef struct Hb_Network_Entry {
    Hb_Network_Name Hb_network_name;
    Hb_Network_Type Hb_network_type;
} Hb_Network_Entry;

/* ------------------------------------------------------------------------------------------------
 * Events and the membership group record
 * ---------------------------------------------------------------------------------------------- */

/* What happened.  A subscription's mask may hold 1, 2, 4, 16, 32, 64, 256 and 512. */
typedef int32_t Hb_Events;
enum {
    HB_EVENT_DEATH = 1,           /* nodes or adapters died */
    HB_EVENT_JOIN = 2,            /* nodes or adapters joined */
    HB_EVENT_NEW_GROUP = 4,       /* a group with all its members */
    HB_EVENT_FFDC = 8,            /* a first-failure identifier */
    HB_EVENT_SITE_SPLIT = 32,     /* the sites lost each other */
    HB_EVENT_SITE_MERGE = 64,     /* the sites found each other */
    HB_EVENT_CONFIG = 128,        /* the configuration changed; the group record is not filled */
    HB_EVENT_DIFF_INSTANCE = 256, /* somebody with another configuration instance spoke */
    HB_EVENT_HEARTBEAT = 512      /* heartbeat settings; read them with hb_get_client_hb_info */
};

/* Which member of the union of an Hb_Group holds. */
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

/* 16-byte unique identifiers, as the cluster service gives them. */
typedef struct Hb_Uuid {
    uint32_t word[4];
} Hb_Uuid;
typedef Hb_Uuid node_id_t;
typedef Hb_Uuid site_id_t;
typedef Hb_Uuid cluster_id_t;

/* One side of a split or merge of sites, 68 bytes. */
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
    Hb_IP_address6 addr;             /* who spoke */
    Hb_Config_Instance machinesInst; /* its configuration instance */
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

/* One event, 393,480 bytes: allocate it on the heap or statically, not on a small stack.  The caller
 * owns it; each event overwrites what it uses of it and leaves the rest. */
typedef struct Hb_Group {
    Hb_Group_Type Hb_group_type;
    Hb_Cursor Hb_cursor; /* of the iterations over this record: one at a time */
    Hb_Events Hb_events;
    Hb_Group_Status Hb_group_status; /* meaningful for new-group events */
    Hb_FFDC_Id Hb_ffdc_id;           /* empty when there is none */
    char Hb_padding;
    union {
        Hb_Adapter_Membership_Grp Hb_adapter_membership_grp;
        Hb_Node_Membership_Grp Hb_node_membership_grp;
        struct diff_instance_info diff_instance_info;
        struct site_split_info site_split_info;
        struct site_merge_info site_merge_info;
    } Hb_membership_grp_union;
} Hb_Group;

/* One adapter at one incarnation; from hb_get_group_id, a group. */
typedef struct Hb_Adapter_Identifier {
    Hb_Adapter_Number Hb_adapter_number;
    Hb_Incarnation Hb_incarnation;
    Hb_Boolean Hb_died_because_removed;
} Hb_Adapter_Identifier;
typedef Hb_Adapter_Identifier Hb_Group_Identifier;

/* Heartbeat settings of the daemon.  Its size follows the platform's timeval. */
typedef struct Hb_Client_Hb_Info {
    struct timeval client_hb_thresh; /* heartbeat threshold, seconds and microseconds */
    Hb_Boolean client_hb_is_enabled;
    pid_t client_hb_daemon_pid;
} Hb_Client_Hb_Info;

/* ------------------------------------------------------------------------------------------------
 * The subscription group
 * ---------------------------------------------------------------------------------------------- */

typedef int32_t Hb_Subscription_Type;
enum {
    Hb_Node_Subscription = 0,
    Hb_All_Nodes_Subscription = 1, /* while hb_subscribe runs only */
    Hb_Adapter_Subscription = 2,
    Hb_All_Adapters_Subscription = 3, /* while hb_subscribe runs only */
    Hb_Empty_Subscription = 4,
    Hb_Network_Subscription = 5,
    Hb_Diff_Inst_Num_Subscription = 6,
    Hb_Site_Subscription = 7,
    Hb_All_Sites_Subscription = 8 /* while hb_subscribe runs only */
};

/* Bytes of the bitmaps.  Number i is bit 0x80 >> (i mod 8) of byte i / 8. */
enum { HB_ADAPTER_BITMAP_SIZE = 12294, HB_NODE_BITMAP_SIZE = 257, HB_SITE_BITMAP_SIZE = 1 };

/* What a client wants events for, 12,348 bytes; sent to the daemon as it lies in memory.  Build it with
 * the functions below, starting with hb_empty_subscription_group. */
typedef struct Hb_Subscription_Group {
    Hb_Subscription_Type Hb_subscription_type;
    Hb_Cursor Hb_cursor;         /* of the iterations over this record: one at a time */
    Hb_Events Hb_events;         /* the mask last given to hb_subscribe */
    Hb_Name Hb_name;             /* the name last given to hb_subscribe */
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
 * shared segments and loads the configuration.  Does nothing when it is open, also after hb_remove_socket.
 * A caller need not call it.  It waits without limit while a daemon accepts the connection late or does not
 * answer.  A signal that is handled by a handler installed without SA_RESTART ends the wait for the connection with
 * error 15.  It does not end the wait for an answer: a daemon that is stopped has a queue that accepts the
 * connection, and does not answer.  Cancelling the thread ends every wait and leaves the library closed.  Other
 * threads that open meanwhile wait, too.
 * A failed call leaves the library closed and the configuration empty.  It may be repeated; the next one
 * starts afresh.  Until then the failed one's connection stays and no call uses it: hb_remove_socket drops it.
 * Errors: 10, 12, 13, 14, 15, 16, 17, 18, 21, 22, 23, 26, 27, 28-39, 41-48, 54; in cluster-event mode
 * 17, 63, 64, 65.  12 also when a cluster service calls it while the library opens: that opening goes on. */
HB_API Hb_Rc hb_init(void);

/* Closes an open library: drops the cluster-event handlers and the connection, if hb_remove_socket has not.  The
 * shared segments stay attached until the process ends or the library is opened again.  Descriptors got from
 * hb_get_file_descriptor_array are no longer valid.  Cluster events that are still queued outlive the call: they
 * are delivered after the next preparation and commit, with the adapter numbers of the session that ended.  It
 * also closes a session that hb_init_communication interrupted, with the connection that this call made.
 * Succeeds, and does nothing otherwise when the library is not open: a connection that hb_init_communication made
 * on a closed library stays. */
HB_API Hb_Rc hb_terminate(void);

/* The reason of the last failure in any thread; 0 while nothing has failed.  Does not open the library. */
HB_API int hb_get_errno(void);

/* Steps of opening and closing, for programs that manage the connection themselves.  None opens the
 * library.
 * hb_init_communication resolves the socket path and makes the connection and its wait set, after
 * dropping those there are; the daemon knows nothing of subscriptions made on another connection.  On that
 * connection hb_subscribe and hb_get_event_message work without a configuration.  A library that was open is
 * not open any more and its configuration is empty: the next call that opens does so with a connection of its
 * own, and hb_terminate closes the session and this connection.  It waits like hb_init.  Errors: 12, 13, 14, 15,
 * 17.
 * hb_remove_socket drops the connection and hb_remove_client_select the wait set; both succeed, also when
 * there is none.  They wait while another thread opens.  An open library stays open without its connection:
 * queries answer from the configuration that it has, and requests give error 22.
 * hb_get_file_descriptor_array and hb_get_event_message then open anew as a whole, since another daemon may
 * listen by now: connection, segments and configuration. */
HB_API Hb_Rc hb_init_communication(void);
HB_API Hb_Rc hb_remove_socket(void);
HB_API Hb_Rc hb_remove_client_select(void);

/* Registers the trace component "_HBC" with the trace library, once for the process.  hb_init does it. */
HB_API void hbc_initialize_trace_once(void);

/* ------------------------------------------------------------------------------------------------
 * Events
 * ---------------------------------------------------------------------------------------------- */

/* The descriptors to wait on for reading: *descriptor becomes a new array of *numbers_of_fds descriptors
 * followed by -1, to be released with hb_free_file_descriptor_array.  The descriptors stay the library's:
 * do not close, read or write them.  In daemon mode there is one; ask again after hb_terminate.  In
 * cluster-event mode there are nine, or none while there are no handlers; ask again after
 * hb_migrate_to_mox_commit, too.
 * Opens; in daemon mode it opens anew a library whose connection hb_remove_socket has dropped, and the caller has
 * to subscribe again.  When that fails the library is closed and no connection stays.  Errors: 4 (null pointer), 17. */
HB_API Hb_Rc hb_get_file_descriptor_array(int **descriptor, int *numbers_of_fds);

/* Releases an array from hb_get_file_descriptor_array.  Does not open the library.
 * Errors: 4 (null pointer). */
HB_API Hb_Rc hb_free_file_descriptor_array(int *descriptors);

/* Waits for the next event and takes it.
 *   descriptors  an array from hb_get_file_descriptor_array; if its first entry is -1 the call fails at
 *                once and sets no error number
 *   timeout      how long to wait for an event to begin; null waits without limit; not changed.  Waiting with a
 *                time-out needs a connection whose descriptor is below 1024; with another one it is error 12.
 *   events       gets the kind of event, one value of HB_EVENT_...
 *   name         gets the name of the subscription the event belongs to; at least 32 bytes.
 *                "Hb_Config_Group" for a configuration change, "Hb_FFDC_Group" for a failure identifier
 *   group        gets the event
 *   seqnum_p     gets the event's sequence number
 * A configuration change replaces the configuration that the queries below answer from.
 * In cluster-event mode it does not wait: give it those of the descriptors that are ready, followed by -1.
 * One call takes one event, for the first of them; *events is 0 when there was none for the caller.  What
 * is told of nodes or adapters while there is no subscription to them has the name "<EMPTY EVENT>".
 * In cluster-event mode it does not open the library.  In daemon mode it does where there is no connection that
 * it can use, however that came about, and the caller has to subscribe again.  Opening may wait longer than
 * the time-out (hb_init).  When it fails the errors are hb_init's, the library is closed, no connection stays,
 * and the next call tries again.  A connection made by hb_init_communication is used as it is.
 * Errors: 2 time-out, 4 null pointer, 12 wait or read failed (also when memory is short for the record), 16 the
 * daemon closed the connection (hb_terminate and a new call open it again); 10
 * unexpected or unsound record, 17 out of memory for a new configuration: the record is dropped, and unless
 * it was shorter than its header *seqnum_p is set and the group's Hb_ffdc_id cleared, nothing else.
 * In cluster-event mode: 4, 17, 58, 59, 63, 64, 65, 68, 81, 86, 87, 88; none when a service's event could not be
 * read.  With 17, 63, 64 or 65 a change could not be worked out, because memory was short or the cluster service
 * did not answer: nothing is reported or changed, and the next reading of the service that succeeds reports the
 * difference.  The account that follows a subscription is not repeated after a 64 or 65: subscribe again.  These
 * numbers may also stay behind on success: a node's death or return is reported by its own record alone then. */
HB_API Hb_Rc hb_get_event_message(int *descriptors, struct timeval *timeout, int *events, char *name,
                                  Hb_Group *group, unsigned long *seqnum_p);

/* Copies the daemon's heartbeat settings as the last heartbeat event gave them; all zero before the first.
 * Does not open the library.  Errors: 4 (null pointer). */
HB_API Hb_Rc hb_get_client_hb_info(Hb_Client_Hb_Info *client_hb_info_p);

/* ------------------------------------------------------------------------------------------------
 * Configuration: counts.  All open.  Errors: 4 (null pointer).
 * ---------------------------------------------------------------------------------------------- */

/* The number of the node this program runs on. */
HB_API Hb_Rc hb_get_my_node_number(Hb_Node_Number *node);
/* How many nodes own at least one adapter. */
HB_API Hb_Rc hb_get_number_of_configured_nodes(int *count);
/* How many networks the configuration lists. */
HB_API Hb_Rc hb_get_number_of_configured_networks(int *count);
/* How many adapters are configured, whatever their state. */
HB_API Hb_Rc hb_get_number_of_configured_adapters(int *count);
/* How many sites are configured; 0 in daemon mode. */
HB_API Hb_Rc hb_get_number_of_configured_sites(int *count);

/* ------------------------------------------------------------------------------------------------
 * Configuration: iterations.  All open.  The cursor is the caller's and need not be set before "first".
 * Errors: 1 nothing left (the none value is written, the cursor stays), 4 null pointer.
 * ---------------------------------------------------------------------------------------------- */

/* Nodes that own an adapter, ascending.  None: -1. */
HB_API Hb_Rc hb_get_first_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_node_number(Hb_Node_Number *node, Hb_Cursor *cursor);

/* Sites, ascending.  None: 65535. */
HB_API Hb_Rc hb_get_first_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_site_number(Hb_Site_Number *site, Hb_Cursor *cursor);

/* Networks that have a name, ascending.  None: -1. */
HB_API Hb_Rc hb_get_first_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_network_number(Hb_Network_Number *network, Hb_Cursor *cursor);

/* All adapters in the order in which the configuration lists them.  None: 0xFFFFFFFF. */
HB_API Hb_Rc hb_get_first_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_number(Hb_Adapter_Number *adapter, Hb_Cursor *cursor);

/* The adapters of one network in the order of the configuration.  None: 0xFFFFFFFF.
 * Also: 4 network out of range, 8 network not configured (then nothing is written). */
HB_API Hb_Rc hb_get_first_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                        Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_in_network(Hb_Network_Number network, Hb_Adapter_Number *adapter,
                                                       Hb_Cursor *cursor);

/* The adapters of one node, ascending.  None: 0xFFFFFFFF.
 * Also: 4 node out of range, 9 node not configured (then nothing is written). */
HB_API Hb_Rc hb_get_first_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                                     Hb_Cursor *cursor);
HB_API Hb_Rc hb_get_next_configured_adapter_in_node(Hb_Node_Number node, Hb_Adapter_Number *adapter,
                                                    Hb_Cursor *cursor);

/* ------------------------------------------------------------------------------------------------
 * Configuration: look-ups.  All open.  Errors: 4 a number out of range or a null pointer, and as told.
 * ---------------------------------------------------------------------------------------------- */

/* The first adapter, in the order of the configuration, that has this address.
 * Error 7: none has; *adapter becomes 0xFFFFFFFF. */
HB_API Hb_Rc hb_get_adapter_number_by_address(Hb_IP_address6 address, Hb_Adapter_Number *adapter);

/* The adapter in slot offset (the network number) of a node.  Error 7: there is none. */
HB_API Hb_Rc hb_get_adapter_number_by_node_number(Hb_Node_Number node, int offset, Hb_Adapter_Number *adapter);

/* How many adapters a node has.  Error 9: the node is not configured. */
HB_API Hb_Rc hb_get_number_of_configured_adapters_in_node(Hb_Node_Number node, int *count);

/* The node of an adapter.  Error 7: no such adapter. */
HB_API Hb_Rc hb_get_node_number_by_adapter_number(Hb_Adapter_Number adapter, Hb_Node_Number *node);

/* The adapter's type, for instance an interface name; type has at least 36 bytes.  Error 7: no such
 * adapter. */
HB_API Hb_Rc hb_get_adapter_type_by_number(Hb_Adapter_Number adapter, char *type);

/* The adapter's address.  Error 7: no such adapter. */
HB_API Hb_Rc hb_get_adapter_address_by_number(Hb_Adapter_Number adapter, Hb_IP_address6 *address);

/* The network's name; name has at least 70 bytes.  Error 8: the network is not configured. */
HB_API Hb_Rc hb_get_network_name_by_number(Hb_Network_Number network, char *name);

/* The network's type; type has at least 16 bytes.  A network in range that is not configured is no error: its
 * type is what its entry holds, which is empty if it never was configured. */
HB_API Hb_Rc hb_get_network_type_by_number(Hb_Network_Number network, char *type);

/* The lowest-numbered network of this name.  Error 8: there is none; *network becomes -1. */
HB_API Hb_Rc hb_get_network_number_by_name(char *name, Hb_Network_Number *network);

/* ------------------------------------------------------------------------------------------------
 * Reading an event's group record.  A null pointer gives error 4.
 * ---------------------------------------------------------------------------------------------- */

/* The nodes of a node group, ascending; the position is kept in the record.  Opens.
 * Errors: 1 no more (*node becomes -1), 5 not a node group. */
HB_API Hb_Rc hb_get_first_node(Hb_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_next_node(Hb_Group *group, Hb_Node_Number *node);

/* The adapters of an adapter group, ascending, each with its incarnation (bit 27 taken out) and whether it
 * died because it was removed from the configuration.  Opens.
 * Errors: 1 no more (*adapter is left as it was), 5 not an adapter group. */
HB_API Hb_Rc hb_get_first_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter);
HB_API Hb_Rc hb_get_next_adapter(Hb_Group *group, Hb_Adapter_Identifier *adapter);

/* What the record holds for the node: Hb_True for a member; other values as they arrived.  Does not open
 * the library: before it is open every number is out of range.
 * Hb_False with error 4 out of range, 5 not a node group. */
HB_API Hb_Boolean hb_is_node_in_group(Hb_Group *group, Hb_Node_Number node);

/* Whether the adapter is a member.  Does not open the library, as above.
 * Hb_False with error 4 out of range, 5 not an adapter group. */
HB_API Hb_Boolean hb_is_adapter_in_group(Hb_Group *group, Hb_Adapter_Number adapter);

/* The adapter's number and its incarnation as stored, bit 27 left in; Hb_died_because_removed is not
 * written.  Opens.  Errors: 4 out of range, 5 not an adapter group, 7 not in the group. */
HB_API Hb_Rc hb_get_adapter_id(Hb_Group *group, Hb_Adapter_Number adapter, Hb_Adapter_Identifier *id);

/* Whether the group is stable (0) or not (1).  Opens.  Errors: 3 not a new-group event. */
HB_API Hb_Rc hb_get_group_status(Hb_Group *group, int *status);

/* The leader of an adapter group and its incarnation as stored.  Opens.
 * Errors: 3 not a new-group event, 4 the leader is no adapter number, 5 not an adapter group. */
HB_API Hb_Rc hb_get_group_leader_id(Hb_Group *group, Hb_Adapter_Identifier *id);

/* The identity of an adapter group: its leader and the group's own incarnation.  Opens.
 * Errors: 3 not a new-group event, 5 not an adapter group. */
HB_API Hb_Rc hb_get_group_id(Hb_Group *group, Hb_Group_Identifier *id);

/* The first-failure identifier of a death, join or failure-identifier event.  Opens.
 * Errors: 3 another event, or it carries none. */
HB_API Hb_Rc hb_get_FFDC_id(Hb_Group *group, Hb_FFDC_Id *ffdc_id);

/* Who spoke with another configuration instance.  Opens.  Errors: 3 another event. */
HB_API Hb_Rc hb_get_different_instance_sender(Hb_Group *group, diff_instance_info *info);

/* The two sides of a merge or split of sites.  The record is not checked: call them for HB_EVENT_SITE_MERGE
 * and HB_EVENT_SITE_SPLIT only.  Do not open the library. */
HB_API Hb_Rc hb_get_site_merge_info(Hb_Group *group, site_merge_info *info);
HB_API Hb_Rc hb_get_site_split_info(Hb_Group *group, site_split_info *info);

/* The incarnation of an identifier.  Does not open the library; 0xFFFFFFFF with error 4 for null. */
HB_API Hb_Incarnation hb_adapter_incarnation(Hb_Adapter_Identifier *id);

/* Whether the adapter died because it was removed from the configuration.  Opens; when that fails the
 * result is 3 (Hb_Failure), which is neither Hb_True nor Hb_False.  Hb_False with error 4 for null. */
HB_API Hb_Boolean hb_has_adapter_died_because_removed(Hb_Adapter_Identifier *id);

/* ------------------------------------------------------------------------------------------------
 * Subscribing.  A null pointer gives error 4.
 * ---------------------------------------------------------------------------------------------- */

/* Makes the record an empty group.  Only its type is set: zero the record first, since it travels whole.
 * Opens. */
HB_API Hb_Rc hb_empty_subscription_group(Hb_Subscription_Group *group);

/* Add or remove one member.  The first member decides what the group is of; adding a member twice or
 * removing an absent one is no error.  A network stands for all its adapters, can be added only to an
 * empty group, and no second one can follow.  All open.
 * Errors: 4 number out of range; not configured: 9 node, 7 adapter, 8 network, 84 site; 11 the group's kind does
 * not allow it: a node in a group of adapters or sites, an adapter in one of nodes or sites, a site in one of
 * nodes or adapters, a network in any that is not empty.  Other mixtures are not refused, and change the
 * bitmap as it stands: do not make them. */
HB_API Hb_Rc hb_add_node_to_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node);
HB_API Hb_Rc hb_remove_node_from_subscription_group(Hb_Subscription_Group *group, Hb_Node_Number node);
HB_API Hb_Rc hb_add_adapter_to_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter);
HB_API Hb_Rc hb_remove_adapter_from_subscription_group(Hb_Subscription_Group *group, Hb_Adapter_Number adapter);
HB_API Hb_Rc hb_add_network_to_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network);
HB_API Hb_Rc hb_remove_network_from_subscription_group(Hb_Subscription_Group *group, Hb_Network_Number network);
HB_API Hb_Rc hb_add_site_to_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site);
HB_API Hb_Rc hb_remove_site_from_subscription_group(Hb_Subscription_Group *group, Hb_Site_Number site);

/* Make the group hold every configured node, adapter or site, whatever it held.  All open. */
HB_API Hb_Rc hb_add_all_nodes_to_subscription_group(Hb_Subscription_Group *group);
HB_API Hb_Rc hb_add_all_adapters_to_subscription_group(Hb_Subscription_Group *group);
HB_API Hb_Rc hb_add_all_sites_to_subscription_group(Hb_Subscription_Group *group);

/* The members, ascending; the position is kept in the record.  All open.
 * Errors: 1 no more (-1, 0xFFFFFFFF or 65535 is written), 11 the group is of another kind. */
HB_API Hb_Rc hb_get_first_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_next_subscription_node(Hb_Subscription_Group *group, Hb_Node_Number *node);
HB_API Hb_Rc hb_get_first_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter);
HB_API Hb_Rc hb_get_next_subscription_adapter(Hb_Subscription_Group *group, Hb_Adapter_Number *adapter);
HB_API Hb_Rc hb_get_first_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site);
HB_API Hb_Rc hb_get_next_subscription_site(Hb_Subscription_Group *group, Hb_Site_Number *site);

/* Asks for the events of the mask about the group's members, under a name of at most 31 characters (more
 * is cut).  The group can be changed and subscribed again afterwards.  Mask 96 asks for site events
 * whatever the group holds and leaves it a site group; mask 256 asks for different-instance notices and
 * leaves it of that type.  Does not open the library: open it first.
 * Errors: 4 mask empty or with a bit outside 0x377, 11 the group is empty, 16, 18, 21, 22 sending failed
 * (22: not open), 59 in cluster-event mode. */
HB_API Hb_Rc hb_subscribe(char *group_name, Hb_Subscription_Group *group, int events);

/* Ends the subscription of that name.  Opens.  Errors: 16, 18, 21, 22 sending failed. */
HB_API Hb_Rc hb_unsubscribe(const char *name);

/* Acknowledge a split or merge of sites.  They do nothing and succeed; they do not open the library. */
HB_API Hb_Rc hb_site_down(Hb_Group *group);
HB_API Hb_Rc hb_site_merge(Hb_Group *group);

/* ------------------------------------------------------------------------------------------------
 * Cluster-event mode
 * ---------------------------------------------------------------------------------------------- */

/* The move of a running program from the daemon to the operating system's cluster service, in three calls, all
 * from the thread that takes the events: prepare, then commit, or abort to stay.  There is no way back.
 *
 * hb_migrate_to_mox_prep makes the handlers of the service's events and checks that the service and the daemon
 * speak of the same cluster: the local node, and every node of the daemon's.  The session with the daemon goes
 * on as before.  May be called again, also in cluster-event mode: when it is refused there, the handlers that
 * deliver events stay.  Does not open the library: open it first.
 * Errors: 22 the library is not open, and nothing was made; 17; 74 the handlers could not be made, also when a
 * service does not know its cluster's name yet; 63, 64, 65 the service reports no cluster, nodes or interfaces (call hb_migrate_to_mox_abort then); 75 the service does not know
 * a node of the daemon's; none when the local nodes differ.  Where the service has a node or an interface that is
 * neither up nor down, 70 or 71 stays behind, also on success. */
HB_API Hb_Rc hb_migrate_to_mox_prep(void);

/* Leaves the daemon, which is asked to end after its delay, for the service; what the two tell differently
 * comes as events.  A daemon that has gone already does not stop it, nor does it raise SIGPIPE.  The
 * descriptors to wait on are others from here on: ask hb_get_file_descriptor_array again.  Subscriptions stay,
 * by their names.  The events are, in this order: adapters that are down, nodes that are down, exactly one
 * configuration event (128), nodes that are up, adapters that are up.  The configuration that the queries answer
 * from changes with event 128 and not before.  A node whose state is unknown to the daemon or to the service has no
 * node event.
 * When the service does not answer, the commit uses what the preparation read, if no event has been read since.
 * Otherwise event 128 alone is queued, the configuration stays, and the next reading that succeeds reports the
 * difference.
 * Without a preparation no events are delivered until one succeeds and is committed.
 * A second commit reports what has changed in the configuration since the first, and the unread events of the
 * configuration and of the node list end with it.  A death or return of a node or adapter whose own event is unread
 * is reported by that event, behind event 128.
 * The call waits while a daemon that has stopped does not read.  To ask the daemon it opens a library that is not
 * open.  Succeeds always; what was met on the way stays behind as the error number: that of
 * hb_init or of sending when the daemon could not be asked; 17, 63, 64, 65, 70, 71 of the service's table, 73 when it
 * lacks a node of the daemon's (at a second commit: of the configuration in use) or the other way round; 59 when the events could not be signalled. */
HB_API Hb_Rc hb_migrate_to_mox_commit(void);

/* Gives the preparation up and stays with the daemon; after a commit there are no handlers then, and no
 * events, until a preparation and its commit.  Does not open.  Succeeds always, also again. */
HB_API Hb_Rc hb_migrate_to_mox_abort(void);

/* In cluster-event mode: the program has had a message from the node, which is therefore alive.  When the node
 * had been reported dead it is up again, and a join event follows; otherwise, also for a number that no node
 * has, an event 0 with the name "<EMPTY EVENT>" does.  Each waiting event needs 384 KiB, which is kept for later
 * messages: read events between calls.  When memory is short, and in daemon mode, the call succeeds and nothing
 * follows.  Opens.
 * Errors: 59 the event could not be signalled. */
HB_API Hb_Rc hb_mox_msg_received_from(short node);

/* ------------------------------------------------------------------------------------------------
 * Control requests
 *
 * They tell the daemon something, or ask it to act on an adapter of the local node.  All open.  Errors of
 * all: 16, 18, 21, 22 sending failed.  The daemon acts for root and its configured group alone: it answers
 * anybody else with a refusal (error 3 or 8) where the request has an answer, and ignores the request
 * where it has none.  In cluster-event mode the requests without an answer succeed without effect, and
 * those with one fail with error 12.  After hb_remove_socket both kinds fail with error 22 in daemon mode.
 * ---------------------------------------------------------------------------------------------- */

/* Report that a node or adapter may be down, or is.
 * Errors: 4 number out of range; not configured: 9 node, 7 adapter. */
HB_API Hb_Rc hb_node_may_be_down(short node);
HB_API Hb_Rc hb_node_is_down(short node);
HB_API Hb_Rc hb_adapter_may_be_down(unsigned int adapter);
HB_API Hb_Rc hb_adapter_is_down(unsigned int adapter);

/* Let an adapter of this node take part in heartbeats, or not.
 * Errors: 4 out of range or not of this node, 7 not configured. */
HB_API Hb_Rc hb_enable_adapter(unsigned int adapter);
HB_API Hb_Rc hb_disable_adapter(unsigned int adapter);

/* Tell that the interface of an adapter of this node was taken down, or up.
 * Errors: 4 out of range or not of this node, 7 not configured. */
HB_API Hb_Rc hb_ifconfig_down(unsigned int adapter);
HB_API Hb_Rc hb_ifconfig_up(unsigned int adapter);

/* The four below wait at most 55 seconds for the daemon's answer.  An event that arrives before the answer
 * is lost and ends the call with error 10, so a program that also takes events uses a connection of its own
 * for them.  Errors of all four: 2 no answer in time, 3 refused, 4 out of range or not of this node, 7 not
 * configured, 8 the daemon could not do it, 10 unexpected answer, 12 waiting failed, or the connection's
 * descriptor is 1024 or above. */

/* Gives an adapter of this node the IPv4 address.  Also: 50 the address is in use, 51 the adapter cannot
 * carry it. */
HB_API Hb_Rc hb_configure_adapter(unsigned int adapter, Hb_IP_address4 address);
/* Takes the adapter's address away. */
HB_API Hb_Rc hb_unconfigure_adapter(unsigned int adapter);
/* Exchanges the addresses of the adapter and of the adapter of this node that has the address. */
HB_API Hb_Rc hb_swap_adapters(unsigned int adapter, Hb_IP_address4 address);
/* The daemon's view of an adapter of this node: *state becomes an Hb_Entity_State.  A daemon that refuses it gives
 * error 10 here, not 3. */
HB_API Hb_Rc hb_get_adapter_state(unsigned int adapter, int *state);

/* Asks that an adapter of this node not be taken for dead for so many seconds; waits for the answer without
 * limit.  Errors: 4 out of range or not of this node, 7 not configured, 8 the daemon could not do it, 10, 12,
 * 52 the time is out of range, 55 the adapter is down, 56 grace is running already. */
HB_API Hb_Rc hb_adapter_grace(unsigned int adapter, int seconds);

/* Test hook: the daemon acts as one that slept so many seconds. */
HB_API Hb_Rc hb_simulate_death(int slept_sec);

/* Have the daemon discard messages that waited too long (1), or not (any other value). */
HB_API Hb_Rc hb_discard_stale_messages(int discard_flag);

/* A sign of life of this program.  The low 32 bits of seqnum travel. */
HB_API Hb_Rc hb_client_heartbeat(unsigned long seqnum);

/* Take a network interface module under manual control, or give it back.  interface names it; empty means
 * all.  Errors: 4 ctrl is neither of the two, or interface is null. */
enum { HB_NIM_MANCTRL_ENABLE = 1, HB_NIM_MANCTRL_DISABLED = 2 };
HB_API Hb_Rc hb_nim_manual_start_control(int ctrl, char *interface);

/* Asks the daemon to end after its configured delay. */
HB_API Hb_Rc hb_mox_delayed_daemon_shutdown(void);

/* ------------------------------------------------------------------------------------------------
 * Routes.  All open.  Errors: 4 node out of range or a null pointer.  In cluster-event mode there is no daemon
 * to ask: hb_get_route fails with error 12, and hb_daemon_route_mcast succeeds without effect.  After
 * hb_remove_socket both fail with error 22 in daemon mode.
 * ---------------------------------------------------------------------------------------------- */

/* The hops to a node, 176 bytes; a length beside it says how many are used. */
enum { HB_ROUTE_HOPS = 11 };
typedef struct Hb_Route {
    Hb_IP_address6 sr_address[HB_ROUTE_HOPS];
} Hb_Route;

/* The route to a node, asked of the daemon; waits for the answer without limit.  An event that arrives before
 * the answer is lost and ends the call with error 10, as told at the control requests.
 * Errors: 6 no route, 9 node not configured, 10 unexpected answer, or one of more than HB_ROUTE_HOPS hops, 12, 16, 18,
 * 21, 22. */
HB_API Hb_Rc hb_get_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);

/* The route to a node, configured or not, read from shared memory without asking anybody.  Waits while the daemon
 * rewrites the routes, for three seconds at most and no longer than the daemon runs; then it reads what is there.
 * hb_read_ip_route takes IP routes only.
 * Errors: 6 no route, one of more than HB_ROUTE_HOPS hops, or no shared memory that holds the node; 49 not an IP
 * route. */
HB_API Hb_Rc hb_read_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);
HB_API Hb_Rc hb_read_ip_route(Hb_Node_Number node, Hb_Route *route, uint16_t *length);

/* Asks the daemon to deliver the buffers, one behind the other, to a port on n nodes; of port the low 16 bits
 * count.  0 to 6 buffers, none of them null or empty, and 1 to 2049 nodes, none twice.  More than two nodes are
 * sorted in the caller's array, also when the call then fails for the buffers or the size.  The whole request,
 * 60 + 4 x n bytes and the payload, is at most 10000 bytes.  No answer is awaited.
 * Errors: 4 a pointer or buffer is null, a count or length is out of range, a node stands there twice; 53 too
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

/* The generation of the security information: when it differs from the one last seen, read the keys again.
 * Opens.  Errors: 4 null pointer, 33 the key segment is not attached. */
HB_API Hb_Rc hb_get_security_sequence(Hb_Sequence_Number *sequence);

/* The security state in force, the one before, and the cached keys.  The daemon may be changing them: a
 * reading that succeeded is one picture when hb_get_security_sequence gave the same number before and after
 * it; one that failed without an error number can be tried again.  All descriptors are zeroed before anything
 * else, so that whatever the result hb_free_security_info_keys, called once, releases the keys that were made.
 * A key that cannot be unmarshalled, which the daemon sees to while it is changing them, ends the call without
 * an error number: what comes before it, in the order current, previous, cache, has been filled in by then,
 * the rest has not.
 * Opens.  Errors: 4 null pointer, 33 the key segment is not attached. */
HB_API Hb_Rc hb_get_security_infomation(Hb_Security_Status *current, Hb_Security_Status *previous,
                                        Hb_Key_Cache *cache);

/* Releases the keys of the three records, any of which may be null.  The descriptors are left as they are: do
 * not release them twice.  Does not open the library; succeeds. */
HB_API Hb_Rc hb_free_security_info_keys(Hb_Security_Status *current, Hb_Security_Status *previous,
                                        Hb_Key_Cache *cache);

#ifdef __cplusplus
}
#endif

#endif
