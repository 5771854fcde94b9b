// SPDX-License-Identifier: Apache-2.0
// The base of all event sources in cluster-event mode. Each handles one descriptor when it is ready.
//
// A static registry finds handlers by descriptor. It has no lock: a program must not change the mode in one
// thread while another thread receives events.
#pragma once

#include <cstdint>

#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/mox_event.h"

class ORBFSHandler;

// A slot of the registry. A free slot holds -1 and null.
struct FDHandlerArray {
    int fd;
    ORBFSHandler *handler;
};
using HandlerInstancesMap = FDHandlerArray;

class ORBFSHandler {
  public:
    // Opens the named monitor and adds this handler to the registry. If opening fails the object exists without
    // a descriptor, and getMOXORBSOpenRCInConstructor and getOpenFileError return the reason. A null name is a
    // programming error and aborts the process.
    explicit ORBFSHandler(char *fname);
    // For a derived class that provides the descriptor: it sets orbfs_fd, then calls selfRegister.
    ORBFSHandler(int *fds, char *fname);
    ORBFSHandler(const ORBFSHandler &) = delete;
    ORBFSHandler &operator=(const ORBFSHandler &) = delete;

    // Unregisters and closes the descriptor.
    virtual ~ORBFSHandler();

    // Reads the descriptor and returns one event to the caller. If there is no event to report, *events is 0
    // and the name is "<EMPTY EVENT>".
    virtual Hb_Rc handler(int *events, char *subscription_name, Hb_Group *group, unsigned long *length) = 0;

    int getFileDescriptor() const { return orbfs_fd; }
    int getOpenFileError() const { return open_file_errno; }
    int getMOXORBSOpenRCInConstructor() const { return mox_open_file_rc; }
    static int getNumbersOfFileDescriptors() { return numbersOfFileDescriptors; }

    void selfRegister();
    // Errors: HB_ERROR_HANDLER_NOT_REGISTERED (82) the count of registrations was already 0.
    void selfUnregister();
    // Returns a new array of the registered descriptors, terminated by -1. The caller deletes it. Null when
    // memory is short.
    static int *getFileDescriptors();
    // Calls the handler of the first descriptor that has one. A null list leaves *rc unchanged. Errors:
    // HB_ERROR_NO_HANDLER (81) no descriptor has a handler.
    static void dispatch(int *ready_fds, int *events, char *subscription_name, Hb_Group *group,
                         unsigned long *length, Hb_Rc *rc);

    // Derived handlers fill the caller's record with these.
    void fillInNodeEventInfo(int node, int events, char *subscription_name, Hb_Group *group);
    void fillInOneAdapterEvent(int *events, char *subscription_name, Hb_Group *group, unsigned long *length);
    void fillInSiteEventInfo(int, int, char *, Hb_Group *);
    void copy_node_Hb_Group(Hb_Group *from, Hb_Group *to);
    void copy_adapter_Hb_Group(Hb_Group *from, Hb_Group *to);
    void copy_site_merge_Hb_Group(Hb_Group *from, Hb_Group *to);
    void copy_site_split_Hb_Group(Hb_Group *from, Hb_Group *to);

    // Turns the differences between the live table and a new one into at most five events, each returned
    // through its own pointer.
    void compare_global_config_tables(Hb_Configuration_Internal *new_tbl, MOX_Event **adapters_gone,
                                      MOX_Event **nodes_gone, MOX_Event **config_changed,
                                      MOX_Event **adapters_new, MOX_Event **nodes_new);
    void generate_event_for_missing_tbl2_adapters(Hb_Configuration_Internal *tbl1,
                                                  Hb_Configuration_Internal *tbl2, int events, MOX_Event **ev);
    void generate_event_for_missing_tbl2_node(Hb_Configuration_Internal *tbl1, Hb_Configuration_Internal *tbl2,
                                              int events, MOX_Event **ev);
    void generate_event_for_config_change(Hb_Configuration_Internal *tbl1, Hb_Configuration_Internal *tbl2,
                                          MOX_Event **ev);
    void constructConfigEvent(MOX_Event **ev);
    void constructNodeEvent(int node, MOX_Event **ev, int events);
    // Makes one event for the adapters of a node that died or joined. With HB_EVENT_DEATH it marks them down in
    // the live table. With HB_EVENT_JOIN it queries the service for the adapters that are up, and leaves out
    // those that are already up in the live table. Adapter numbers are those of the working table, if there is
    // one. Errors: HB_ERROR_INTERFACE_QUERY_FAILED (65) the service did not answer.
    Hb_Rc constructAdapterEventOnNode(int node, MOX_Event **ev, int events);
    void construct_an_adapter_event(MOX_Event **ev, int events, unsigned int adapter_num);

    int32_t orbfs_fd;
    char *orbfs_fname;
    int mox_open_file_rc;
    int32_t open_file_errno;

    static HandlerInstancesMap *handlerInstances;
    static int handlerListSlots;
    static int currentSlots;
    static int numbersOfFileDescriptors;
};
