// SPDX-License-Identifier: Apache-2.0
#include "tests/system/client.h"

#include <algorithm>
#include <regex>

#include <gtest/gtest.h>

namespace hb_test {
namespace {

std::vector<std::string> command_line(const Programs &programs, const std::vector<std::string> &commands) {
    std::vector<std::string> line{programs.path("system_test_client")};
    line.insert(line.end(), commands.begin(), commands.end());
    return line;
}

Child_Process::Environment on_socket(const std::string &socket, Child_Process::Environment environment) {
    environment.insert(environment.end(),
                       {{"HB_SERVER_SOCKET", socket}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
    return environment;
}

} // namespace

Client::Client(const Programs &programs, const std::string &socket, const std::vector<std::string> &commands,
               const Child_Process::Environment &environment)
    : abi_(programs.abi), process_(command_line(programs, commands), on_socket(socket, environment)) {}

// wispd makes every identifier unique, so a test cannot know its text. The test compares identities instead.
std::string Client::with_short_id(const std::string &line) {
    static const std::regex made(" id [0-9]{8}T[0-9]{6}Z-[0-9a-f]{8}-[0-9a-f]{16}$");
    std::smatch found;
    if (!std::regex_search(line, found, made)) {
        return line;
    }
    const auto known = std::find(ids_.begin(), ids_.end(), found.str());
    const auto number = known - ids_.begin() + 1;
    if (known == ids_.end()) {
        ids_.push_back(found.str());
    }
    return found.prefix().str() + " id #" + std::to_string(number);
}

std::string Client::line() {
    if (const std::optional<std::string> next = process_.read_line(Deadline(patience_))) {
        return with_short_id(*next);
    }
    return "[no line came from the client of " + abi_ + "; its errors: " + process_.error_output() + "]";
}

std::vector<std::string> Client::lines(std::size_t count) {
    std::vector<std::string> all;
    while (all.size() < count && (all.empty() || all.back()[0] != '[')) {
        all.push_back(line());
    }
    return all;
}

std::vector<std::string> Client::lines_until(const std::string &last) {
    std::vector<std::string> all;
    do {
        all.push_back(line());
    } while (all.back() != last && all.back()[0] != '[');
    return all;
}

std::string Client::ask(const std::string &command) {
    order(command);
    return line();
}

bool Client::end() {
    process_.close_input();
    const std::optional<Child_End> end = process_.wait();
    return end && end->signal == 0 && end->exit_status == 0;
}

Clients start_clients(const Setup &setup, const Daemon &daemon, const std::vector<std::string> &commands) {
    Clients clients;
    for (const Programs &programs : setup.clients) {
        clients.push_back(std::make_unique<Client>(programs, daemon.socket(), commands));
    }
    return clients;
}

void expect_lines(Clients &clients, const std::vector<std::string> &lines) {
    for (std::size_t i = 0; i < clients.size(); ++i) {
        EXPECT_EQ(clients[i]->lines(lines.size()), lines) << "client " << i;
    }
}

void order_all(Clients &clients, const std::string &command) {
    for (const auto &client : clients) {
        client->order(command);
    }
}

void expect_good_ends(Clients &clients) {
    for (std::size_t i = 0; i < clients.size(); ++i) {
        EXPECT_TRUE(clients[i]->end()) << "client " << i;
    }
}

} // namespace hb_test
