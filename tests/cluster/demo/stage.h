// SPDX-License-Identifier: Apache-2.0
// Three hosts with an engine, a wispd and a client each, and the events of every client so far.
#pragma once

#include <csignal>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/cluster/demo/client_view.h"
#include "tests/cluster/demo/screen.h"
#include "tests/cluster/hosts.h"

namespace hb_demo {

// The path of the programs, and the configuration of every wispd.
struct Parts {
    std::string programs;
    std::string configuration;
};

// A signal asked the demo to end.
class Interrupted : public std::exception {};

class Stage {
  public:
    static constexpr int HOSTS = 3;
    static constexpr int LINKS = 2;
    // The number that wispd gives the adapter on an engine.
    static int adapter(int node, int link) { return node * 48 + link; }

    // A signal's handler sets the flag; the function that waits then throws Interrupted.
    Stage(const Parts &parts, Screen &screen, const volatile std::sig_atomic_t &told_to_end);

    hb_test::Hosts &hosts() { return hosts_; }
    const hb_test::Engine_Settings &settings() const { return settings_; }
    const Client_View &view(int host) const { return views_[at(host)]; }

    // Returns when the engines agree and treat their links as established.
    void start_engines();
    void start_daemons();
    void start_clients();

    // Shows the clients' events until the condition holds. Throws, with all available information, if it does
    // not hold in time or a program has ended.
    void play_until(const std::string &what, const std::function<bool()> &condition,
                    std::chrono::milliseconds between_looks = std::chrono::milliseconds(20));

  private:
    static std::size_t at(int host) { return static_cast<std::size_t>(host) - 1; }
    bool used_to_links();
    void check_programs();
    void take_events();
    std::string account();

    Parts parts_;
    Screen &screen_;
    const volatile std::sig_atomic_t &told_to_end_;
    hb_test::Engine_Settings settings_;
    hb_test::Hosts hosts_;
    std::vector<std::unique_ptr<hb_test::Child_Process>> daemons_; // by host
    std::vector<std::unique_ptr<hb_test::Child_Process>> clients_; // by host
    std::vector<Client_View> views_{HOSTS};
};

} // namespace hb_demo
