// SPDX-License-Identifier: Apache-2.0
// A client that stays with its daemon through all faults. It subscribes to all nodes and adapters and connects
// again after the daemon has disconnected. It writes each event with the time at which it received it.
//
// Lines of its output, each preceded by the time of the monotonic clock in seconds:
//
//   connected LOCAL_NODE                the library is open; configuration and present members follow
//   lost ERROR                          the daemon has disconnected
//   closed ERROR                        opening failed, but not for lack of a daemon; the client retries
//   trouble DOING ERROR                 the library failed otherwise
//   configuration nodes N... adapters A=ADDRESS...
//   event SEQUENCE configuration nodes N... adapters A=ADDRESS...
//   event SEQUENCE death|join|account nodes N... [id ID]
//   event SEQUENCE death|join|account adapters A@INCARNATION[-removed]... [id ID]
//   event SEQUENCE ffdc ID
//   table nodes N... adapters A@INCARNATION...      the members that are up, by the events
//   route N ADDRESS...                              or "error E"
//
// Commands on its input: "table", "routes N...". It ends when its input ends.
#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <poll.h>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "hb_client.h"
#include "tests/system/client_text.h"

namespace hb_test {
namespace {

constexpr int MILLISECONDS_BETWEEN_ATTEMPTS = 20;
constexpr int NOBODY_LISTENS = 15;
constexpr int DAEMON_HAS_GONE = 16;

struct Recorder {
    std::vector<int> descriptors; // empty while there is no daemon
    int last_trouble = 0;         // error of the last failed opening; a repeated one is printed once
    std::unique_ptr<Hb_Group> group = std::make_unique<Hb_Group>();
    std::set<Hb_Node_Number> nodes;
    std::map<Hb_Adapter_Number, Hb_Incarnation> adapters;
};

std::string now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%lld.%09ld ", static_cast<long long>(time.tv_sec), time.tv_nsec);
    return text.data();
}

// ---- The configuration ----

std::string configuration_text() {
    std::string text = "configuration nodes";
    Hb_Cursor cursor = 0;
    Hb_Node_Number node = -1;
    for (Hb_Rc rc = hb_get_first_configured_node_number(&node, &cursor); rc == Hb_Success;
         rc = hb_get_next_configured_node_number(&node, &cursor)) {
        text += " " + number(node);
    }
    text += " adapters";
    Hb_Adapter_Number adapter = 0;
    for (Hb_Rc rc = hb_get_first_configured_adapter_number(&adapter, &cursor); rc == Hb_Success;
         rc = hb_get_next_configured_adapter_number(&adapter, &cursor)) {
        Hb_IP_address6 address{};
        hb_get_adapter_address_by_number(adapter, &address);
        text += " " + number(adapter) + "=" + address_text(address);
    }
    return text;
}

// ---- Events ----

std::string take_nodes(Recorder &recorder, int kind) {
    std::string text = " nodes";
    if (kind == HB_EVENT_NEW_GROUP) {
        recorder.nodes.clear();
    }
    Hb_Node_Number node = -1;
    for (Hb_Rc rc = hb_get_first_node(recorder.group.get(), &node); rc == Hb_Success;
         rc = hb_get_next_node(recorder.group.get(), &node)) {
        text += " " + number(node);
        if (kind == HB_EVENT_DEATH) {
            recorder.nodes.erase(node);
        } else {
            recorder.nodes.insert(node);
        }
    }
    return text;
}

std::string take_adapters(Recorder &recorder, int kind) {
    std::string text = " adapters";
    if (kind == HB_EVENT_NEW_GROUP) {
        recorder.adapters.clear();
    }
    Hb_Adapter_Identifier id{};
    for (Hb_Rc rc = hb_get_first_adapter(recorder.group.get(), &id); rc == Hb_Success;
         rc = hb_get_next_adapter(recorder.group.get(), &id)) {
        text += " " + number(id.Hb_adapter_number) + "@" + number(id.Hb_incarnation);
        text += id.Hb_died_because_removed == Hb_True ? "-removed" : "";
        if (kind == HB_EVENT_DEATH) {
            recorder.adapters.erase(id.Hb_adapter_number);
        } else {
            recorder.adapters[id.Hb_adapter_number] = id.Hb_incarnation;
        }
    }
    return text;
}

std::string membership_text(Recorder &recorder, int kind) {
    std::string text = kind == HB_EVENT_DEATH ? "death" : kind == HB_EVENT_JOIN ? "join" : "account";
    text += recorder.group->Hb_group_type == Hb_Node_Group ? take_nodes(recorder, kind)
                                                           : take_adapters(recorder, kind);
    Hb_FFDC_Id id{};
    if (hb_get_FFDC_id(recorder.group.get(), &id) == Hb_Success) {
        text += std::string(" id ") + id;
    }
    return text;
}

std::string event_text(Recorder &recorder, int kind) {
    switch (kind) {
    case HB_EVENT_DEATH:
    case HB_EVENT_JOIN:
    case HB_EVENT_NEW_GROUP:
        return membership_text(recorder, kind);
    case HB_EVENT_CONFIG:
        return configuration_text();
    case HB_EVENT_FFDC: {
        Hb_FFDC_Id id{};
        return hb_get_FFDC_id(recorder.group.get(), &id) == Hb_Success ? std::string("ffdc ") + id : "ffdc";
    }
    default:
        return "kind-" + number(kind);
    }
}

void leave(Recorder &recorder) {
    recorder.descriptors.clear();
    hb_terminate();
}

void take_event(Recorder &recorder) {
    std::vector<int> wanted = recorder.descriptors;
    wanted.push_back(-1);
    timeval at_once{};
    int kind = 0;
    Hb_Name name{};
    unsigned long sequence = 0;
    const Hb_Rc result =
        hb_get_event_message(wanted.data(), &at_once, &kind, name, recorder.group.get(), &sequence);
    const std::string time = now();
    if (result == Hb_Success) {
        say(time + "event " + std::to_string(sequence) + " " + event_text(recorder, kind));
        return;
    }
    const int error = hb_get_errno();
    say(time + (error == DAEMON_HAS_GONE ? "lost " : "trouble event ") + number(error));
    leave(recorder);
}

// ---- The session ----

bool subscribe(const char *name, Hb_Rc (*add_all)(Hb_Subscription_Group *)) {
    const auto group = std::make_unique<Hb_Subscription_Group>();
    std::string copy = name;
    return hb_empty_subscription_group(group.get()) == Hb_Success && add_all(group.get()) == Hb_Success &&
           hb_subscribe(copy.data(), group.get(), HB_EVENT_DEATH | HB_EVENT_JOIN | HB_EVENT_NEW_GROUP) ==
               Hb_Success;
}

bool learn_descriptors(Recorder &recorder) {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        return false;
    }
    recorder.descriptors.assign(descriptors, descriptors + count);
    hb_free_file_descriptor_array(descriptors);
    return true;
}

