#include "lib/mox/handlers/MOX_ORBFSHandler.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/error_number.h"
#include "lib/base/uncancelled.h"
#include "lib/hb_global_data/group_record.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/event_construction.h"
#include "lib/mox/event_output.h"
#include "lib/mox/node_adapters.h"
#include "lib/mox/table_comparison.h"
#include "qz_mox.h"

// What a failed assertion calls, also where NDEBUG keeps <cassert> from declaring it.
extern "C" [[noreturn]] void __assert_fail(const char *assertion, const char *file, unsigned int line,
                                           const char *function) noexcept;

HandlerInstancesMap *ORBFSHandler::handlerInstances = nullptr;
int ORBFSHandler::handlerListSlots = 0;
int ORBFSHandler::currentSlots = 0;
int ORBFSHandler::numbersOfFileDescriptors = 0;

namespace {

constexpr int slots_step = 10;
constexpr FDHandlerArray free_slot = {-1, nullptr};

FDHandlerArray *find_slot(FDHandlerArray *first, FDHandlerArray *end, int fd) {
    return std::find_if(first, end,
                        [fd](const FDHandlerArray &slot) { return slot.fd == fd && slot.handler != nullptr; });
}

char *copy_of(const char *text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = std::strlen(text) + 1;
    auto *copy = new (std::nothrow) char[size];
    if (copy != nullptr) {
        std::memcpy(copy, text, size);
    }
    return copy;
}

void trace_open_failure(const char *fname, int result, int error) {
    if (hb_trace_on(HB_TRACE_ERRORS)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, HB_TR_MONITOR_NOT_OPENED, pTokens[HB_TRACE_ERRORS], 3, fname,
                            static_cast<int>(std::strlen(fname) + 1), &result, 4, &error, 4);
    }
}

void trace_monitor(Hb_Trace_Category category, Hb_Trace_Id id, const char *fname, int fd) {
    if (hb_trace_on(category)) {
        const Hb_Errno_Keeper kept;
        tr_ms_record_data_1(HB_TRACE_COMPONENT, id, pTokens[category], 2, fname,
                            static_cast<int>(std::strlen(fname) + 1), &fd, 4);
    }
}

void copy_header(const Hb_Group &from, Hb_Group &to) {
    to.Hb_group_status = from.Hb_group_status;
    to.Hb_group_type = from.Hb_group_type;
    to.Hb_events = from.Hb_events;
}

// The local side's node number in the destination stays what it was; the remote side is copied whole.
void copy_sides(const Hb_Site_Info &local_from, const Hb_Site_Info &remote_from, Hb_Site_Info &local_to,
                Hb_Site_Info &remote_to) {
    const uint32_t node_number = local_to.node_number;
    local_to = local_from;
    local_to.node_number = node_number;
    remote_to = remote_from;
}

bool can_copy(const Hb_Group *from, const Hb_Group *to) {
    if (from != nullptr && to != nullptr) {
        return true;
    }
    hb_trace_id(HB_TRACE_INFO, HB_TR_COPY_WITHOUT_GROUP);
    return false;
}

void set_name(char *subscription_name, const char *name) {
    std::strcpy(subscription_name, name);
}

} // namespace

ORBFSHandler::ORBFSHandler(char *fname)
    : orbfs_fd(-1), orbfs_fname(nullptr), mox_open_file_rc(-1), open_file_errno(0) {
    if (fname == nullptr) {
        hb_trace_id(HB_TRACE_ERRORS, HB_TR_MONITOR_WITHOUT_NAME);
        __assert_fail("__null != fname", "lib/mox/handlers/MOX_ORBFSHandler", __LINE__,
                      "ORBFSHandler::ORBFSHandler(char*)");
    }
    mox_open_file_rc = qz_orb_open_monitor(fname, &orbfs_fd);
    open_file_errno = errno;
    if (mox_open_file_rc != 0 || orbfs_fd < 0) {
        trace_open_failure(fname, mox_open_file_rc, open_file_errno);
        mox_open_file_rc = mox_open_file_rc != 0 ? mox_open_file_rc : -1;
        orbfs_fd = -1;
        return;
    }
    open_file_errno = 0;
    orbfs_fname = copy_of(fname);
    trace_monitor(HB_TRACE_INFO, HB_TR_MONITOR_OPENED, fname, orbfs_fd);
    selfRegister();
}

