// SPDX-License-Identifier: Apache-2.0
// A cluster service without a cluster: its users set the data, push the events and choose the failures.
//
// An object is the installed service from its construction to its destruction. Only one can exist at a time.
// All functions may be called from any thread. Lists and events that it returns stay valid until they are
// released.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "providers/service/monitors.h"
#include "providers/service/picture.h"
#include "providers/service/picture_events.h"
#include "providers/service/reported_liveness.h"
#include "qz_mox.h"

namespace mox_sim {

using mox_service::Event_Record;
using mox_service::Interface;
using mox_service::Monitor_Event;
using mox_service::Node;
using mox_service::Picture;

// Parses an IPv6 address or an IPv4 address, which becomes ::ffff:a.b.c.d. Throws std::invalid_argument for any
// other text.
qz_mox_IP_address6_t address_of(const std::string &text);

struct Site {
    uint32_t number = 0;
    qz_mox_uuid_t id{};
    std::string name;
    qz_mox_site_policy_t policy = QZ_MOX_SITE_POLICY_PRIORITY;
    uint32_t priority = 0;
    qz_mox_site_status_t status = QZ_MOX_SITE_STATUS_UP;
    qz_mox_site_merge_flag_t merge_flag = QZ_MOX_SITE_MERGE_FLAG_NOPER_PENDING;
    uint32_t nodes_up = 0;
};

enum class Operation {
    get_cluster_info,
    get_node_info,
    get_node_info_after_event,
    get_net_intf_info,
    get_net_intf_info_after_event,
    get_local_node_uuid,
    get_local_site_info,
    get_site_merge_policy,
    open_monitor,
    read_event
};

class Simulated_Service {
  public:
    Simulated_Service();
    Simulated_Service(const Simulated_Service &) = delete;
    Simulated_Service &operator=(const Simulated_Service &) = delete;
    ~Simulated_Service();

    // ---- Data ----
    void set_cluster(const std::string &name, uint32_t local_node);
    // Adds a node, or replaces the node with the same number. Likewise an interface is identified by its node
    // and name.
    void set(const Node &node);
    void set(const Interface &interface);
    // Removes the node and its interfaces.
    void remove_node(uint32_t number);
    void remove_interface(uint32_t node, const std::string &name);
    void clear();
    void set_local_site(const Site &site);
    void set_merge_policy(int policy);
    void set_local_uuid(qz_mox_uuid_t uuid);
    std::vector<Node> nodes() const;
    std::vector<Interface> interfaces() const;
    // Replaces the nodes and interfaces in one step, which these events report. The queries report a node or
    // interface with unread liveness events as it was last reported.
    void change(const Picture &picture, const std::vector<Monitor_Event> &events);

    // ---- Failures ----
    // Lets `skip` calls work; the next `times` calls then return the result and errno (-1: all further calls).
    void fail(Operation operation, int result, int error, int skip = 0, int times = -1);
    void heal(Operation operation);
    int calls(Operation operation) const;

    // ---- Events: the open monitors of that name become readable ----
    // Adds an event without changing the data. The queries return the data even if it contradicts the event.
    void push(const std::string &monitor, const Event_Record &event);
    // Makes the next reading of each open monitor of that name return this result and errno without an event.
    void push_result(const std::string &monitor, int result, int error);
    // Returns the category of the last reading of that monitor, or nothing before the first reading.
    std::optional<int> category_asked(const std::string &monitor) const;
    // Each changes the state and adds the event that reports it, in one step like change().
    void node_down(uint32_t number);
    void node_up(uint32_t number);
    void interface_down(uint32_t node, const std::string &name);
    void interface_up(uint32_t node, const std::string &name);

    // ---- Unreleased objects ----
    int lists_out() const;  // returned and not released
    int events_out() const; // read and not released
    int monitors_opened() const;
    // Sets a function that is called once when the first monitor is opened. It runs in the opener's thread
    // before the opener receives the descriptor. It must not call the service.
    void when_first_opened(std::function<void()> call);

  private:
    friend struct Entries; // the functions of the installed table

    struct Failure {
        int result = 0;
        int error = 0;
        int skip = 0;
        int times = 0;
    };
    std::optional<int> failed(Operation operation); // the result to return, with errno set
    void become(const Picture &picture, const std::vector<Monitor_Event> &events);
    void set_node_up(uint32_t number, bool up);
    void set_interface_up(uint32_t node, const std::string &name, bool up);
    Picture shown() { return reported_.shown(picture_); }

    mutable std::mutex mutex_;
    std::string cluster_name_ = "simulated";
    uint32_t local_node_ = 1;
    Picture picture_; // nodes and interfaces in the order of their addition
    Site local_site_;
    int merge_policy_ = QZ_MOX_SITE_POLICY_PRIORITY;
    qz_mox_uuid_t local_uuid_{0x1111, 0x2222};
    std::map<Operation, Failure> failures_;
    std::map<Operation, int> calls_;
    mox_service::Monitors monitors_;
    mox_service::Reported_Liveness reported_{monitors_};
    std::function<void()> when_first_opened_;
    int lists_out_ = 0;
    int events_out_ = 0;
    int monitors_opened_ = 0;
};

} // namespace mox_sim
