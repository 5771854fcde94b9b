// SPDX-License-Identifier: Apache-2.0
// Random faults between a watch and a real wispd. At every quiet moment the reports so far must add up to the cluster
// as the test has made it.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/system/daemon.h"
#include "tests/system/stream.h"
#include "tests/watch/cluster_truth.h"
#include "tests/watch/link_proxy.h"
#include "tests/watch/watch_program.h"

namespace hb_test {

struct Watch_Storm_Outcome {
    std::map<std::string, unsigned> faults;  // how often each was made
    std::map<std::string, unsigned> reports; // how often each kind arrived
    unsigned runs = 0;
    unsigned moves = 0;         // to the cluster service
    unsigned quiet_moments = 0; // at which everything was compared
    unsigned exact = 0;         // of those: no fault between, so each change had to be reported by itself
    unsigned changes = 0;       // of nodes and adapters, made by the test
    long long longest_next = 0; // microseconds
    long long longest_excess = 0;
    double seconds = 0;
    std::vector<std::string> complaints;

    unsigned all_faults() const;
    bool good() const { return complaints.empty(); }
};

class Watch_Storm {
  public:
    Watch_Storm(const Programs &programs, std::vector<Driver_Command> drivers, unsigned seed,
                std::ostream *progress = nullptr);

    Watch_Storm(const Watch_Storm &) = delete;
    Watch_Storm &operator=(const Watch_Storm &) = delete;
    ~Watch_Storm();

    // Makes that many faults, in runs with a new watch and a new daemon each.
    Watch_Storm_Outcome run(unsigned faults);

  private:
    // What one run works with.
    struct Stage;
    struct Fault {
        std::string kind;
        double weight;
        std::function<bool()> possible;
        std::function<void()> make;
    };

    void run_once(unsigned number, unsigned faults);
    void begin(unsigned number);
    void finish();
    void make_one(const std::vector<Fault> &faults);
    void note(const std::string &what);
    void complain(const std::string &what);

    // The quiet moment.
    void mend();
    void settle();
    bool agree();
    void compare();
    void compare_changes();
    void forget_changes();
    void compare_answers();
    std::string expected_answer() const;
    void toggle_marker();

    // Changes of the cluster, by the daemon or the service.
    void command(const std::string &verb, const std::string &key, unsigned number);
    void apply(const std::string &verb, unsigned number);
    void change_one();
    void change_node(unsigned node);
    void change_adapter(unsigned adapter);
    void flap();
    void new_file();
    void reload();

    void start_daemon();
    void continue_daemon();
    void suspend_for_long();
    void control_requests();
    void fill_backlog();
    void change_service_alone();
    void move_to_service();

    std::vector<Fault> all_faults();
    std::vector<Fault> faults_of_service();
    bool chance(double probability) {
        return std::uniform_real_distribution<double>(0, 1)(random_) < probability;
    }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    Programs programs_;
    std::vector<Driver_Command> drivers_;
    std::ostream *progress_;
    std::mt19937 random_;
    std::unique_ptr<Stage> stage_;
    Watch_Storm_Outcome outcome_;
};

// A report for people.
std::string watch_storm_report(const Watch_Storm_Outcome &outcome, unsigned seed);

} // namespace hb_test
