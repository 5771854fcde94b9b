// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/replay_storm/simulated_world.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "providers/service/picture_events.h"
#include "providers/sim/simulated_service.h"

namespace hb_test::replay_storm {
namespace {

using mox_sim::Event_Record;
using mox_sim::Interface;
using mox_sim::Node;
using mox_sim::Picture;

constexpr unsigned LOCAL = 1;
constexpr unsigned NODES = 6; // possible node numbers
constexpr unsigned SLOTS = 4; // possible names of a node's adapters
constexpr unsigned PER_NODE = 48;

std::string name_of(unsigned slot) {
    return "eth" + std::to_string(slot);
}

Interface make_interface(unsigned node, unsigned slot, unsigned variant) {
    Interface made;
    made.node = node;
    made.name = name_of(slot);
    made.address = mox_sim::address_of("10." + std::to_string(variant % 3) + "." + std::to_string(slot) + "." +
                                       std::to_string(node));
    return made;
}

class Simulated_World : public World {
  public:
    Simulated_World() {
        service_.set_cluster("storm", LOCAL);
        for (unsigned node = 1; node <= 4; ++node) {
            add_node(node);
            picture_.interfaces.push_back(make_interface(node, 0, 0));
            picture_.interfaces.push_back(make_interface(node, 1, 0));
        }
        service_.change(picture_, {});
        shown_ = picture_;
    }

    Cluster_State state() const override;
    bool act(const Step &step) override;
    void come_to_rest() override {
        batch_ = 0;
        show();
    }
    void provoke_rebuild() override { service_.change(shown_, {mox_service::reconfiguration()}); }

  private:
    bool change(const Step &step);
    bool change_node(const Step &step);
    bool change_adapter(const Step &step);
    bool change_configuration(const Step &step);
    bool notify(const Step &step);
    bool swap_addresses(Node &node);
    bool reload(const Step &step);
    void show();
    void repeat(const Node &node);
    void notify_node(const char *monitor, qz_orb_event_category_t category, bool up, unsigned node);

    static unsigned node_number(const Step &step) { return 1 + step.a % NODES; }
    Node *find_node(unsigned number) {
        const auto found = std::find_if(picture_.nodes.begin(), picture_.nodes.end(),
                                        [&](const Node &node) { return node.number == number; });
        return found != picture_.nodes.end() ? &*found : nullptr;
    }
    std::vector<Interface *> interfaces_of(unsigned node) {
        std::vector<Interface *> of_node;
        for (Interface &interface : picture_.interfaces) {
            if (interface.node == node) {
                of_node.push_back(&interface);
            }
        }
        return of_node;
    }
    Interface *find_interface(unsigned node, const std::string &name) {
        for (Interface *interface : interfaces_of(node)) {
            if (interface->name == name) {
                return interface;
            }
        }
        return nullptr;
    }
    void add_node(unsigned number) {
        Node node;
        node.number = number;
        node.name = "node" + std::to_string(number);
        picture_.nodes.push_back(node);
    }
    // Both are in the order of the numbers and the names.
    void sort() {
        std::sort(picture_.nodes.begin(), picture_.nodes.end(),
                  [](const Node &a, const Node &b) { return a.number < b.number; });
        std::sort(picture_.interfaces.begin(), picture_.interfaces.end(),
                  [](const Interface &a, const Interface &b) {
                      return std::pair(a.node, a.name) < std::pair(b.node, b.name);
                  });
    }

