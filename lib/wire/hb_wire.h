// SPDX-License-Identifier: Apache-2.0
// The bytes that the library and the daemon exchange: request and reply packets on the stream socket, and the
// shared segments.
//
// Both sides run on one host, so integers have its byte order. Widths are those of a 32-bit process in every
// build. Only fixed-width fields are used here, so that a 64-bit client and a 32-bit daemon agree.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hb_client.h"
#include "qz_ffdc.h"

// Request codes, client to daemon. A code is never reused.
enum Hb_Client_Request : int32_t {
    HB_GET_CONFIG_INFO = 201,
    HB_GET_ADAPTER_GROUP = 202,
    HB_NODE_MAY_BE_DOWN = 203,
    HB_NODE_IS_DOWN = 204,
    HB_ADAPTER_MAY_BE_DOWN = 205,
    HB_ADAPTER_IS_DOWN = 206,
    HB_ENABLE_ADAPTER = 207,
    HB_DISABLE_ADAPTER = 208,
    HB_SUBSCRIBE = 209,
    HB_UNSUBSCRIBE = 210,
    HB_GET_ROUTE = 211,
    HB_IFCONFIG_DOWN = 212,
    HB_IFCONFIG_UP = 213,
    HB_CONFIGURE_ADAPTER = 214,
    HB_UNCONFIGURE_ADAPTER = 215,
    HB_ADAPTER_GRACE_REQ = 216,
    HB_SIMULATE_DEATH = 217,
    HB_SWAP_ADAPTERS = 218,
    HB_DISCARD_STALE_MESSAGES = 219,
    HB_DONT_DISCARD_STALE_MESSAGES = 220,
    HB_DAEMON_ROUTING_REQUEST = 221,
    HB_CLIENT_HEARTBEAT = 222,
    HB_GET_ADAPTER_STATE = 223,
    HB_SEND_CONFIG_INFO = 224,
    HB_ENABLE_MANUAL_CONTROL_NIMS = 225,
    HB_DISABLE_MANUAL_CONTROL_NIMS = 226,
    HB_DELAYED_DAEMON_SHUTDOWN = 227,
    MONITOR_LAST_MESSAGE = 227
};

// Reply and event codes, daemon to client.
enum Hb_Client_Reply : int32_t {
    HB_CONFIGURATION_INFO = 0,
    HB_ADAPTER_GROUP = 1,
    HB_ADAPTER_DEATH = 2,
    HB_ADAPTER_JOIN = 3,
    HB_ADAPTER_NEW_GROUP = 4,
    HB_NODE_DEATH = 5,
    HB_NODE_JOIN = 6,
    HB_NODE_NEW_GROUP = 7,
    HB_ROUTE = 8,
    HB_CONFIGURATION_UPDATE = 9,
    HB_CONFIG_ADAPTER = 10,
    HB_ADAPTER_GRACE = 11,
    HB_FFDC_ID = 12,
    HB_DIFF_INSTANCE_NUM = 13,
    HB_ADAPTER_STATE = 14,
    HB_NODE_HEARTBEAT = 15
};

// How a control request ended, in the `value` of its reply. The library turns it into an error number.
enum Hb_Request_Status : int32_t {
    HB_STATUS_DONE = 0,
    HB_STATUS_FAILED = 1,
    HB_STATUS_NOT_PERMITTED = 3,
    HB_STATUS_NOT_CONFIGURED = 4,
    HB_STATUS_ADDRESS_IN_USE = 5,
    HB_STATUS_ADDRESS_UNSUITABLE = 6,
    HB_STATUS_GRACE_OUT_OF_RANGE = 7,
    HB_STATUS_ADAPTER_DOWN = 8,
    HB_STATUS_GRACE_RUNNING = 9
};

// ---- Records on the stream socket: a signed 32-bit length, then that many bytes ----

inline constexpr int HB_REQUEST_HEADER_SIZE = 76;
inline constexpr int HB_REQUEST_MESSAGE_SIZE = 16460;
inline constexpr int HB_REPLY_HEADER_SIZE = 108;
inline constexpr int HB_REPLY_VALUE_END = 60; // a shorter packet has no `value`, and is no valid reply
inline constexpr int HB_REPLY_MESSAGE_SIZE = 6298676;
inline constexpr int HB_RECORD_MAX = HB_REPLY_HEADER_SIZE + HB_REPLY_MESSAGE_SIZE;

using Hb_Seq_Num = uint32_t;

struct Hb_Wire_Timeval {
    int32_t tv_sec;
    int32_t tv_usec;
};

struct Version {
    int16_t major;
    int16_t minor;
};

struct GSid_t {
    uint32_t word[2];
};

