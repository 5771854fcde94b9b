// SPDX-License-Identifier: Apache-2.0
#include "providers/sim/simulated_service.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "common/ip_address.h"
#include "providers/service/service_lists.h"

namespace mox_sim {
namespace {

constexpr int NOTHING_HELD = -16;

Simulated_Service *installed = nullptr;

} // namespace

qz_mox_IP_address6_t address_of(const std::string &text) {
    const auto address = common::parse_address<qz_mox_IP_address6_t>(text);
    if (!address) {
        throw std::invalid_argument("'" + text + "' is not an address");
    }
    return *address;
}

// The functions of the installed table. Each holds the service's lock.
struct Entries {
    static Simulated_Service &service() { return *installed; }

    static int get_cluster_info(const char *, qz_mox_cluster_info_t **info) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::get_cluster_info)) {
            return *result;
        }
        *info = mox_service::make_cluster_info(service().cluster_name_, service().local_node_);
        ++service().lists_out_;
        return 0;
    }
    static void release_cluster_info(qz_mox_cluster_info_t *info) {
        if (info != nullptr) {
            const std::lock_guard lock(service().mutex_);
            mox_service::free_list(info);
            --service().lists_out_;
        }
    }

    static int node_list(Operation operation, qz_mox_node_info_t **list) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(operation)) {
            return *result;
        }
        *list = mox_service::make_list(service().shown().nodes);
        service().lists_out_ += *list != nullptr ? 1 : 0;
        return 0;
    }
    static int get_node_info(const char *, qz_mox_node_info_t **list) {
        return node_list(Operation::get_node_info, list);
    }
    static int get_node_info_after_event(const char *, const qz_orb_event_metadata_t *,
                                         qz_mox_node_info_t **list) {
        return node_list(Operation::get_node_info_after_event, list);
    }
    static void release_node_info(qz_mox_node_info_t *list) {
        if (list != nullptr) {
            const std::lock_guard lock(service().mutex_);
            --service().lists_out_;
        }
        mox_service::free_list(list);
    }

    static int interface_list(Operation operation, qz_mox_net_intf_info_t **list) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(operation)) {
            return *result;
        }
        *list = mox_service::make_list(service().shown().interfaces);
        service().lists_out_ += *list != nullptr ? 1 : 0;
        return 0;
    }
    static int get_net_intf_info(const char *, qz_mox_net_intf_info_t **list) {
        return interface_list(Operation::get_net_intf_info, list);
    }
    static int get_net_intf_info_after_event(const char *, const qz_orb_event_metadata_t *,
                                             qz_mox_net_intf_info_t **list) {
        return interface_list(Operation::get_net_intf_info_after_event, list);
    }
    static void release_net_intf_info(qz_mox_net_intf_info_t *list) {
        if (list != nullptr) {
            const std::lock_guard lock(service().mutex_);
            --service().lists_out_;
        }
        mox_service::free_list(list);
    }

    static int get_local_node_uuid(const char *, qz_mox_uuid_t *uuid) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::get_local_node_uuid)) {
            return *result;
        }
        *uuid = service().local_uuid_;
        return 0;
    }
    static int get_local_site_info(const char *, qz_mox_site_info_t *site) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::get_local_site_info)) {
            return *result;
        }
        Site &local = service().local_site_;
        *site = {};
        site->site_number = local.number;
        site->site_id = local.id;
        site->p_name = local.name.data();
        site->site_policy = local.policy;
        site->site_priority = local.priority;
        site->status = local.status;
        site->merge_flag = local.merge_flag;
        site->nodes_up = local.nodes_up;
        return 0;
    }
    static int get_site_merge_policy(const char *, int *policy) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::get_site_merge_policy)) {
            return *result;
        }
        *policy = service().merge_policy_;
        return 0;
    }

    static int open_monitor(const char *name, int *fd) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::open_monitor)) {
            return *result;
        }
        const int opened = service().monitors_.open(name);
        if (opened < 0) {
            return -1;
        }
        ++service().monitors_opened_;
        if (const auto call = std::exchange(service().when_first_opened_, nullptr)) {
            call();
        }
        *fd = opened;
        return 0;
    }
    static int read_event(int fd, int category, qz_orb_event_metadata_t *event) {
        const std::lock_guard lock(service().mutex_);
        if (const auto result = service().failed(Operation::read_event)) {
            return *result;
        }
        const std::optional<mox_service::Reading> reading = service().reported_.read(fd, category);
        if (!reading) {
            return NOTHING_HELD;
        }
        if (reading->result != 0) {
            errno = reading->error;
            return reading->result;
        }
        mox_service::make_event(reading->event, event);
        ++service().events_out_;
        return 0;
    }
    static void release_event(qz_orb_event_metadata_t *event) {
        if (event != nullptr) {
            const std::lock_guard lock(service().mutex_);
            mox_service::free_event(event);
            --service().events_out_;
        }
    }

    static constexpr qz_mox_service_t TABLE = {get_cluster_info,
                                               get_node_info,
                                               get_node_info_after_event,
                                               get_net_intf_info,
                                               get_net_intf_info_after_event,
                                               get_local_node_uuid,
                                               get_local_site_info,
                                               get_site_merge_policy,
                                               release_cluster_info,
                                               release_node_info,
                                               release_net_intf_info,
                                               open_monitor,
                                               read_event,
                                               release_event};
};