    mox_sim::Simulated_Service service_;
    Picture picture_;
    Picture shown_;
    unsigned batch_ = 0; // further changes that will be shown together with the pending ones
};

Cluster_State Simulated_World::state() const {
    Cluster_State state;
    state.configuration.local_node = LOCAL;
    for (const Node &node : shown_.nodes) {
        state.configuration.nodes.insert(static_cast<int>(node.number));
        if (node.status == QZ_MOX_NODE_STATUS_UP) {
            state.nodes_up.insert(static_cast<int>(node.number));
        }
    }
    std::map<unsigned, unsigned> places;
    for (const Interface &interface : shown_.interfaces) {
        std::string address(sizeof interface.address, '\0');
        std::memcpy(address.data(), &interface.address, address.size());
        const Adapter_Id id{static_cast<int>(interface.node), interface.name.value_or(""), address};
        state.configuration.adapters[interface.node * PER_NODE + places[interface.node]++] = id;
        if (interface.status == QZ_MOX_INTF_STATUS_UP) {
            state.adapters_up.insert(id);
        }
    }
    return state;
}

void Simulated_World::show() {
    sort();
    const std::vector<mox_sim::Monitor_Event> events = mox_service::events_between(shown_, picture_);
    shown_ = picture_;
    if (!events.empty()) {
        service_.change(shown_, events);
    }
}

bool Simulated_World::act(const Step &step) {
    if (step.verb == Verb::batch) {
        batch_ = 2 + step.a % 4;
        return true;
    }
    if (step.verb == Verb::reload) {
        return reload(step);
    }
    if (notify(step)) {
        return true;
    }
    if (!change(step)) {
        return false;
    }
    batch_ -= batch_ > 0 ? 1 : 0;
    if (batch_ == 0) {
        show();
    }
    return true;
}

bool Simulated_World::change(const Step &step) {
    return change_node(step) || change_adapter(step) || change_configuration(step);
}

bool Simulated_World::change_node(const Step &step) {
    const unsigned number = node_number(step);
    Node *const node = find_node(number);
    if (node == nullptr || number == LOCAL) {
        return false;
    }
    if (step.verb == Verb::node_down && node->status == QZ_MOX_NODE_STATUS_UP) {
        node->status = QZ_MOX_NODE_STATUS_DOWN;
        for (Interface *interface : interfaces_of(number)) {
            interface->status = QZ_MOX_INTF_STATUS_DOWN;
        }
        return true;
    }
    if (step.verb == Verb::node_up && node->status != QZ_MOX_NODE_STATUS_UP) {
        node->status = QZ_MOX_NODE_STATUS_UP;
        unsigned place = 0;
        for (Interface *interface : interfaces_of(number)) {
            // Usually all its adapters come up.
            const bool up = step.b % 3 != 0 || (step.c >> place++) % 2 == 0;
            interface->status = up ? QZ_MOX_INTF_STATUS_UP : QZ_MOX_INTF_STATUS_DOWN;
        }
        return true;
    }
    return false;
}

bool Simulated_World::change_adapter(const Step &step) {
    const unsigned number = node_number(step);
    const Node *const node = find_node(number);
    Interface *const interface = find_interface(number, name_of(step.b % SLOTS));
    if (node == nullptr || interface == nullptr) {
        return false;
    }
    qz_mox_intf_status_t status = QZ_MOX_INTF_STATUS_DOWN;
    switch (step.verb) {
    case Verb::adapter_down:
        break;
    case Verb::adapter_up:
        status = QZ_MOX_INTF_STATUS_UP;
        break;
    case Verb::adapter_undefined:
        status = QZ_MOX_INTF_STATUS_UNDEF;
        break;
    default:
        return false;
    }
    if (interface->status == status || node->status != QZ_MOX_NODE_STATUS_UP) {
        return false;
    }
    interface->status = status;
    return true;
}

bool Simulated_World::swap_addresses(Node &node) {
    const std::vector<Interface *> interfaces = interfaces_of(node.number);
    if (interfaces.size() < 2) {
        return false;
    }
    std::swap(interfaces[0]->address, interfaces[1]->address);
    return true;
}

bool Simulated_World::change_configuration(const Step &step) {
    const unsigned number = node_number(step);
    const unsigned slot = step.b % SLOTS;
    Node *const node = find_node(number);
    if (step.verb == Verb::node_add && node == nullptr) {
        add_node(number);
        for (unsigned place = 0; place < step.b % 3; ++place) {
            picture_.interfaces.push_back(make_interface(number, place, step.c));
        }
        return true;
    }
    if (node == nullptr) {
        return false;
    }
    if (step.verb == Verb::node_remove && number != LOCAL) {
        std::erase_if(picture_.nodes, [&](const Node &one) { return one.number == number; });
        std::erase_if(picture_.interfaces, [&](const Interface &one) { return one.node == number; });
        return true;
    }
    if (step.verb == Verb::swap_addresses) {
        return swap_addresses(*node);
    }
    Interface *const interface = find_interface(number, name_of(slot));
    if (step.verb == Verb::adapter_add && interface == nullptr) {
        Interface added = make_interface(number, slot, step.c);
        added.status = node->status == QZ_MOX_NODE_STATUS_UP && step.c % 4 != 0 ? QZ_MOX_INTF_STATUS_UP
                                                                                : QZ_MOX_INTF_STATUS_DOWN;
        picture_.interfaces.push_back(added);
        return true;
    }
    // A daemon knows nodes by their adapters, so the local node must keep one.
    const bool is_last_of_local = number == LOCAL && interfaces_of(LOCAL).size() == 1;
    if (step.verb == Verb::adapter_remove && interface != nullptr && !is_last_of_local) {
        std::erase_if(picture_.interfaces,
                      [&](const Interface &one) { return one.node == number && one.name == name_of(slot); });
        return true;
    }
    if (step.verb == Verb::address && interface != nullptr) {
        const auto address = make_interface(number, slot, step.c).address;
        if (std::memcmp(&address, &interface->address, sizeof address) != 0) {
            interface->address = address;
            return true;
        }
    }
    return false;
}

// Members of both configurations keep their states.
bool Simulated_World::reload(const Step &step) {
    come_to_rest();
    constexpr Verb VERBS[] = {Verb::node_add,    Verb::node_remove,    Verb::adapter_add, Verb::adapter_remove,
                              Verb::adapter_add, Verb::swap_addresses, Verb::address,     Verb::address};
    Dice dice(step.a * 4096 + step.b * 64 + step.c, {{Verb::reload, 1}});
    const Picture before = picture_;
    for (unsigned changes = step.a % 4; changes > 0; --changes) {
        Step one = dice.throw_one();
        one.verb = VERBS[one.c % std::size(VERBS)];
        const Picture kept = picture_;
        change_configuration(one);
        // A member that was removed and added again would not have its old state.
        const bool is_state_new =
            std::any_of(picture_.interfaces.begin(), picture_.interfaces.end(), [&](const Interface &is) {
                return std::any_of(
                    before.interfaces.begin(), before.interfaces.end(), [&](const Interface &was) {
                        return was.node == is.node && was.name == is.name && was.status != is.status;
                    });
            });
        const bool is_node_new = std::any_of(picture_.nodes.begin(), picture_.nodes.end(), [&](const Node &is) {
            return std::any_of(before.nodes.begin(), before.nodes.end(), [&](const Node &was) {
                return was.number == is.number && was.status != is.status;
            });
        });
        if (is_state_new || is_node_new) {
            picture_ = kept;
        }
    }
    sort();
    shown_ = picture_;
    service_.change(shown_, {mox_service::reconfiguration()});
    return true;
}

void Simulated_World::notify_node(const char *monitor, qz_orb_event_category_t category, bool up,
                                  unsigned node) {
    Event_Record event;
    event.category = category;
    event.type = up ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    event.node = node;
    service_.push(monitor, event);
}

// The service places the event among the unread events of the node.
void Simulated_World::repeat(const Node &node) {
    mox_sim::Monitor_Event monitor_event{"node_liveness", {}};
    monitor_event.event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
    monitor_event.event.type = node.status == QZ_MOX_NODE_STATUS_UP ? QZ_ORB_EVENT_UP : QZ_ORB_EVENT_DOWN;
    monitor_event.event.node = node.number;
    service_.change(shown_, {monitor_event});
}

bool Simulated_World::notify(const Step &step) {
    const unsigned number = node_number(step);
    switch (step.verb) {
    case Verb::peer_down:
    case Verb::peer_up:
        notify_node("peer_gs_liveness", QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, step.verb == Verb::peer_up,
                    number);
        return true;
    case Verb::local_record:
        notify_node("node_liveness", QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, step.b % 2 == 0, LOCAL);
        return true;
    case Verb::repeat:
        for (const Node &node : shown_.nodes) {
            if (node.number == number && number != LOCAL) {
                repeat(node);
            }
        }
        return true;
    default:
        return false;
    }
}

} // namespace

std::unique_ptr<World> make_simulated_world() {
    return std::make_unique<Simulated_World>();
}

} // namespace hb_test::replay_storm