struct GSgid_t {
    uint32_t word[2];
};

// A request. Only the header and `len` bytes of `message` are sent.
struct packet_str {
    Hb_Wire_Timeval Treceive;
    int32_t kind;
    int32_t len;
    Version vers;
    GSid_t from_id;
    GSgid_t from_group;
    GSid_t to_id;
    GSgid_t to_group;
    uint32_t requestor;
    uint32_t reserved;
    Hb_Group_Status status;
    union {
        struct {
            int32_t pid;
            int32_t sfd;
            int32_t extra3;
        } client;
        struct {
            uint32_t machinesId;
            int32_t fromOffset;
            Hb_Config_Instance machinesInst;
        } server;
    } origin;
    char message[HB_REQUEST_MESSAGE_SIZE];
};
using packet_t = packet_str;

static_assert(sizeof(packet_t) == 16536);
static_assert(offsetof(packet_t, Treceive) == 0);
static_assert(offsetof(packet_t, kind) == 8);
static_assert(offsetof(packet_t, len) == 12);
static_assert(offsetof(packet_t, vers) == 16);
static_assert(offsetof(packet_t, from_id) == 20);
static_assert(offsetof(packet_t, from_group) == 28);
static_assert(offsetof(packet_t, to_id) == 36);
static_assert(offsetof(packet_t, to_group) == 44);
static_assert(offsetof(packet_t, requestor) == 52);
static_assert(offsetof(packet_t, reserved) == 56);
static_assert(offsetof(packet_t, status) == 60);
static_assert(offsetof(packet_t, origin) == 64);
static_assert(offsetof(packet_t, message) == HB_REQUEST_HEADER_SIZE);

// A reply or event. The record's length gives the size of `message`. No object of the whole type is ever
// made.
struct client_packet {
    int32_t kind;
    GSid_t leader_id;
    GSgid_t group_id;
    Hb_Group_Status group_status;
    Hb_Name subscription_name;
    int32_t value;
    fc_eid_t ffdc_id;
    char padding;
    Hb_Seq_Num notification_sequence_no;
    char message[HB_REPLY_MESSAGE_SIZE];
};

static_assert(offsetof(client_packet, kind) == 0);
static_assert(offsetof(client_packet, leader_id) == 4);
static_assert(offsetof(client_packet, group_id) == 12);
static_assert(offsetof(client_packet, group_status) == 20);
static_assert(offsetof(client_packet, subscription_name) == 24);
static_assert(offsetof(client_packet, value) == 56);
static_assert(offsetof(client_packet, value) + sizeof(int32_t) == HB_REPLY_VALUE_END);
static_assert(offsetof(client_packet, ffdc_id) == 60);
static_assert(offsetof(client_packet, notification_sequence_no) == 104);
static_assert(offsetof(client_packet, message) == HB_REPLY_HEADER_SIZE);
static_assert(sizeof(client_packet) == HB_RECORD_MAX);

// ---- Bodies ----

// The head of the body of HB_CONFIGURATION_INFO and HB_CONFIGURATION_UPDATE. The adapters follow, each an
// Hb_Adapter_Entry, and then the networks, each an Hb_Network_Entry.
struct Hb_Snapshot_Header {
    Hb_Node_Number local_node_number;
    int16_t padding;
    int32_t Hb_max_nodes;
    int32_t Hb_adapters_per_node;
    int32_t Hb_num_adapters;
    int32_t Hb_num_networks;
};
static_assert(sizeof(Hb_Snapshot_Header) == 20);
static_assert(offsetof(Hb_Snapshot_Header, local_node_number) == 0);
static_assert(offsetof(Hb_Snapshot_Header, Hb_max_nodes) == 4);
static_assert(offsetof(Hb_Snapshot_Header, Hb_adapters_per_node) == 8);
static_assert(offsetof(Hb_Snapshot_Header, Hb_num_adapters) == 12);
static_assert(offsetof(Hb_Snapshot_Header, Hb_num_networks) == 16);

// The body of the adapter events: a 32-bit index of the last pair (-1: no pair), then the pairs.
struct Hb_Adapter_Event_Pair {
    Hb_Adapter_Number adapter;
    Hb_Incarnation incarnation;
};
static_assert(sizeof(Hb_Adapter_Event_Pair) == 8);

// The body of HB_DIFF_INSTANCE_NUM is a diff_instance_info.
static_assert(sizeof(diff_instance_info) == 20);
static_assert(offsetof(diff_instance_info, addr) == 0);
static_assert(offsetof(diff_instance_info, machinesInst) == 16);

