// SPDX-License-Identifier: Apache-2.0
// Adds up the reports of a watch, and checks what must be true of every sequence of reports. It knows neither the
// daemon nor the watch: only the reports.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace hb_test {

// One report, as a driver prints it.
struct Report {
    enum class Kind {
        current,
        unreachable,
        configuration,
        node_joined,
        node_died,
        adapter_joined,
        adapter_died
    };
    Kind kind = Kind::current;
    std::string text;    // the first field of the line
    unsigned number = 0; // of the node or adapter
    int error = 0;       // of unreachable
    bool initial = false;
    bool caught_up = false;
    bool removed = false;
    int64_t time = 0;
    int64_t since = 0;
    int node = -1;
    int network = -1;
    std::string failure;

    bool joined() const { return kind == Kind::node_joined || kind == Kind::adapter_joined; }
    bool died() const { return kind == Kind::node_died || kind == Kind::adapter_died; }
    bool of_node() const { return kind == Kind::node_joined || kind == Kind::node_died; }
};

// Reads a line that begins with "report"; returns nothing for any other line.
std::optional<Report> read_report(const std::string &line);

// What is up.
struct Who {
    std::set<unsigned> nodes;
    std::set<unsigned> adapters;

    bool operator==(const Who &) const = default;
};
std::string in_words(const Who &who);

class Replay {
  public:
    void take(const Report &report);

    const Who &who() const { return who_; }
    bool current() const { return current_; }
    bool was_current() const { return was_current_; }
    unsigned losses() const { return losses_; }
    const std::vector<Report> &reports() const { return reports_; }
    // What was wrong; empty if every rule was kept.
    const std::vector<std::string> &complaints() const { return complaints_; }

    // How often each node and adapter joined or died since the last call of forget_changes. What was up at the start is no
    // change.
    using Changes = std::map<std::string, unsigned>;
    const Changes &changes() const { return changes_; }
    void forget_changes() { changes_.clear(); }

  private:
    void take_contact(const Report &report);
    void take_change(const Report &report);
    void check_times(const Report &report);
    void complain(const Report &report, const std::string &about);

    Who who_;
    bool current_ = false;
    bool was_current_ = false;
    bool lost_ = false; // unreachable was the last word on contact
    unsigned losses_ = 0;
    std::vector<Report> reports_;
    std::vector<std::string> complaints_;
    Changes changes_;
};

} // namespace hb_test