ORBFSHandler::ORBFSHandler(int *, char *fname)
    : orbfs_fd(-1), orbfs_fname(copy_of(fname)), mox_open_file_rc(-1), open_file_errno(0) {}

ORBFSHandler::~ORBFSHandler() {
    // Slots are matched by descriptor. Where another handler with the same descriptor stands first, its slot is freed,
    // and it moves to the slot of this one: no slot may point to an object that has been deleted.
    HandlerInstancesMap *const end = handlerInstances + handlerListSlots;
    HandlerInstancesMap *const first = find_slot(handlerInstances, end, orbfs_fd);
    ORBFSHandler *displaced = first != end && first->handler != this ? first->handler : nullptr;
    selfUnregister();
    for (HandlerInstancesMap *slot = handlerInstances; slot != end; ++slot) {
        if (slot->handler == this) {
            const bool moves = displaced != nullptr;
            *slot = moves ? FDHandlerArray{slot->fd, displaced} : free_slot;
            displaced = nullptr;
            numbersOfFileDescriptors -= !moves && numbersOfFileDescriptors > 0 ? 1 : 0;
        }
    }
    if (orbfs_fd != -1) {
        const Hb_Uncancelled guard; // close is a cancellation point
        close(orbfs_fd);
        orbfs_fd = -1;
    }
    delete[] orbfs_fname;
}

void ORBFSHandler::selfRegister() {
    if (orbfs_fd == -1) {
        if (orbfs_fname != nullptr) {
            trace_monitor(HB_TRACE_ERRORS, HB_TR_REGISTER_NAMED_WITHOUT_FD, orbfs_fname, orbfs_fd);
        } else {
            hb_trace_values(HB_TRACE_ERRORS, HB_TR_REGISTER_WITHOUT_FD, orbfs_fd);
        }
        return;
    }
    if (handlerInstances == nullptr) {
        handlerInstances = new (std::nothrow) HandlerInstancesMap[slots_step];
        if (handlerInstances == nullptr) {
            return;
        }
        std::fill_n(handlerInstances, slots_step, free_slot);
        handlerListSlots = slots_step;
        currentSlots = 0;
        numbersOfFileDescriptors = 0;
    } else if (currentSlots == handlerListSlots) {
        auto *grown =
            new (std::nothrow) HandlerInstancesMap[static_cast<std::size_t>(handlerListSlots + slots_step)]();
        if (grown == nullptr) {
            return;
        }
        std::copy_n(handlerInstances, currentSlots, grown);
        delete[] handlerInstances;
        handlerInstances = grown;
        handlerListSlots += slots_step;
    }
    handlerInstances[currentSlots] = {orbfs_fd, this};
    ++currentSlots;
    ++numbersOfFileDescriptors;
}

void ORBFSHandler::selfUnregister() {
    HandlerInstancesMap *const end = handlerInstances + handlerListSlots;
    HandlerInstancesMap *const first = find_slot(handlerInstances, end, orbfs_fd);
    if (first == end) {
        return;
    }
    *first = free_slot;
    if (numbersOfFileDescriptors < 1) {
        set_hb_errno(HB_ERROR_HANDLER_NOT_REGISTERED);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_UNREGISTER_WITHOUT_COUNT, HB_ERROR_HANDLER_NOT_REGISTERED,
                        numbersOfFileDescriptors);
        return;
    }
    --numbersOfFileDescriptors;
}

int *ORBFSHandler::getFileDescriptors() {
    auto *list = new (std::nothrow) int[static_cast<std::size_t>(numbersOfFileDescriptors + 1)];
    if (list == nullptr) {
        return nullptr;
    }
    int copied = 0;
    for (int slot = 0; slot < handlerListSlots && copied < numbersOfFileDescriptors; ++slot) {
        if (handlerInstances[slot].fd != -1) {
            list[copied++] = handlerInstances[slot].fd;
        }
    }
    list[copied] = -1;
    return list;
}

