# SPDX-License-Identifier: Apache-2.0
"""Writes the C source of the extension module hb_client._hb_watch: build_extension.py OUTPUT

The compiler reads the real headers. It therefore supplies every size, offset and constant that is declared here; a
declaration that contradicts the headers does not compile, or is rejected at the first use.
"""
import sys

import cffi

DECLARATIONS = """
typedef int32_t Hb_Entity_State;
typedef uint32_t Hb_Adapter_Number;

#define Hb_Entity_Undef ...
#define Hb_Entity_Up ...
#define Hb_Entity_Down ...

/* Only their sizes are compared. */
typedef union Hb_IP_address6 { ...; } Hb_IP_address6;
typedef struct Hb_Adapter_Entry { ...; } Hb_Adapter_Entry;
typedef struct Hb_Uuid { ...; } Hb_Uuid;
typedef struct Hb_Site_Info { ...; } Hb_Site_Info;
typedef struct diff_instance_info { ...; } diff_instance_info;
typedef struct site_split_info { ...; } site_split_info;
typedef struct site_merge_info { ...; } site_merge_info;
typedef struct Hb_Group { ...; } Hb_Group;
typedef struct Hb_Adapter_Identifier { ...; } Hb_Adapter_Identifier;
typedef struct Hb_Subscription_Group { ...; } Hb_Subscription_Group;
typedef struct Hb_Route { ...; } Hb_Route;

typedef struct Hb_Network_Entry {
    char Hb_network_name[70];
    char Hb_network_type[16];
} Hb_Network_Entry;

const char *hb_error_name(int number);
const char *hb_error_text(int number);
#define HB_ERROR_TIMEOUT ...
#define HB_ERROR_ADAPTER_NOT_CONFIGURED ...
#define HB_ERROR_NETWORK_NOT_CONFIGURED ...
#define HB_ERROR_NODE_NOT_CONFIGURED ...

#define HB_WATCH_NODES ...
#define HB_WATCH_ADAPTERS ...
#define HB_WATCH_CURRENT ...
#define HB_WATCH_UNREACHABLE ...
#define HB_WATCH_NODE_JOINED ...
#define HB_WATCH_NODE_DIED ...
#define HB_WATCH_ADAPTER_JOINED ...
#define HB_WATCH_ADAPTER_DIED ...
#define HB_WATCH_CONFIGURATION ...
#define HB_WATCH_INITIAL ...
#define HB_WATCH_CAUGHT_UP ...
#define HB_WATCH_REMOVED ...

typedef struct Hb_Watch Hb_Watch;

typedef struct Hb_Watch_Options {
    const char *socket_path;
    uint32_t what;
    int32_t check_interval;
    int32_t answer_timeout;
    int32_t retry_min;
    int32_t retry_max;
} Hb_Watch_Options;

typedef struct Hb_Watch_Report {
    int32_t kind;
    uint32_t flags;
    int32_t node;
    int32_t network;
    uint32_t adapter;
    int32_t error;
    int64_t time;
    int64_t since;
    char failure[43];
    char padding[21];
} Hb_Watch_Report;

typedef struct Hb_Watch_Adapter {
    Hb_Adapter_Number number;
    Hb_Entity_State state;
    int16_t node;
    int16_t network;
    Hb_IP_address6 address;
    char type[36];
} Hb_Watch_Adapter;

void hb_watch_default_options(Hb_Watch_Options *options);
Hb_Watch *hb_watch_open(const Hb_Watch_Options *options);
void hb_watch_close(Hb_Watch *watch);
int hb_watch_descriptor(const Hb_Watch *watch);
int hb_watch_next(Hb_Watch *watch, Hb_Watch_Report *report);
int hb_watch_is_current(const Hb_Watch *watch);
int hb_watch_local_node(const Hb_Watch *watch);
int hb_watch_next_node(const Hb_Watch *watch, int previous);
Hb_Adapter_Number hb_watch_next_adapter(const Hb_Watch *watch, Hb_Adapter_Number previous);
int hb_watch_next_network(const Hb_Watch *watch, int previous);
Hb_Entity_State hb_watch_node_state(const Hb_Watch *watch, int node);
Hb_Entity_State hb_watch_adapter_state(const Hb_Watch *watch, Hb_Adapter_Number adapter);
int hb_watch_adapter(const Hb_Watch *watch, Hb_Adapter_Number number, Hb_Watch_Adapter *adapter);
int hb_watch_network(const Hb_Watch *watch, int number, Hb_Network_Entry *network);
const char *hb_watch_socket_path(const Hb_Watch *watch);
"""

if __name__ == "__main__":
    builder = cffi.FFI()
    builder.cdef(DECLARATIONS)
    builder.set_source("hb_client._hb_watch", '#include "hb_error.h"\n#include "hb_watch.h"\n')
    builder.emit_c_code(sys.argv[1])
