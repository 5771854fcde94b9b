// SPDX-License-Identifier: Apache-2.0
// The output of the demo: a column for each host's client, a row for each moment, and a table of times at the
// end. Printed lines never change later, so the output reads the same in a file.
#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/cluster/demo/client_event.h"

namespace hb_demo {

// How long it took until each client received the event.
struct Delays {
    std::string fault; // empty: the one above
    std::string told;
    std::vector<std::optional<std::chrono::milliseconds>> by_host;
};

class Screen {
  public:
    Screen(std::ostream &out, int hosts) : out_(out), hosts_(hosts) {}

    void say(const std::string &text);
    // Later events show their time since this moment.
    void headline(const std::string &text, const std::string &explanation, Time begun);
    // Clients report over separate pipes, so simultaneous events arrive in any order. flush shows them.
    void show(int host, const Client_Event &event);
    // Prints all earlier events in order; those of the current hundredth of a second wait for the next call.
    void flush(Time before);
    void flush();
    void table(const std::string &headline, const std::vector<Delays> &rows);

  private:
    using Hundredths = std::chrono::duration<long long, std::centi>;
    using Cells = std::map<int, std::vector<std::string>>; // by host

    void rule(const std::string &text);
    void row(const std::string &time, const Cells &cells);
    Hundredths since_begun(Time time) const;

    std::ostream &out_;
    int hosts_;
    Time begun_{};
    std::multimap<Time, std::pair<int, Client_Event>> waiting_;
};

} // namespace hb_demo