void ORBFSHandler::dispatch(int *ready_fds, int *events, char *subscription_name, Hb_Group *group,
                            unsigned long *length, Hb_Rc *rc) {
    if (ready_fds == nullptr) {
        return;
    }
    for (const int *fd = ready_fds; *fd != -1; ++fd) {
        for (int slot = 0; slot < handlerListSlots; ++slot) {
            if (handlerInstances[slot].fd == *fd && handlerInstances[slot].handler != nullptr) {
                *rc = handlerInstances[slot].handler->handler(events, subscription_name, group, length);
                return;
            }
        }
    }
    set_hb_errno(HB_ERROR_NO_HANDLER);
    hb_trace_values(HB_TRACE_ERRORS, HB_TR_DISPATCH_UNKNOWN, ready_fds[0]);
    *rc = Hb_Failure;
}

void ORBFSHandler::fillInNodeEventInfo(int node, int events, char *subscription_name, Hb_Group *group) {
    if (nodeEventSubscriptionName[0] == '\0') {
        set_name(subscription_name, MOX_EMPTY_EVENT);
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_NODE_EVENT_UNSUBSCRIBED, node, events);
    } else {
        set_name(subscription_name, nodeEventSubscriptionName);
    }
    if (group == nullptr) {
        hb_trace_values(HB_TRACE_ERRORS, HB_TR_NODE_EVENT_WITHOUT_GROUP, node, events);
        return;
    }
    group->Hb_group_status = Hb_Group_Stable;
    reset_node_membership_group_node_list(group);
    auto &nodes = group->Hb_membership_grp_union.Hb_node_membership_grp;
    if (node >= 0 && node < HB_NODE_SLOTS) {
        nodes.Hb_node_list[node] = Hb_True;
    }
    group->Hb_events = events;
    group->Hb_group_type = Hb_Node_Group;
    nodes.Hb_num_nodes = 1;
}

void ORBFSHandler::fillInOneAdapterEvent(int *events, char *subscription_name, Hb_Group *group,
                                         unsigned long *length) {
    if (networkEventSubscriptionName[0] == '\0') {
        *events = HB_EVENT_NONE;
        set_name(subscription_name, MOX_EMPTY_EVENT);
        hb_trace_id(HB_TRACE_INFO, HB_TR_ADAPTER_EVENT_UNSUBSCRIBED);
    } else {
        set_name(subscription_name, networkEventSubscriptionName);
    }
    if (group != nullptr) {
        auto &adapters = group->Hb_membership_grp_union.Hb_adapter_membership_grp;
        group->Hb_group_status = Hb_Group_Stable;
        group->Hb_group_type = Hb_Adapter_Group;
        adapters.Hb_group_leader = HB_NOT_IN_GROUP;
        adapters.Hb_group_incarnation = HB_NOT_IN_GROUP;
        group->Hb_events = *events;
    } else {
        hb_trace_id(HB_TRACE_ERRORS, HB_TR_ADAPTER_EVENT_WITHOUT_GROUP);
    }
    *length = 0;
}

void ORBFSHandler::fillInSiteEventInfo(int, int, char *, Hb_Group *) {}

void ORBFSHandler::copy_node_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (can_copy(from, to)) {
        copy_header(*from, *to);
        to->Hb_membership_grp_union.Hb_node_membership_grp =
            from->Hb_membership_grp_union.Hb_node_membership_grp;
    }
}

void ORBFSHandler::copy_adapter_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.Hb_adapter_membership_grp;
    auto &target = to->Hb_membership_grp_union.Hb_adapter_membership_grp;
    target.Hb_group_leader = source.Hb_group_leader;
    target.Hb_group_incarnation = source.Hb_group_incarnation;
    std::copy_n(source.Hb_adapter_list, hb_adapter_number_bound(global_config_tbl), target.Hb_adapter_list);
    target.Hb_num_adapters = source.Hb_num_adapters;
}