void connect(Recorder &recorder) {
    Hb_Node_Number local = -1;
    if (hb_init() == Hb_Success && hb_get_my_node_number(&local) == Hb_Success && learn_descriptors(recorder)) {
        recorder.last_trouble = 0;
        say(now() + "connected " + number(local));
        say(now() + configuration_text());
        if (subscribe("adapters", hb_add_all_adapters_to_subscription_group) &&
            subscribe("nodes", hb_add_all_nodes_to_subscription_group)) {
            return;
        }
        say(now() + "lost " + number(hb_get_errno()));
    } else if (const int error = hb_get_errno();
               error != recorder.last_trouble && error != NOBODY_LISTENS && error != DAEMON_HAS_GONE) {
        recorder.last_trouble = error;
        say(now() + "closed " + number(error));
    }
    leave(recorder);
}

// ---- Commands ----

void say_table(const Recorder &recorder) {
    std::string text = "table nodes";
    for (const Hb_Node_Number node : recorder.nodes) {
        text += " " + number(node);
    }
    text += " adapters";
    for (const auto &[adapter, incarnation] : recorder.adapters) {
        text += " " + number(adapter) + "@" + number(incarnation);
    }
    say(now() + text);
}

void say_route(Hb_Node_Number node) {
    Hb_Route route{};
    uint16_t length = 0;
    std::string text = "route " + number(node);
    if (hb_read_route(node, &route, &length) != Hb_Success) {
        say(now() + text + " error " + number(hb_get_errno()));
        return;
    }
    for (int hop = 0; hop < length && hop < HB_ROUTE_HOPS; ++hop) {
        text += " " + address_text(route.sr_address[hop]);
    }
    say(now() + text);
}

void obey(const Recorder &recorder, const std::string &line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "table") {
        say_table(recorder);
    } else if (command == "routes") {
        for (Hb_Node_Number node = -1; words >> node;) {
            say_route(node);
        }
    } else {
        say(now() + "trouble command " + line);
    }
}

// Returns false at the end of the input.
bool take_input(const Recorder &recorder, std::string &unfinished) {
    std::array<char, 4096> buffer{};
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    unfinished.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = unfinished.find('\n')) != std::string::npos;) {
        obey(recorder, unfinished.substr(0, end));
        unfinished.erase(0, end + 1);
    }
    return true;
}

void record(Recorder &recorder) {
    std::string unfinished;
    for (;;) {
        if (recorder.descriptors.empty()) {
            connect(recorder);
        }
        std::vector<pollfd> wanted{{STDIN_FILENO, POLLIN, 0}};
        for (const int descriptor : recorder.descriptors) {
            wanted.push_back({descriptor, POLLIN, 0});
        }
        const int patience = recorder.descriptors.empty() ? MILLISECONDS_BETWEEN_ATTEMPTS : -1;
        if (poll(wanted.data(), wanted.size(), patience) < 0) {
            continue;
        }
        if (wanted.size() > 1 && wanted[1].revents != 0) {
            take_event(recorder);
        } else if (wanted[0].revents != 0 && !take_input(recorder, unfinished)) {
            return;
        }
    }
}

} // namespace
} // namespace hb_test

int main() {
    std::signal(SIGPIPE, SIG_IGN); // writing to a stopped daemon then gives an error
    hb_test::Recorder recorder;
    hb_test::record(recorder);
    return hb_terminate() == Hb_Success ? 0 : 1;
}