// The body of HB_NODE_HEARTBEAT.
struct Hb_Heartbeat_Body {
    int32_t threshold_seconds;
    int32_t threshold_microseconds;
    Hb_Boolean enabled;
    int32_t daemon_pid;
};
static_assert(sizeof(Hb_Heartbeat_Body) == 16);
static_assert(offsetof(Hb_Heartbeat_Body, threshold_seconds) == 0);
static_assert(offsetof(Hb_Heartbeat_Body, threshold_microseconds) == 4);
static_assert(offsetof(Hb_Heartbeat_Body, enabled) == 8);
static_assert(offsetof(Hb_Heartbeat_Body, daemon_pid) == 12);

// The payload of requests about an adapter of the local node. Requests without a value end after `network`.
struct Hb_Local_Adapter_Body {
    Hb_Network_Number network;
    int16_t padding;
    uint32_t data;
};
static_assert(sizeof(Hb_Local_Adapter_Body) == 8);
static_assert(offsetof(Hb_Local_Adapter_Body, network) == 0);
static_assert(offsetof(Hb_Local_Adapter_Body, data) == 4);

// The head of HB_DAEMON_ROUTING_REQUEST. num_nodes node numbers, the payload's size and the payload follow.
struct daemon_routing_hdr {
    uint32_t port_number; // in network byte order, in the low 16 bits
    int32_t ttl;
    int32_t daemon_routing_version;
    int32_t expansion[9];
    int32_t WISP_only_flag;
    int32_t num_nodes;
};
static_assert(sizeof(daemon_routing_hdr) == 56);
static_assert(offsetof(daemon_routing_hdr, port_number) == 0);
static_assert(offsetof(daemon_routing_hdr, ttl) == 4);
static_assert(offsetof(daemon_routing_hdr, daemon_routing_version) == 8);
static_assert(offsetof(daemon_routing_hdr, expansion) == 12);
static_assert(offsetof(daemon_routing_hdr, WISP_only_flag) == 48);
static_assert(offsetof(daemon_routing_hdr, num_nodes) == 52);

// ---- Public records that travel as they lie in memory ----

static_assert(sizeof(Hb_IP_address6) == 16 && alignof(Hb_IP_address6) == 4);

static_assert(sizeof(Hb_Adapter_Entry) == 64);
static_assert(offsetof(Hb_Adapter_Entry, Hb_ip_address) == 0);
static_assert(offsetof(Hb_Adapter_Entry, Hb_network) == 16);
static_assert(offsetof(Hb_Adapter_Entry, Hb_adapter_type) == 18);
static_assert(offsetof(Hb_Adapter_Entry, Hb_adapter_num) == 56);
static_assert(offsetof(Hb_Adapter_Entry, Hb_state) == 60);

static_assert(sizeof(Hb_Network_Entry) == 86);
static_assert(offsetof(Hb_Network_Entry, Hb_network_name) == 0);
static_assert(offsetof(Hb_Network_Entry, Hb_network_type) == 70);

static_assert(sizeof(Hb_Subscription_Group) == 12348);
static_assert(offsetof(Hb_Subscription_Group, Hb_subscription_type) == 0);
static_assert(offsetof(Hb_Subscription_Group, Hb_cursor) == 4);
static_assert(offsetof(Hb_Subscription_Group, Hb_events) == 8);
static_assert(offsetof(Hb_Subscription_Group, Hb_name) == 12);
static_assert(offsetof(Hb_Subscription_Group, Hb_netnum) == 44);
static_assert(offsetof(Hb_Subscription_Group, Hb_subscription_grp_union) == 48);
static_assert(offsetof(Hb_Subscription_Group,
                       Hb_subscription_grp_union.Hb_adapter_subscription_grp.Hb_adapter_list) == 52);
static_assert(offsetof(Hb_Subscription_Group,
                       Hb_subscription_grp_union.Hb_node_subscription_grp.Hb_node_list) == 52);
static_assert(offsetof(Hb_Subscription_Group,
                       Hb_subscription_grp_union.Hb_site_subscription_grp.Hb_site_list) == 52);

// ---- Public records with one layout in every build ----

static_assert(sizeof(Hb_Group) == 393480);
static_assert(offsetof(Hb_Group, Hb_group_type) == 0);
static_assert(offsetof(Hb_Group, Hb_cursor) == 4);
static_assert(offsetof(Hb_Group, Hb_events) == 8);
static_assert(offsetof(Hb_Group, Hb_group_status) == 12);
static_assert(offsetof(Hb_Group, Hb_ffdc_id) == 16);
static_assert(offsetof(Hb_Group, Hb_membership_grp_union) == 60);
static_assert(sizeof(Hb_Site_Info) == 68 && alignof(Hb_Site_Info) == 4);
static_assert(offsetof(Hb_Site_Info, node_number) == 16);
static_assert(offsetof(Hb_Site_Info, site_id) == 20);
static_assert(offsetof(Hb_Site_Info, site_number) == 36);
static_assert(offsetof(Hb_Site_Info, site_priority) == 40);
static_assert(offsetof(Hb_Site_Info, site_policy) == 44);
static_assert(offsetof(Hb_Site_Info, site_merge_flag) == 48);
static_assert(offsetof(Hb_Site_Info, cluster_id) == 52);
static_assert(sizeof(Hb_Adapter_Identifier) == 12);

