// SPDX-License-Identifier: Apache-2.0
// Each command prints "done" or "failed COMMAND ERROR", unless it has more to print.
//
//   heard-from N | node-may-be-down N | node-is-down N | adapter-may-be-down A | adapter-is-down A
//   enable A | disable A | ifconfig-up A | ifconfig-down A
//   configure A ADDRESS | unconfigure A | swap A ADDRESS | grace A SECONDS | adapter-state A
//   simulate-death SECONDS | discard-stale 0|1 | client-heartbeat N | manual-control 1|2 [INTERFACE] | shutdown
//   routes N...                        each node's route, as read from memory and as the daemon answers
//   keys                               the security state; each different key is printed as a number
//   become UID                         runs as that user from now on, with no group but UID
#include "tests/system/client_requests.h"

#include <arpa/inet.h>
#include <functional>
#include <grp.h>
#include <map>
#include <sys/prctl.h>
#include <unistd.h>

namespace hb_test {
namespace {

using Request = std::function<Hb_Rc(const Words &)>;

Hb_IP_address4 address_in(const std::string &text) {
    Hb_IP_address4 address{};
    inet_pton(AF_INET, text.c_str(), &address);
    return address;
}

template <typename Function> Request about_node(Function function) {
    return [function](const Words &words) { return function(static_cast<short>(std::stoi(words.at(1)))); };
}

template <typename Function> Request about_adapter(Function function) {
    return
        [function](const Words &words) { return function(static_cast<unsigned int>(std::stoul(words.at(1)))); };
}

template <typename Function> Request with_address(Function function) {
    return [function](const Words &words) {
        return function(static_cast<unsigned int>(std::stoul(words.at(1))), address_in(words.at(2)));
    };
}

template <typename Function> Request with_number(Function function) {
    return [function](const Words &words) { return function(std::stoi(words.at(1))); };
}

Hb_Rc give_grace(const Words &words) {
    return hb_adapter_grace(static_cast<unsigned int>(std::stoul(words.at(1))), std::stoi(words.at(2)));
}

Hb_Rc send_heartbeat(const Words &words) {
    return hb_client_heartbeat(std::stoul(words.at(1)));
}

Hb_Rc control_manually(const Words &words) {
    std::string interface = words.size() > 2 ? words[2] : "";
    return hb_nim_manual_start_control(std::stoi(words.at(1)), interface.data());
}

// ---- Answers of more than one word ----

void adapter_state(const Words &words) {
    int state = -1;
    const Hb_Rc result = hb_get_adapter_state(static_cast<unsigned int>(std::stoul(words.at(1))), &state);
    report(result, words[0], "state " + number(state));
}

std::string route_text(Hb_Rc result, const Hb_Route &route, uint16_t length) {
    if (result != Hb_Success) {
        return " error " + number(hb_get_errno());
    }
    std::string text;
    for (int hop = 0; hop < length && hop < HB_ROUTE_HOPS; ++hop) {
        text += " " + address_text(route.sr_address[hop]);
    }
    return text;
}

void routes(const Words &words) {
    using Entry = Hb_Rc (*)(Hb_Node_Number, Hb_Route *, uint16_t *);
    const std::pair<const char *, Entry> ways[] = {
        {" read:", hb_read_route}, {" read, IP:", hb_read_ip_route}, {" asked:", hb_get_route}};
    for (std::size_t i = 1; i < words.size(); ++i) {
        std::string line = "route " + words[i];
        for (const auto &[how, entry] : ways) {
            Hb_Route route{};
            uint16_t length = 0;
            const Hb_Rc result = entry(static_cast<Hb_Node_Number>(std::stoi(words[i])), &route, &length);
            line += how + route_text(result, route, length);
        }
        say(line);
    }
}

// The same key has the same number in every program.
std::string key_text(const sec_key_desc &key) {
    if (key.value == nullptr) {
        return "none";
    }
    uint64_t hash = 0xCBF29CE484222325;
    const auto *bytes = static_cast<const unsigned char *>(key.value);
    for (int i = 0; i < key.length; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001B3;
    }
    return "<" + std::to_string(hash) + ">";
}

std::string status_text(const Hb_Security_Status &status) {
    return "on " + number(status.securityOn) + " count " + number(status.keyCount) + " compatible " +
           number(status.KLOM_compatible) + " signs " + number(status.is_valid_for_signing) +
           " authenticates " + number(status.is_valid_for_authenticating) + " key " + key_text(status.key);
}

void keys(const Words & /*words*/) {
    Hb_Sequence_Number generation = 0;
    Hb_Security_Status current{};
    Hb_Security_Status previous{};
    Hb_Key_Cache cache{};
    if (hb_get_security_sequence(&generation) != Hb_Success ||
        hb_get_security_infomation(&current, &previous, &cache) != Hb_Success) {
        say_failure("keys");
        return;
    }
    say("generation " + number(generation));
    say("current " + status_text(current));
    say("previous " + status_text(previous));
    std::string line = "cached " + number(cache.keyCacheCount) + ":";
    for (const sec_key_desc &key : cache.keyCache) {
        line += " " + key_text(key);
    }
    say(line);
    hb_free_security_info_keys(&current, &previous, &cache);
}

void become(const Words &words) {
    const auto id = static_cast<uid_t>(std::stoul(words.at(1)));
    const bool done = setgroups(0, nullptr) == 0 && setresgid(id, id, id) == 0 && setresuid(id, id, id) == 0;
    // After a change of user a process cannot be inspected, but a leak checker does so at the end.
    prctl(PR_SET_DUMPABLE, 1);
    say(done ? "became " + words[1] : "failed to become " + words[1]);
}

const std::map<std::string, Request> &requests() {
    static const std::map<std::string, Request> all = {
        {"node-may-be-down", about_node(hb_node_may_be_down)},
        {"node-is-down", about_node(hb_node_is_down)},
        {"heard-from", about_node(hb_mox_msg_received_from)},
        {"adapter-may-be-down", about_adapter(hb_adapter_may_be_down)},
        {"adapter-is-down", about_adapter(hb_adapter_is_down)},
        {"enable", about_adapter(hb_enable_adapter)},
        {"disable", about_adapter(hb_disable_adapter)},
        {"ifconfig-up", about_adapter(hb_ifconfig_up)},
        {"ifconfig-down", about_adapter(hb_ifconfig_down)},
        {"configure", with_address(hb_configure_adapter)},
        {"unconfigure", about_adapter(hb_unconfigure_adapter)},
        {"swap", with_address(hb_swap_adapters)},
        {"grace", give_grace},
        {"simulate-death", with_number(hb_simulate_death)},
        {"discard-stale", with_number(hb_discard_stale_messages)},
        {"client-heartbeat", send_heartbeat},
        {"manual-control", control_manually},
        {"shutdown", [](const Words &) { return hb_mox_delayed_daemon_shutdown(); }},
    };
    return all;
}

} // namespace

bool obey_request(const Words &words) {
    using Telling = void (*)(const Words &);
    static const std::map<std::string, Telling> tellings = {
        {"adapter-state", adapter_state}, {"routes", routes}, {"keys", keys}, {"become", become}};
    if (const auto telling = tellings.find(words[0]); telling != tellings.end()) {
        telling->second(words);
        return true;
    }
    const auto request = requests().find(words[0]);
    if (request == requests().end()) {
        return false;
    }
    report(request->second(words), words[0], "done");
    return true;
}

} // namespace hb_test
