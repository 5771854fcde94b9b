// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/service_on_host.h"

#include <algorithm>
#include <sstream>

namespace hb_test {
namespace {

using Words = std::vector<std::string>;

Words words_of(const std::string &line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

bool is_number(const std::string &word) {
    return !word.empty() && word[0] >= '0' && word[0] <= '9';
}

// "adapters: event 1 adapter 144 adapter 145", "Hb_Config_Group: event 128".
std::vector<std::string> told_by_example(const Words &words) {
    static const std::map<std::string, std::string> kinds = {
        {"1", "death"}, {"2", "join"}, {"4", "group"}, {"128", "configuration"}};
    const auto kind = kinds.find(words[2]);
    if (kind == kinds.end()) {
        return {"event " + words[2]};
    }
    if (kind->first == "128") {
        return {"configuration"};
    }
    std::vector<std::string> told;
    for (std::size_t i = 3; i + 1 < words.size(); i += 2) {
        told.push_back(kind->second + " " + words[i] + " " + words[i + 1]);
    }
    return told;
}

// "event 3 death a adapters 144@0 145@0", "event 0 configuration ...".
std::vector<std::string> told_by_client(const Words &words) {
    if (words[2] == "kind-0") {
        return {};
    }
    if (words[2] == "configuration") {
        return {"configuration"};
    }
    const std::string kind = words[2] == "new-group" ? "group" : words[2];
    std::vector<std::string> told;
    for (std::size_t i = 5; i < words.size() && is_number(words[i]); ++i) {
        told.push_back(kind + (words[4] == "nodes" ? " node " : " adapter ") +
                       words[i].substr(0, words[i].find('@')));
    }
    return told;
}

} // namespace

std::vector<std::string> with_service(const std::string &service, const std::vector<std::string> &program) {
    std::vector<std::string> command = {"env", std::string("LD_PRELOAD=") + HB_TEST_BIN_DIR +
                                                   "/../lib/libqz_mox_" + service + ".so"};
    command.insert(command.end(), program.begin(), program.end());
    return command;
}

std::vector<std::string> with_corosync_service(const std::vector<std::string> &program) {
    return with_service("corosync", program);
}

Child_Process::Environment service_environment() {
    return {{"HB_SERVER_SOCKET", Wispd_On_Host::socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}};
}

std::vector<std::string> told_in_line(const std::string &line) {
    const Words words = words_of(line);
    if (words.size() >= 3 && words[1] == "event" && words[0].back() == ':') {
        return told_by_example(words);
    }
    return words.size() >= 3 && words[0] == "event" ? told_by_client(words) : std::vector<std::string>();
}

Service_Client_On_Host::Service_Client_On_Host(const Hosts &hosts, int host,
                                               const std::vector<std::string> &program,
                                               const Child_Process::Environment &environment)
    : Service_Client_On_Host(hosts.places(), host, "corosync", program, environment) {}

Service_Client_On_Host::Service_Client_On_Host(const Host_Namespaces &places, int host,
                                               const std::string &service,
                                               const std::vector<std::string> &program,
                                               const Child_Process::Environment &environment)
    : recording_(places, host, with_service(service, program), [&] {
          Child_Process::Environment all = service_environment();
          all.insert(all.end(), environment.begin(), environment.end());
          return all;
      }()) {}

void Service_Client_On_Host::collect() {
    for (const std::string &line : recording_.new_lines()) {
        lines_.push_back(line);
        for (const std::string &told : told_in_line(line)) {
            take(told);
        }
    }
}

void Service_Client_On_Host::take(const std::string &told) {
    told_.push_back(told);
    const Words words = words_of(told);
    if (words.size() != 3) {
        return;
    }
    std::set<unsigned> &up = up_[words[1]];
    const auto member = static_cast<unsigned>(std::stoul(words[2]));
    if (words[0] == "death" ? up.erase(member) != 1 : !up.insert(member).second) {
        objections_.push_back(told);
    }
}

bool Service_Client_On_Host::wait_line(const std::string &line, const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
        },
        deadline);
}

bool Service_Client_On_Host::wait_up(const std::set<unsigned> &nodes, const std::set<unsigned> &adapters,
                                     const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            return up_["node"] == nodes && up_["adapter"] == adapters;
        },
        deadline);
}

bool Service_Client_On_Host::wait_told(std::size_t mark, const std::string &what, const Deadline &deadline) {
    return wait_until(
        [&] {
            const std::vector<std::string> told = told_since(mark);
            return std::find(told.begin(), told.end(), what) != told.end();
        },
        deadline);
}

std::size_t Service_Client_On_Host::mark() {
    collect();
    return told_.size();
}

std::vector<std::string> Service_Client_On_Host::told_since(std::size_t mark) {
    collect();
    return {told_.begin() + static_cast<std::ptrdiff_t>(mark), told_.end()};
}

std::string Service_Client_On_Host::account() const {
    std::string text = "the client printed:\n";
    for (const std::string &line : lines_) {
        text += line + "\n";
    }
    return text + "and its errors are:\n" + recording_.errors();
}

} // namespace hb_test