// ---- Shared segments, written by the daemon alone ----

// Project ids for ftok, all on the daemon's socket path.
inline constexpr int HB_SHARED_MEM_PROJECT1 = 'g';
inline constexpr int HB_SHARED_MEM_PROJECT2 = 'h';
inline constexpr int HB_SHARED_MEM_PROJECT3 = 'p';
inline constexpr int HB_SHARED_SEM_PROJECT = 'i';

// The semaphores of the set.
inline constexpr unsigned short HB_SEM_READERS = 0; // counts the readers inside the route segment
inline constexpr unsigned short HB_SEM_WRITER = 1;  // not 0 while the daemon rewrites it
inline constexpr int HB_SEM_COUNT = 2;

// Segment 1.
struct Hb_memory_configuration_data {
    Hb_Sequence_Number sequence_number; // 0: no valid configuration yet
    uint32_t number_of_nodes;           // records in segment 2
    uint32_t number_of_adapters;
};
static_assert(sizeof(Hb_memory_configuration_data) == 12);
static_assert(offsetof(Hb_memory_configuration_data, sequence_number) == 0);
static_assert(offsetof(Hb_memory_configuration_data, number_of_nodes) == 4);
static_assert(offsetof(Hb_memory_configuration_data, number_of_adapters) == 8);

// Segment 2 is an array of these, indexed by node number.
struct Hb_route_sequence {
    Hb_Sequence_Number sequence_number; // the record is valid only if this equals segment 1's
    uint16_t length;                    // addresses used in ip_option
    uint16_t nonip;                     // not 0: not an IP route
    Hb_Route ip_option;
};
static_assert(sizeof(Hb_Route) == 176);
static_assert(sizeof(Hb_route_sequence) == 184);
static_assert(offsetof(Hb_route_sequence, sequence_number) == 0);
static_assert(offsetof(Hb_route_sequence, length) == 4);
static_assert(offsetof(Hb_route_sequence, nonip) == 6);
static_assert(offsetof(Hb_route_sequence, ip_option) == 8);

inline constexpr int HB_SHARED_KEY_SIZE = 256;

struct Hb_sec_buffer_desc {
    int32_t length;
    char value[HB_SHARED_KEY_SIZE];
};
static_assert(sizeof(Hb_sec_buffer_desc) == 260);
static_assert(offsetof(Hb_sec_buffer_desc, value) == 4);

struct Hb_Shared_Security_Status {
    Hb_Boolean securityOn;
    int32_t keyCount;
    Hb_Boolean KLOM_compatible;
    Hb_Boolean is_valid_for_signing;
    Hb_Boolean is_valid_for_authenticating;
    Hb_sec_buffer_desc key;
};
static_assert(sizeof(Hb_Shared_Security_Status) == 280);
static_assert(offsetof(Hb_Shared_Security_Status, keyCount) == 4);
static_assert(offsetof(Hb_Shared_Security_Status, KLOM_compatible) == 8);
static_assert(offsetof(Hb_Shared_Security_Status, is_valid_for_signing) == 12);
static_assert(offsetof(Hb_Shared_Security_Status, is_valid_for_authenticating) == 16);
static_assert(offsetof(Hb_Shared_Security_Status, key) == 20);

struct Hb_Shared_Key_Cache {
    Hb_sec_buffer_desc keyCache[HB_KEY_CACHE_SIZE];
    uint32_t keyCacheCount;
};
static_assert(sizeof(Hb_Shared_Key_Cache) == 2604);
static_assert(offsetof(Hb_Shared_Key_Cache, keyCacheCount) == 2600);

// Segment 3.
struct Hb_security_information {
    Hb_Sequence_Number sequence_number;
    Hb_Shared_Security_Status previous_sec_status;
    Hb_Shared_Security_Status current_sec_status;
    Hb_Shared_Key_Cache cache;
};
static_assert(sizeof(Hb_security_information) == 3168);
static_assert(offsetof(Hb_security_information, previous_sec_status) == 4);
static_assert(offsetof(Hb_security_information, current_sec_status) == 284);
static_assert(offsetof(Hb_security_information, cache) == 564);
