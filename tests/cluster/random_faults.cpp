// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/random_faults.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sys/utsname.h>
#include <thread>

namespace hb_test {
namespace {

std::string processor() {
    std::ifstream facts("/proc/cpuinfo");
    for (std::string line; std::getline(facts, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

std::string milliseconds(double seconds) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.1f", seconds * 1e3);
    return text.data();
}

} // namespace

// ---- Random_Faults ----

double Random_Faults::now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Random_Faults::leave_out(const std::string &kind) {
    std::erase_if(faults_, [&](const Fault &fault) { return fault.kind.starts_with(kind); });
}

void Random_Faults::make_one() {
    std::vector<const Fault *> possible;
    std::vector<double> weights;
    for (const Fault &fault : faults_) {
        if (fault.possible()) {
            possible.push_back(&fault);
            weights.push_back(fault.weight);
        }
    }
    const Fault &chosen =
        *possible[std::discrete_distribution<std::size_t>(weights.begin(), weights.end())(random_)];
    const double at = now();
    const std::string where = chosen.make();
    ++outcome_.faults[chosen.kind];
    std::array<char, 40> times{};
    std::snprintf(times.data(), times.size(), "%8.3f (%.6f)", at - began_, at);
    outcome_.history.push_back(std::string(times.data()) + "  " + chosen.kind + ": " + where);
    if (progress_ != nullptr) {
        *progress_ << outcome_.history.back() << std::endl;
    }
}

void Random_Faults::complain(const std::string &complaint) {
    outcome_.complaints.push_back(complaint);
    if (progress_ != nullptr) {
        *progress_ << complaint << std::endl;
    }
}

void Random_Faults::count(const std::vector<Told> &all_told, const Explanation &explanation) {
    outcome_.explained += explanation.explained;
    outcome_.passed_over += explanation.passed_over;
    for (const auto &[kind, delays] : explanation.delays) {
        std::vector<double> &all = outcome_.delays[kind];
        all.insert(all.end(), delays.begin(), delays.end());
    }
    for (const Told &told : all_told) {
        outcome_.connections += told.kind == Told::Kind::connected ? 1 : 0;
        if (told.kind == Told::Kind::death || told.kind == Told::Kind::join) {
            ++outcome_.events[std::string(told.of_nodes ? "node " : "adapter ") +
                              (told.kind == Told::Kind::death ? "death" : "join")];
        } else if (told.kind == Told::Kind::configuration && told.sequence != 0) {
            ++outcome_.events["configuration update"];
        } else if (told.kind == Told::Kind::account) {
            ++outcome_.events["state after subscribing"];
        }
    }
}

// ---- Parts of a report ----

std::string machine_text() {
    utsname system{};
    uname(&system);
    return processor() + ", " + std::to_string(std::thread::hardware_concurrency()) + " processors, " +
           system.sysname + " " + system.release + " " + system.machine;
}

std::string date_text() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &parts);
    return text.data();
}

void write_counts(std::ostream &text, const char *title, const std::map<std::string, unsigned> &counts) {
    unsigned all = 0;
    text << "| " << title << " | times |\n|---|---:|\n";
    for (const auto &[kind, count] : counts) {
        text << "| " << kind << " | " << count << " |\n";
        all += count;
    }
    text << "| all | " << all << " |\n\n";
}

void write_delays(std::ostream &text, const std::map<std::string, std::vector<double>> &all) {
    text << "| event | times | median | 95th percentile | longest |\n|---|---:|---:|---:|---:|\n";
    for (const auto &[kind, unsorted] : all) {
        std::vector<double> delays = unsorted;
        std::sort(delays.begin(), delays.end());
        const auto at = [&](double share) {
            return milliseconds(
                delays[static_cast<std::size_t>(share * static_cast<double>(delays.size() - 1))]);
        };
        text << "| " << kind << " | " << delays.size() << " | " << at(0.5) << " | " << at(0.95) << " | "
             << at(1) << " |\n";
    }
    text << '\n';
}

} // namespace hb_test