Simulated_Service::Simulated_Service() {
    if (installed != nullptr) {
        throw std::logic_error("there is a simulated service already");
    }
    installed = this;
    qz_mox_install_service(&Entries::TABLE);
}

Simulated_Service::~Simulated_Service() {
    qz_mox_install_service(nullptr);
    installed = nullptr;
}

// ---- Data ----

void Simulated_Service::set_cluster(const std::string &name, uint32_t local_node) {
    const std::lock_guard lock(mutex_);
    cluster_name_ = name;
    local_node_ = local_node;
}

void Simulated_Service::set(const Node &node) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(picture_.nodes.begin(), picture_.nodes.end(),
                                    [&](const Node &known) { return known.number == node.number; });
    found != picture_.nodes.end() ? static_cast<void>(*found = node) : picture_.nodes.push_back(node);
}

void Simulated_Service::set(const Interface &interface) {
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(picture_.interfaces.begin(), picture_.interfaces.end(), [&](const Interface &known) {
            return known.node == interface.node && known.name == interface.name;
        });
    found != picture_.interfaces.end() ? static_cast<void>(*found = interface)
                                       : picture_.interfaces.push_back(interface);
}

void Simulated_Service::remove_node(uint32_t number) {
    const std::lock_guard lock(mutex_);
    std::erase_if(picture_.nodes, [&](const Node &node) { return node.number == number; });
    std::erase_if(picture_.interfaces, [&](const Interface &interface) { return interface.node == number; });
}

void Simulated_Service::remove_interface(uint32_t node, const std::string &name) {
    const std::lock_guard lock(mutex_);
    std::erase_if(picture_.interfaces,
                  [&](const Interface &interface) { return interface.node == node && interface.name == name; });
}

void Simulated_Service::clear() {
    const std::lock_guard lock(mutex_);
    picture_.nodes.clear();
    picture_.interfaces.clear();
}

void Simulated_Service::set_local_site(const Site &site) {
    const std::lock_guard lock(mutex_);
    local_site_ = site;
}

void Simulated_Service::set_merge_policy(int policy) {
    const std::lock_guard lock(mutex_);
    merge_policy_ = policy;
}

void Simulated_Service::set_local_uuid(qz_mox_uuid_t uuid) {
    const std::lock_guard lock(mutex_);
    local_uuid_ = uuid;
}

std::vector<Node> Simulated_Service::nodes() const {
    const std::lock_guard lock(mutex_);
    return picture_.nodes;
}

std::vector<Interface> Simulated_Service::interfaces() const {
    const std::lock_guard lock(mutex_);
    return picture_.interfaces;
}

