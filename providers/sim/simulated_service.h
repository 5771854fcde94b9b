// A cluster service without a cluster: what it knows is set, what happens is pushed, and what fails is chosen.
//
// It is the installed service from its construction to its destruction; there is one at a time. All may be
// called from any thread. The memory that it gives out is its own until it is released.
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
using mox_service::Node;
using mox_service::Picture;
using mox_service::Told;

// ::ffff:a.b.c.d, or an IPv6 address. Throws std::invalid_argument for any other text.
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

    // ---- What it knows ----
    void set_cluster(const std::string &name, uint32_t local_node);
    // Adds the node or interface, or takes the place of the one with its number, or its node and name.
    void set(const Node &node);
    void set(const Interface &interface);
    void remove_node(uint32_t number); // with its interfaces
    void remove_interface(uint32_t node, const std::string &name);
    void clear();
    void set_local_site(const Site &site);
    void set_merge_policy(int policy);
    void set_local_uuid(qz_mox_uuid_t uuid);
    std::vector<Node> nodes() const;
    std::vector<Interface> interfaces() const;
    // The nodes and interfaces become others, and these events report it: one step to its users. The queries report a
    // node or interface with unread liveness events of such steps as it was last reported.
    void change(const Picture &picture, const std::vector<Told> &events);

    // ---- What fails: so many calls work, then so many give the result and errno (-1: all that follow) ----
    void fail(Operation operation, int result, int error, int skip = 0, int times = -1);
    void heal(Operation operation);
    int calls(Operation operation) const;

    // ---- What happens: the monitors of that name that are open become readable ----
    // An event that the service itself may contradict: what was set before shows at once.
    void push(const std::string &monitor, const Event_Record &event);
    // The next reading of one that is open gives this result and errno, and no event.
    void push_result(const std::string &monitor, int result, int error);
    // The category that the monitor of that name was last read for; nothing before it was.
    std::optional<int> category_asked(const std::string &monitor) const;
    // One step each, as change(): the state, and the event that reports it.
    void node_down(uint32_t number);
    void node_up(uint32_t number);
    void interface_down(uint32_t node, const std::string &name);
    void interface_up(uint32_t node, const std::string &name);

    // ---- What is out ----
    int lists_out() const;  // given and not released
    int events_out() const; // read and not released
    int monitors_opened() const;
    // Called once, when the first monitor is opened, in its opener's thread and before that gets it. It must not
    // call the service.
    void when_first_opened(std::function<void()> call);

  private:
    friend struct Entries; // the functions of the installed table

    struct Failure {
        int result = 0;
        int error = 0;
        int skip = 0;
        int times = 0;
    };
    std::optional<int> failed(Operation operation); // the result to give, with errno set
    void become(const Picture &picture, const std::vector<Told> &events);
    void set_node_up(uint32_t number, bool up);
    void set_interface_up(uint32_t node, const std::string &name, bool up);
    Picture shown() { return reported_.shown(picture_); }

    mutable std::mutex mutex_;
    std::string cluster_name_ = "simulated";
    uint32_t local_node_ = 1;
    Picture picture_; // nodes and interfaces in the order in which they were added
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
