/* SPDX-License-Identifier: Apache-2.0 */
/*
 * hb_error_list.h - every error number of the cluster heartbeat client library, with its name and its text
 *
 * A number gets its name here and nowhere else.  Programs include hb_client.h, which explains the numbers under ERROR
 * NUMBERS, or hb_error.h, which has the texts.  Both include this file.
 *
 * HB_ERROR_LIST(X) becomes X(number, name, text) for each number, ascending: for a table of a program's own.  A number
 * keeps its name and its meaning in every version.  A later version may add numbers.
 */
#ifndef HB_ERROR_LIST_H
#define HB_ERROR_LIST_H

/* clang-format off */
#define HB_ERROR_LIST(X) \
    X(0, HB_ERROR_NONE, "no error") \
    X(1, HB_ERROR_NO_MORE, "nothing more to list") \
    X(2, HB_ERROR_TIMEOUT, "the time-out ended before anything arrived") \
    X(3, HB_ERROR_NOT_AVAILABLE, \
      "the record does not hold what was asked for, or the daemon refused the request") \
    X(4, HB_ERROR_BAD_ARGUMENT, "an argument is out of range or missing") \
    X(5, HB_ERROR_WRONG_GROUP_TYPE, "the group is of another type") \
    X(6, HB_ERROR_NO_ROUTE, "no route to the node is known") \
    X(7, HB_ERROR_ADAPTER_NOT_CONFIGURED, \
      "the adapter or address is not in the configuration or not in the group") \
    X(8, HB_ERROR_NETWORK_NOT_CONFIGURED, \
      "the network is not configured, or the daemon could not do what was asked") \
    X(9, HB_ERROR_NODE_NOT_CONFIGURED, "the node is not configured") \
    X(10, HB_ERROR_UNEXPECTED_REPLY, "the daemon sent an unexpected reply or an invalid record") \
    X(11, HB_ERROR_WRONG_SUBSCRIPTION_TYPE, "the subscription group is empty or of another type") \
    X(12, HB_ERROR_RECEIVE_FAILED, "waiting for or reading from the daemon failed") \
    X(13, HB_ERROR_SOCKET_FAILED, "the socket could not be created") \
    X(14, HB_ERROR_SOCKET_BUFFER_FAILED, "the size of the socket's buffer could not be set") \
    X(15, HB_ERROR_CONNECT_FAILED, \
      "no daemon listens at the socket path, this user may not connect to it, or a signal ended the wait") \
    X(16, HB_ERROR_DISCONNECTED, "the daemon closed the connection") \
    X(17, HB_ERROR_NO_MEMORY, "out of memory") \
    X(18, HB_ERROR_SEND_BAD_ADDRESS, "sending failed: bad address") \
    X(19, HB_ERROR_SEND_RESERVED_6, "sending failed: the socket is in state 6") \
    X(20, HB_ERROR_SEND_RESERVED_7, "sending failed: the socket is in state 7") \
    X(21, HB_ERROR_SEND_IO, "sending failed: input/output error") \
    X(22, HB_ERROR_SEND_FAILED, "sending failed, or the library is not open") \
    X(23, HB_ERROR_CONFIG_READ_BAD_ADDRESS, "reading the configuration failed: bad address") \
    X(24, HB_ERROR_CONFIG_READ_RESERVED_10, "reading the configuration failed: the socket is in state 10") \
    X(25, HB_ERROR_CONFIG_READ_RESERVED_11, "reading the configuration failed: the socket is in state 11") \
    X(26, HB_ERROR_CONFIG_READ_IO, "reading the configuration failed: input/output error") \
    X(27, HB_ERROR_CONFIG_READ_FAILED, "reading the configuration failed") \
    X(28, HB_ERROR_NO_CONFIG_SEGMENT_KEY, "no key for the configuration segment") \
    X(29, HB_ERROR_NO_ROUTE_SEGMENT_KEY, "no key for the route segment") \
    X(30, HB_ERROR_NO_SEMAPHORE_KEY, "no key for the semaphores") \
    X(31, HB_ERROR_SEGMENT_PERMISSION, "a shared segment may not be opened: permission denied") \
    X(32, HB_ERROR_SEGMENT_SIZE, "a shared segment has another size than was expected") \
    X(33, HB_ERROR_SEGMENT_ABSENT, "a shared segment is absent") \
    X(34, HB_ERROR_SEGMENT_MEMORY, "a shared segment could not be found: out of memory") \
    X(35, HB_ERROR_SEGMENT_LIMIT, "a shared segment could not be found: a system limit is reached") \
    X(36, HB_ERROR_SEGMENT_FAILED, "a shared segment could not be found") \
    X(37, HB_ERROR_ATTACH_PERMISSION, \
      "a shared segment may not be attached: permission denied, or another user than the daemon's created it") \
    X(38, HB_ERROR_ATTACH_INVALID, "a shared segment could not be attached: invalid") \
    X(39, HB_ERROR_ATTACH_ABSENT, "a shared segment could not be attached: it is absent") \
    X(41, HB_ERROR_ATTACH_MEMORY, "a shared segment could not be attached: out of memory") \
    X(42, HB_ERROR_ATTACH_FAILED, "a shared segment could not be attached") \
    X(43, HB_ERROR_SEMAPHORE_PERMISSION, \
      "the semaphores may not be opened: permission denied, or another user than the daemon's created them") \
    X(44, HB_ERROR_SEMAPHORE_SIZE, "the semaphore set has another size than was expected") \
    X(45, HB_ERROR_SEMAPHORE_ABSENT, "the semaphores are absent") \
    X(46, HB_ERROR_SEMAPHORE_MEMORY, "the semaphores could not be found: out of memory") \
    X(47, HB_ERROR_SEMAPHORE_LIMIT, "the semaphores could not be found: a system limit is reached") \
    X(48, HB_ERROR_SEMAPHORE_FAILED, "the semaphores could not be found") \
    X(49, HB_ERROR_ROUTE_NOT_IP, "the route is not an IP route") \
    X(50, HB_ERROR_ADDRESS_IN_USE, "another adapter has the address") \
    X(51, HB_ERROR_ADDRESS_UNSUITABLE, "the adapter cannot have such an address") \
    X(52, HB_ERROR_GRACE_OUT_OF_RANGE, "the grace time is out of range") \
    X(53, HB_ERROR_MESSAGE_TOO_LARGE, "the message is too large to be routed") \
    X(54, HB_ERROR_NO_SECURITY_SEGMENT_KEY, "no key for the security segment") \
    X(55, HB_ERROR_ADAPTER_DOWN, "no grace for an adapter that is down") \
    X(56, HB_ERROR_GRACE_RUNNING, "the adapter has grace already") \
    X(58, HB_ERROR_NEW_GROUP_READ_FAILED, "the request for a new group could not be read") \
    X(59, HB_ERROR_WAKE_UP_FAILED, "the cluster-event handlers could not be woken") \
    X(63, HB_ERROR_CLUSTER_QUERY_FAILED, "the cluster service did not answer (none is installed)") \
    X(64, HB_ERROR_NODE_QUERY_FAILED, "the cluster service did not report its nodes") \
    X(65, HB_ERROR_INTERFACE_QUERY_FAILED, "the cluster service did not report its adapters") \
    X(68, HB_ERROR_BAD_NEW_GROUP_REQUEST, "a request for a new group is neither for nodes nor for adapters") \
    X(70, HB_ERROR_NODE_STATE_UNKNOWN, \
      "the cluster service reported a node's state that is neither up nor down") \
    X(71, HB_ERROR_ADAPTER_STATE_UNKNOWN, "an adapter's state or event is of an unexpected kind") \
    X(72, HB_ERROR_BAD_WAKE_UP, "the wake-up of the event pipe is of an unexpected kind") \
    X(73, HB_ERROR_NODES_DIFFER, "a node of one configuration is absent from the other") \
    X(74, HB_ERROR_HANDLERS_NOT_CREATED, "the cluster-event handlers could not be created") \
    X(75, HB_ERROR_NODE_UNKNOWN_TO_SERVICE, \
      "a node that the daemon reported is unknown to the cluster service") \
    X(81, HB_ERROR_NO_HANDLER, "no cluster-event handler owns any of the ready descriptors") \
    X(82, HB_ERROR_HANDLER_NOT_REGISTERED, \
      "a cluster-event handler was unregistered more often than registered") \
    X(84, HB_ERROR_SITE_NOT_CONFIGURED, "the site is not configured") \
    X(86, HB_ERROR_SITE_QUERY_FAILED, "the cluster service did not report the local site") \
    X(87, HB_ERROR_NODE_ID_QUERY_FAILED, "the cluster service did not report the local node's identifier") \
    X(88, HB_ERROR_MERGE_POLICY_QUERY_FAILED, \
      "the cluster service did not report the merge policy of the sites")
/* clang-format on */

/* What hb_get_errno returns: HB_ERROR_NONE = 0, HB_ERROR_NO_MORE = 1 and so on, as listed above. */
#define HB_ERROR_ENUMERATOR(number, name, text) name = number,
enum Hb_Error {
    HB_ERROR_LIST(HB_ERROR_ENUMERATOR)
    /* Three numbers have a second name for a second meaning. */
    HB_ERROR_REQUEST_REFUSED = HB_ERROR_NOT_AVAILABLE,
    HB_ERROR_REQUEST_FAILED = HB_ERROR_NETWORK_NOT_CONFIGURED,
    HB_ERROR_NOT_OPEN = HB_ERROR_SEND_FAILED
};
#undef HB_ERROR_ENUMERATOR

#endif
