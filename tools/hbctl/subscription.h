// What to watch, and how to subscribe to it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "hb_client.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/member_word.h"

namespace hbctl {

enum class Selection { nodes, all_nodes, adapters, all_adapters, network, sites, different_instance };

struct Subscription_Request {
    std::string name;
    Selection selection = Selection::all_nodes;
    std::vector<Member_Word> members; // nodes or adapters
    std::string network;              // number or name
    int events = HB_EVENT_NONE;       // HB_EVENT_..., combined
};

// The subscription of `hbctl watch`: everything.
std::vector<Subscription_Request> everything();

// A subscription that follows changes of the configuration. The daemon stores the members at the time of the
// request, except for "all". So the subscription is renewed when its list of members changes.
class Subscription {
  public:
    explicit Subscription(Subscription_Request request);

    // Subscribes, also after the library was closed and opened again. Throws Request_Failed, also if a member is
    // not configured.
    void ask();

    // After a configuration change: subscribes again if the members differ from the last request. A member that
    // is no longer configured is left out until it returns. Returns one line about it, or nothing.
    std::string refresh();

    const Subscription_Request &request() const { return request_; }

  private:
    enum class Missing { refuse, leave_out };
    struct Asked {
        bool all = false;
        std::vector<std::uint8_t> members;
        bool operator==(const Asked &) const = default;
    };

    bool build(Missing missing, std::string &left_out);
    void find_names();
    void build_nodes(Missing missing, std::string &left_out);
    void build_adapters(Missing missing, std::string &left_out);
    bool build_network(Missing missing, std::string &left_out);
    Asked asked_for() const;
    void send();

    Subscription_Request request_;
    std::unique_ptr<Hb_Subscription_Group> group_;
    Asked asked_;
    bool active_ = false;
};

} // namespace hbctl
