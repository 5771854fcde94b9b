/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/wire.h"

#include <string.h>

enum { ASK_CONFIGURATION = 201, SUBSCRIBE = 209, ASK_ROUTE = 211 };

/* Offsets in a record from the daemon. */
enum { KIND_AT = 0, FAILURE_AT = 60, SEQUENCE_AT = 104 };

/* Offsets in a request. */
enum { REQUEST_KIND_AT = 8, REQUEST_LEN_AT = 12, REQUEST_PID_AT = 64 };

/* Both sides run on one host, so integers have its byte order. */
int32_t hbw_number_at(const unsigned char *place) {
    int32_t number;
    memcpy(&number, place, sizeof number);
    return number;
}

static void put_number(unsigned char *place, int32_t number) {
    memcpy(place, &number, sizeof number);
}

int hbw_read_record(const unsigned char *bytes, size_t size, Hbw_Record *record) {
    if (size < HBW_HEADER_SIZE) {
        return -1;
    }
    record->kind = hbw_number_at(bytes + KIND_AT);
    record->sequence = (uint32_t)hbw_number_at(bytes + SEQUENCE_AT);
    record->failure = (const char *)bytes + FAILURE_AT;
    record->body = bytes + HBW_HEADER_SIZE;
    record->size = size - HBW_HEADER_SIZE;
    return 0;
}

static size_t request(unsigned char *out, pid_t pid, int32_t kind, size_t body) {
    memset(out, 0, HBW_LENGTH_SIZE + HBW_REQUEST_HEADER_SIZE + body);
    put_number(out, (int32_t)(HBW_REQUEST_HEADER_SIZE + body));
    put_number(out + HBW_LENGTH_SIZE + REQUEST_KIND_AT, kind);
    put_number(out + HBW_LENGTH_SIZE + REQUEST_LEN_AT, (int32_t)body);
    put_number(out + HBW_LENGTH_SIZE + REQUEST_PID_AT, pid);
    return HBW_LENGTH_SIZE + HBW_REQUEST_HEADER_SIZE + body;
}

size_t hbw_ask_configuration(unsigned char *out, pid_t pid) {
    return request(out, pid, ASK_CONFIGURATION, 0);
}

/* The daemon reads the node's number from the length of the body, and ignores the body. */
size_t hbw_ask_route(unsigned char *out, pid_t pid, int node) {
    return request(out, pid, ASK_ROUTE, (size_t)node);
}

size_t hbw_subscribe_all(unsigned char *out, pid_t pid, Hb_Subscription_Type type, const char *name) {
    const size_t size = request(out, pid, SUBSCRIBE, HBW_SUBSCRIPTION_SIZE);
    Hb_Subscription_Group group;
    memset(&group, 0, sizeof group);
    group.Hb_subscription_type = type;
    group.Hb_events = HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP;
    strncpy(group.Hb_name, name, sizeof group.Hb_name - 1);
    memcpy(out + HBW_LENGTH_SIZE + HBW_REQUEST_HEADER_SIZE, &group, HBW_SUBSCRIPTION_SIZE);
    return size;
}