void Simulated_Service::change(const Picture &picture, const std::vector<Monitor_Event> &events) {
    const std::lock_guard lock(mutex_);
    become(picture, events);
}

void Simulated_Service::become(const Picture &picture, const std::vector<Monitor_Event> &events) {
    const Picture before = std::exchange(picture_, picture);
    reported_.change(before, picture_, events);
}

// ---- Failures ----

void Simulated_Service::fail(Operation operation, int result, int error, int skip, int times) {
    const std::lock_guard lock(mutex_);
    failures_[operation] = {result, error, skip, times};
}

void Simulated_Service::heal(Operation operation) {
    const std::lock_guard lock(mutex_);
    failures_.erase(operation);
}

int Simulated_Service::calls(Operation operation) const {
    const std::lock_guard lock(mutex_);
    const auto found = calls_.find(operation);
    return found != calls_.end() ? found->second : 0;
}

std::optional<int> Simulated_Service::failed(Operation operation) {
    ++calls_[operation];
    const auto found = failures_.find(operation);
    if (found == failures_.end() || found->second.times == 0) {
        return std::nullopt;
    }
    if (found->second.skip > 0) {
        --found->second.skip;
        return std::nullopt;
    }
    found->second.times -= found->second.times > 0 ? 1 : 0;
    errno = found->second.error;
    return found->second.result;
}

// ---- Events ----

void Simulated_Service::push(const std::string &monitor, const Event_Record &event) {
    const std::lock_guard lock(mutex_);
    monitors_.push(monitor, {0, 0, event, nullptr, 0});
}

void Simulated_Service::push_result(const std::string &monitor, int result, int error) {
    const std::lock_guard lock(mutex_);
    monitors_.push(monitor, {result, error, {}, nullptr, 0});
}

std::optional<int> Simulated_Service::category_asked(const std::string &monitor) const {
    const std::lock_guard lock(mutex_);
    return monitors_.category_asked(monitor);
}

// Changes a node's state. The states of its interfaces change with it.
void Simulated_Service::set_node_up(uint32_t number, bool up) {
    const std::lock_guard lock(mutex_);
    Picture picture = picture_;
    for (Node &node : picture.nodes) {
        if (node.number == number) {
            node.status = up ? QZ_MOX_NODE_STATUS_UP : QZ_MOX_NODE_STATUS_DOWN;
        }
    }
    for (Interface &interface : picture.interfaces) {
        if (interface.node == number && interface.name) {
            interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
        }
    }
    Monitor_Event monitor_event{"node_liveness", {}};
    monitor_event.event.type = up ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.node = number;
    become(picture, {monitor_event});
}

void Simulated_Service::set_interface_up(uint32_t node, const std::string &name, bool up) {
    const std::lock_guard lock(mutex_);
    Picture picture = picture_;
    for (Interface &interface : picture.interfaces) {
        if (interface.node == node && interface.name == name) {
            interface.status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
        }
    }
    Monitor_Event monitor_event{"adapter_liveness", {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS;
    monitor_event.event.type = up ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.node = node;
    monitor_event.event.name = name;
    become(picture, {monitor_event});
}

void Simulated_Service::node_down(uint32_t number) {
    set_node_up(number, false);
}

void Simulated_Service::node_up(uint32_t number) {
    set_node_up(number, true);
}

void Simulated_Service::interface_down(uint32_t node, const std::string &name) {
    set_interface_up(node, name, false);
}

void Simulated_Service::interface_up(uint32_t node, const std::string &name) {
    set_interface_up(node, name, true);
}

// ---- Unreleased objects ----

int Simulated_Service::lists_out() const {
    const std::lock_guard lock(mutex_);
    return lists_out_;
}

int Simulated_Service::events_out() const {
    const std::lock_guard lock(mutex_);
    return events_out_;
}

int Simulated_Service::monitors_opened() const {
    const std::lock_guard lock(mutex_);
    return monitors_opened_;
}

void Simulated_Service::when_first_opened(std::function<void()> call) {
    const std::lock_guard lock(mutex_);
    when_first_opened_ = std::move(call);
}

} // namespace mox_sim
