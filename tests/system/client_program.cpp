// SPDX-License-Identifier: Apache-2.0
// A program as a user would write it. It uses the client library and prints each result as one line. Its
// commands come from its arguments, and then from the lines of its standard input.
//
//   open | close                       open and close the library
//   subscribe NAME MASK WHAT [N...]    WHAT: nodes, adapters, network, all-nodes, all-adapters, instances
//   unsubscribe NAME
//   configuration                      everything that the queries return
//   totals                             only the counts, and the totals of the iterations
//   pause | resume                     stop reading events, and continue
//   take N                             N events, waiting for each
//   drain                              events until no descriptor is ready, and "quiet"
//   prepare | commit | abort           leave the daemon for the cluster service, or stay
//   heartbeat                          the heartbeat settings that the daemon sent last
//
// and what client_requests.cpp lists.
#include <array>
#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <poll.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "hb_client.h"
#include "tests/system/client_requests.h"
#include "tests/system/client_text.h"

namespace hb_test {
namespace {

struct Client {
    std::vector<int> descriptors; // to wait on; empty while the library is closed
    bool reading = true;
    std::unique_ptr<Hb_Group> group = std::make_unique<Hb_Group>();
};

// ---- Events ----

std::string kind_name(int kind) {
    static const std::map<int, std::string> names = {
        {HB_EVENT_DEATH, "death"},          {HB_EVENT_JOIN, "join"},
        {HB_EVENT_NEW_GROUP, "new-group"},  {HB_EVENT_FFDC, "ffdc"},
        {HB_EVENT_CONFIG, "configuration"}, {HB_EVENT_DIFF_INSTANCE, "different-instance"},
        {HB_EVENT_HEARTBEAT, "heartbeat"},
    };
    const auto found = names.find(kind);
    return found == names.end() ? "kind-" + number(kind) : found->second;
}

std::string node_members(Hb_Group &group) {
    std::string text = " nodes";
    Hb_Node_Number node = -1;
    for (Hb_Rc rc = hb_get_first_node(&group, &node); rc == Hb_Success; rc = hb_get_next_node(&group, &node)) {
        text += " " + number(node);
    }
    return text;
}

std::string adapter_members(Hb_Group &group) {
    std::string text = " adapters";
    Hb_Adapter_Identifier id{};
    for (Hb_Rc rc = hb_get_first_adapter(&group, &id); rc == Hb_Success;
         rc = hb_get_next_adapter(&group, &id)) {
        text += " " + number(id.Hb_adapter_number) + "@" + number(id.Hb_incarnation);
        text += id.Hb_died_because_removed == Hb_True ? "-removed" : "";
    }
    Hb_Group_Identifier leader{};
    if (hb_get_group_leader_id(&group, &leader) == Hb_Success) {
        text += " leader " + number(leader.Hb_adapter_number) + "@" + number(leader.Hb_incarnation);
    }
    Hb_Group_Identifier identity{};
    if (hb_get_group_id(&group, &identity) == Hb_Success) {
        text += " group " + number(identity.Hb_incarnation);
    }
    return text;
}

std::string member_text(Hb_Group &group) {
    std::string text = group.Hb_group_type == Hb_Node_Group ? node_members(group) : adapter_members(group);
    int status = -1;
    if (hb_get_group_status(&group, &status) == Hb_Success) {
        text += " status " + number(status);
    }
    Hb_FFDC_Id id{};
    if (hb_get_FFDC_id(&group, &id) == Hb_Success) {
        text += std::string(" id ") + id;
    }
    return text;
}

std::string heartbeat_text() {
    Hb_Client_Hb_Info info{};
    hb_get_client_hb_info(&info);
    return " threshold " + number(info.client_hb_thresh.tv_sec) + "s " + number(info.client_hb_thresh.tv_usec) +
           "us enabled " + number(info.client_hb_is_enabled) + " pid " + number(info.client_hb_daemon_pid);
}

std::string event_text(int kind, Hb_Group &group) {
    switch (kind) {
    case HB_EVENT_DEATH:
    case HB_EVENT_JOIN:
    case HB_EVENT_NEW_GROUP:
        return member_text(group);
    case HB_EVENT_FFDC: {
        Hb_FFDC_Id id{};
        return hb_get_FFDC_id(&group, &id) == Hb_Success ? std::string(" id ") + id : " without id";
    }
    case HB_EVENT_DIFF_INSTANCE: {
        diff_instance_info info{};
        hb_get_different_instance_sender(&group, &info);
        return " from " + address_text(info.addr) + " instance " + number(info.machinesInst);
    }
    case HB_EVENT_HEARTBEAT:
        return heartbeat_text();
    default:
        return "";
    }
}

std::vector<pollfd> to_wait_on(const std::vector<int> &descriptors) {
    std::vector<pollfd> wanted;
    for (const int descriptor : descriptors) {
        wanted.push_back({descriptor, POLLIN, 0});
    }
    return wanted;
}

std::vector<int> ready_ones(const std::vector<pollfd> &waited_on) {
    std::vector<int> ready;
    for (const pollfd &descriptor : waited_on) {
        if (descriptor.revents != 0) {
            ready.push_back(descriptor.fd);
        }
    }
    return ready;
}

// Returns the client's descriptors that are ready; none after this time.
std::vector<int> wait_ready(const Client &client, int milliseconds) {
    std::vector<pollfd> wanted = to_wait_on(client.descriptors);
    poll(wanted.data(), wanted.size(), milliseconds);
    return ready_ones(wanted);
}

void take_event(Client &client, std::vector<int> ready) {
    ready.push_back(-1);
    timeval at_once{};
    int kind = 0;
    Hb_Name name{};
    unsigned long sequence = 0;
    if (hb_get_event_message(ready.data(), &at_once, &kind, name, client.group.get(), &sequence) ==
        Hb_Success) {
        say("event " + std::to_string(sequence) + " " + kind_name(kind) + " " + name +
            event_text(kind, *client.group));
        return;
    }
    say_failure("event");
    client.descriptors.clear(); // until the library is opened again
}

// ---- The configuration ----

using Numbers = std::vector<long long>;

template <typename Number, typename First, typename Next> Numbers all_of(First first, Next next) {
    Numbers numbers;
    Number item{};
    Hb_Cursor cursor = 0;
    for (Hb_Rc rc = first(&item, &cursor); rc == Hb_Success; rc = next(&item, &cursor)) {
        numbers.push_back(item);
    }
    return numbers;
}

Numbers all_nodes() {
    return all_of<Hb_Node_Number>(hb_get_first_configured_node_number, hb_get_next_configured_node_number);
}

Numbers all_networks() {
    return all_of<Hb_Network_Number>(hb_get_first_configured_network_number,
                                     hb_get_next_configured_network_number);
}

Numbers all_adapters() {
    return all_of<Hb_Adapter_Number>(hb_get_first_configured_adapter_number,
                                     hb_get_next_configured_adapter_number);
}

void say_counts() {
    Hb_Node_Number local = -1;
    int nodes = -1;
    int networks = -1;
    int adapters = -1;
    hb_get_my_node_number(&local);
    hb_get_number_of_configured_nodes(&nodes);
    hb_get_number_of_configured_networks(&networks);
    hb_get_number_of_configured_adapters(&adapters);
    say("local " + number(local) + " nodes " + number(nodes) + " networks " + number(networks) + " adapters " +
        number(adapters));
}

void say_network(long long which) {
    const auto network = static_cast<Hb_Network_Number>(which);
    Hb_Network_Name name{};
    Hb_Network_Type type{};
    hb_get_network_name_by_number(network, name);
    hb_get_network_type_by_number(network, type);
    std::string line = "network " + number(which) + " " + name + " " + type + " adapters";
    const Numbers adapters = all_of<Hb_Adapter_Number>(
        [&](auto *item, auto *cursor) {
            return hb_get_first_configured_adapter_in_network(network, item, cursor);
        },
        [&](auto *item, auto *cursor) {
            return hb_get_next_configured_adapter_in_network(network, item, cursor);
        });
    for (const long long adapter : adapters) {
        line += " " + number(adapter);
    }
    say(line);
}

void say_adapter(long long which) {
    const auto adapter = static_cast<Hb_Adapter_Number>(which);
    Hb_Node_Number node = -1;
    Hb_IP_address6 address{};
    Hb_Adapter_Type type{};
    hb_get_node_number_by_adapter_number(adapter, &node);
    hb_get_adapter_address_by_number(adapter, &address);
    hb_get_adapter_type_by_number(adapter, type);
    say("adapter " + number(which) + " node " + number(node) + " " + address_text(address) + " " + type);
}

void configuration(Client & /*client*/, const Words & /*words*/) {
    say_counts();
    std::string nodes = "nodes";
    for (const long long node : all_nodes()) {
        nodes += " " + number(node);
    }
    say(nodes);
    for (const long long network : all_networks()) {
        say_network(network);
    }
    for (const long long adapter : all_adapters()) {
        say_adapter(adapter);
    }
    say("end of configuration");
}

void totals(Client & /*client*/, const Words & /*words*/) {
    say_counts();
    long long sum = 0;
    const Numbers adapters = all_adapters();
    for (const long long adapter : adapters) {
        sum += adapter;
    }
    say("iterated " + number(static_cast<long long>(all_nodes().size())) + " nodes, " +
        number(static_cast<long long>(all_networks().size())) + " networks, " +
        number(static_cast<long long>(adapters.size())) + " adapters, numbers sum " + number(sum));
}

// ---- The session and its subscriptions ----

bool learn_descriptors(Client &client) {
    int *descriptors = nullptr;
    int count = 0;
    if (hb_get_file_descriptor_array(&descriptors, &count) != Hb_Success) {
        return false;
    }
    client.descriptors.assign(descriptors, descriptors + count);
    hb_free_file_descriptor_array(descriptors);
    return true;
}

void open_library(Client &client, const Words & /*words*/) {
    if (hb_init() != Hb_Success || !learn_descriptors(client)) {
        say_failure("open");
        return;
    }
    say("opened");
}

void close_library(Client &client, const Words & /*words*/) {
    client.descriptors.clear();
    report(hb_terminate(), "close", "closed");
}

Hb_Rc add_members(Hb_Subscription_Group &group, const Words &words) {
    const std::string &what = words[3];
    if (what == "all-nodes") {
        return hb_add_all_nodes_to_subscription_group(&group);
    }
    if (what == "all-adapters") {
        return hb_add_all_adapters_to_subscription_group(&group);
    }
    Hb_Rc result = Hb_Success;
    for (std::size_t i = 4; i < words.size() && result == Hb_Success; ++i) {
        const int member = std::stoi(words[i]);
        if (what == "nodes") {
            result = hb_add_node_to_subscription_group(&group, static_cast<Hb_Node_Number>(member));
        } else if (what == "adapters") {
            result = hb_add_adapter_to_subscription_group(&group, static_cast<Hb_Adapter_Number>(member));
        } else {
            result = hb_add_network_to_subscription_group(&group, static_cast<Hb_Network_Number>(member));
        }
    }
    return result;
}

void subscribe(Client & /*client*/, const Words &words) {
    std::string name = words.at(1);
    const int mask = std::stoi(words.at(2));
    static_cast<void>(words.at(3));
    const auto group = std::make_unique<Hb_Subscription_Group>();
    Hb_Rc result = hb_empty_subscription_group(group.get());
    if (result == Hb_Success) {
        result = add_members(*group, words);
    }
    if (result == Hb_Success) {
        result = hb_subscribe(name.data(), group.get(), mask);
    }
    report(result, "subscribe", "subscribed " + name);
}

void unsubscribe(Client & /*client*/, const Words &words) {
    report(hb_unsubscribe(words.at(1).c_str()), "unsubscribe", "unsubscribed " + words.at(1));
}

void pause_reading(Client &client, const Words & /*words*/) {
    client.reading = false;
    say("paused");
}

void resume_reading(Client &client, const Words & /*words*/) {
    client.reading = true;
    say("resumed");
}

void take(Client &client, const Words &words) {
    for (int left = std::stoi(words.at(1)); left > 0 && !client.descriptors.empty(); --left) {
        take_event(client, wait_ready(client, -1));
    }
}

void drain(Client &client, const Words & /*words*/) {
    for (std::vector<int> ready = wait_ready(client, 0); !ready.empty(); ready = wait_ready(client, 0)) {
        take_event(client, ready);
    }
    say("quiet");
}

// ---- From the daemon to the cluster service ----

void prepare(Client & /*client*/, const Words & /*words*/) {
    report(hb_migrate_to_mox_prep(), "prepare", "prepared");
}

void commit(Client &client, const Words & /*words*/) {
    const bool done = hb_migrate_to_mox_commit() == Hb_Success && learn_descriptors(client);
    report(done ? Hb_Success : Hb_Failure, "commit", "committed");
}

void give_up(Client & /*client*/, const Words & /*words*/) {
    report(hb_migrate_to_mox_abort(), "abort", "aborted");
}

void heartbeat(Client & /*client*/, const Words & /*words*/) {
    say("heartbeat" + heartbeat_text());
}

void obey(Client &client, const std::string &line) {
    using Action = void (*)(Client &, const Words &);
    static const std::map<std::string, Action> actions = {
        {"open", open_library},
        {"close", close_library},
        {"subscribe", subscribe},
        {"unsubscribe", unsubscribe},
        {"configuration", configuration},
        {"totals", totals},
        {"pause", pause_reading},
        {"resume", resume_reading},
        {"heartbeat", heartbeat},
        {"take", take},
        {"drain", drain},
        {"prepare", prepare},
        {"commit", commit},
        {"abort", give_up},
    };
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    const auto found = words.empty() ? actions.end() : actions.find(words[0]);
    if (found != actions.end()) {
        found->second(client, words);
    } else if (words.empty() || !obey_request(words)) {
        say("unknown command: " + line);
    }
}

// Runs the commands that arrived as whole lines. Returns false at the end of the input.
bool take_input(Client &client, std::string &unfinished) {
    std::array<char, 4096> buffer{};
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0) {
        return false;
    }
    unfinished.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = unfinished.find('\n')) != std::string::npos;) {
        const std::string line = unfinished.substr(0, end);
        unfinished.erase(0, end + 1);
        obey(client, line);
    }
    return true;
}

void serve(Client &client) {
    std::string unfinished;
    for (;;) {
        std::vector<pollfd> wanted = to_wait_on(client.reading ? client.descriptors : std::vector<int>());
        wanted.push_back({STDIN_FILENO, POLLIN, 0});
        if (poll(wanted.data(), wanted.size(), -1) < 0) {
            continue;
        }
        const bool told = wanted.back().revents != 0;
        wanted.pop_back();
        const std::vector<int> ready = ready_ones(wanted);
        if (!ready.empty()) {
            take_event(client, ready);
        } else if (told && !take_input(client, unfinished)) {
            return;
        }
    }
}

} // namespace

int run_client(int argc, char **argv) {
    Client client;
    for (int i = 1; i < argc; ++i) {
        obey(client, argv[i]);
    }
    serve(client);
    return hb_terminate() == Hb_Success ? 0 : 1;
}

} // namespace hb_test

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN); // writing to a stopped daemon then gives error 16
    return hb_test::run_client(argc, argv);
}