void ORBFSHandler::copy_site_merge_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.site_merge_info;
    auto &target = to->Hb_membership_grp_union.site_merge_info;
    target.num_local_up_nodes = source.num_local_up_nodes;
    target.num_remote_up_nodes = source.num_remote_up_nodes;
    copy_sides(source.local_site, source.remote_site, target.local_site, target.remote_site);
}

void ORBFSHandler::copy_site_split_Hb_Group(Hb_Group *from, Hb_Group *to) {
    if (!can_copy(from, to)) {
        return;
    }
    copy_header(*from, *to);
    const auto &source = from->Hb_membership_grp_union.site_split_info;
    auto &target = to->Hb_membership_grp_union.site_split_info;
    copy_sides(source.local_site, source.remote_site, target.local_site, target.remote_site);
}

void ORBFSHandler::compare_global_config_tables(Hb_Configuration_Internal *new_tbl, MOX_Event **adapters_gone,
                                                MOX_Event **nodes_gone, MOX_Event **config_changed,
                                                MOX_Event **adapters_new, MOX_Event **nodes_new) {
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_ADAPTERS_GONE);
    generate_event_for_missing_tbl2_adapters(&global_config_tbl, new_tbl, HB_EVENT_DEATH, adapters_gone);
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_NODES_GONE);
    generate_event_for_missing_tbl2_node(&global_config_tbl, new_tbl, HB_EVENT_DEATH, nodes_gone);
    if (migrate_to_mox_prep) {
        generate_event_for_config_change(&global_config_tbl, new_tbl, config_changed);
        generate_event_for_config_change(new_tbl, &global_config_tbl, config_changed);
    }
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_ADAPTERS_NEW);
    generate_event_for_missing_tbl2_adapters(new_tbl, &global_config_tbl, HB_EVENT_JOIN, adapters_new);
    hb_trace_id(HB_TRACE_ERRORS, HB_TR_COMPARE_NODES_NEW);
    generate_event_for_missing_tbl2_node(new_tbl, &global_config_tbl, HB_EVENT_JOIN, nodes_new);
}

void ORBFSHandler::generate_event_for_missing_tbl2_adapters(Hb_Configuration_Internal *tbl1,
                                                            Hb_Configuration_Internal *tbl2, int events,
                                                            MOX_Event **ev) {
    MOX_missing_adapters(*tbl1, *tbl2, events, ev);
}

void ORBFSHandler::generate_event_for_missing_tbl2_node(Hb_Configuration_Internal *tbl1,
                                                        Hb_Configuration_Internal *tbl2, int events,
                                                        MOX_Event **ev) {
    MOX_missing_nodes(*tbl1, *tbl2, events, ev);
}

void ORBFSHandler::generate_event_for_config_change(Hb_Configuration_Internal *tbl1,
                                                    Hb_Configuration_Internal *tbl2, MOX_Event **ev) {
    MOX_config_change(*tbl1, *tbl2, ev);
}

void ORBFSHandler::constructConfigEvent(MOX_Event **ev) {
    MOX_construct_config_event(ev);
}

void ORBFSHandler::constructNodeEvent(int node, MOX_Event **ev, int events) {
    MOX_construct_node_event(node, ev, events);
}

void ORBFSHandler::construct_an_adapter_event(MOX_Event **ev, int events, unsigned int adapter_num) {
    MOX_construct_an_adapter_event(ev, events, adapter_num);
}

Hb_Rc ORBFSHandler::constructAdapterEventOnNode(int node, MOX_Event **ev, int events) {
    if (ev != nullptr) {
        *ev = nullptr;
    }
    Hb_Rc result = Hb_Success;
    int count = 0;
    if (events == HB_EVENT_DEATH) {
        count = MOX_take_down_adapters_of_node(node, ev);
    } else if (events == HB_EVENT_JOIN) {
        const bool has_working_table = MOX_working_table() != MOX_Working_Table::none;
        result = MOX_add_up_adapters_of_node(has_working_table ? global_config_tbl_new : global_config_tbl,
                                             node, ev, count);
    }
    if (ev != nullptr && *ev != nullptr) {
        (*ev)->group.Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_num_adapters = count;
        hb_trace_values(HB_TRACE_INFO, HB_TR_ADAPTERS_OF_NODE, events, count);
    }
    return result;
}
