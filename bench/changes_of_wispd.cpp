// SPDX-License-Identifier: Apache-2.0
#include "bench/changes_of_wispd.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>

#include "bench/cluster_file.h"

namespace {

constexpr int PATIENCE_MILLISECONDS = 10000;
constexpr int DEATHS_AND_JOINS = 3;
constexpr int COMMANDS_AT_ONCE = 64;
const std::string DOWN = "{\"do\":\"adapter-down\",\"adapter\":3}\n";
const std::string UP = "{\"do\":\"adapter-up\",\"adapter\":3}\n";

void need(bool holds, const char *what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

void subscribe_to_all_adapters() {
    char name[] = "bench";
    const auto group = std::make_unique<Hb_Subscription_Group>();
    need(hb_empty_subscription_group(group.get()) == Hb_Success &&
             hb_add_all_adapters_to_subscription_group(group.get()) == Hb_Success &&
             hb_subscribe(name, group.get(), DEATHS_AND_JOINS) == Hb_Success,
         "the library does not subscribe");
}

} // namespace

Changes_Of_Wispd::Changes_Of_Wispd() : wispd_(cluster_file(16, 2)) {
    wispd_.select();
    need(hb_init() == Hb_Success, "the library does not open");
    subscribe_to_all_adapters();
    int *descriptors = nullptr;
    int count = 0;
    need(hb_get_file_descriptor_array(&descriptors, &count) == Hb_Success && count > 0,
         "the library has no descriptor");
    descriptor_ = descriptors[0];
    hb_free_file_descriptor_array(descriptors);
    control_ = std::make_unique<hb_test::Stream>(wispd_.daemon().control());
}

Changes_Of_Wispd::~Changes_Of_Wispd() {
    hb_terminate();
}

const std::string &Changes_Of_Wispd::next_command() {
    is_down_ = !is_down_;
    return is_down_ ? DOWN : UP;
}

void Changes_Of_Wispd::receive_event() {
    int descriptors[] = {descriptor_, -1};
    timeval at_once{};
    int events = 0;
    Hb_Name name{};
    unsigned long sequence = 0;
    need(hb_get_event_message(descriptors, &at_once, &events, name, group_.get(), &sequence) == Hb_Success,
         "an event was not received");
}

int Changes_Of_Wispd::read_answers() {
    std::array<char, 65536> bytes{};
    const ssize_t count = recv(control_->descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    need(count > 0, "wispd ended the control connection");
    need(std::find(bytes.data(), bytes.data() + count, 'f') == bytes.data() + count,
         "wispd rejected a command");
    return static_cast<int>(std::count(bytes.data(), bytes.data() + count, '\n'));
}

void Changes_Of_Wispd::one() {
    pollfd event{descriptor_, POLLIN, 0};
    control_->send(next_command());
    need(poll(&event, 1, PATIENCE_MILLISECONDS) == 1, "no event arrives");
    receive_event();
    need(control_->read_line() == R"({"ok":true})", "wispd rejected a command");
}

void Changes_Of_Wispd::pipelined(int changes) {
    int sent = 0;
    int received = 0;
    std::string unsent;
    for (int answers = 0; received < changes || answers < changes;) {
        while (sent < changes && unsent.size() < COMMANDS_AT_ONCE * UP.size()) {
            unsent += next_command();
            ++sent;
        }
        const short wanted = unsent.empty() ? POLLIN : POLLIN | POLLOUT;
        std::array<pollfd, 2> waiting{{{descriptor_, POLLIN, 0}, {control_->descriptor(), wanted, 0}}};
        need(poll(waiting.data(), waiting.size(), PATIENCE_MILLISECONDS) > 0, "nothing arrives");
        if ((waiting[1].revents & POLLOUT) != 0) {
            const ssize_t count =
                send(control_->descriptor(), unsent.data(), unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            unsent.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        if ((waiting[1].revents & POLLIN) != 0) {
            answers += read_answers();
        }
        if (waiting[0].revents != 0) {
            receive_event();
            ++received;
        }
    }
}
