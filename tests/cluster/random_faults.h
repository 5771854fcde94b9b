// SPDX-License-Identifier: Apache-2.0
// Chooses faults at random, makes them, and keeps the record of a storm.
#pragma once

#include <functional>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "tests/cluster/explanation.h"
#include "tests/cluster/told.h"

namespace hb_test {

struct Storm_Outcome {
    std::map<std::string, unsigned> faults; // by kind
    unsigned hasty = 0;                     // came while the previous one was in progress
    unsigned settled = 0;                   // came after everything had settled
    unsigned agreements = 0;                // times that all clients were compared with their engines
    std::map<std::string, unsigned> events; // received by clients, by kind
    std::map<std::string, std::vector<double>> delays;
    unsigned connections = 0;
    unsigned explained = 0;
    unsigned passed_over = 0;
    double seconds = 0;
    std::vector<std::string> history; // a line for each fault
    std::vector<std::string> complaints;

    bool good() const { return complaints.empty(); }
};

class Random_Faults {
  protected:
    struct Fault {
        std::string kind;
        std::function<bool()> possible;
        std::function<std::string()> make; // returns where
        double weight;
    };

    Random_Faults(unsigned seed, std::ostream *progress) : random_(seed), progress_(progress) {}
    ~Random_Faults() = default;

    // By the monotonic clock, in seconds.
    static double now();

    // Excludes faults whose names begin like this.
    void leave_out(const std::string &kind);
    // Makes one of the faults that are possible.
    void make_one();
    void complain(const std::string &complaint);
    // Adds what the client and the explanation of its events say.
    void count(const std::vector<Told> &told, const Explanation &explanation);

    template <typename Item> Item one_of(const std::vector<Item> &items) {
        return items[std::uniform_int_distribution<std::size_t>(0, items.size() - 1)(random_)];
    }
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random_);
    }

    std::mt19937 random_;
    std::ostream *progress_;
    std::vector<Fault> faults_;
    Storm_Outcome outcome_;
    double began_ = 0;
};

// Parts of a report for people.
std::string machine_text();
std::string date_text();
void write_counts(std::ostream &text, const char *title, const std::map<std::string, unsigned> &counts);
void write_delays(std::ostream &text, const std::map<std::string, std::vector<double>> &all);

} // namespace hb_test
