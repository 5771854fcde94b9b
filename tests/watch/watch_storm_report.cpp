// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <ctime>
#include <fstream>
#include <sstream>
#include <sys/utsname.h>
#include <thread>

#include "tests/watch/watch_storm.h"

namespace hb_test {
namespace {

std::string machine() {
    utsname system{};
    uname(&system);
    std::ifstream facts("/proc/cpuinfo");
    std::string processor = "unknown processor";
    for (std::string line; std::getline(facts, line);) {
        if (line.starts_with("model name")) {
            processor = line.substr(line.find(':') + 2);
            break;
        }
    }
    return processor + ", " + std::to_string(std::thread::hardware_concurrency()) + " processors, " +
           system.sysname + " " + system.release + " " + system.machine;
}

std::string now() {
    const std::time_t time = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M UTC", &parts);
    return text.data();
}

std::string milliseconds(long long microseconds) {
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << static_cast<double>(microseconds) / 1000;
    return text.str();
}

void write_counts(std::ostream &text, const char *title, const std::map<std::string, unsigned> &counts) {
    unsigned all = 0;
    text << "\n| " << title << " | times |\n|---|---:|\n";
    for (const auto &[kind, count] : counts) {
        text << "| " << kind << " | " << count << " |\n";
        all += count;
    }
    text << "| all | " << all << " |\n";
}

} // namespace

std::string watch_storm_report(const Watch_Storm_Outcome &outcome, unsigned seed) {
    std::ostringstream text;
    text << "| | |\n|---|---|\n| seed | " << seed << " |\n| faults | " << outcome.all_faults()
         << " |\n| date | " << now() << " |\n| machine | " << machine() << " |\n| length | "
         << static_cast<int>(outcome.seconds) << " s |\n| runs, each with a new daemon and a new watch | "
         << outcome.runs << " |\n| quiet moments, at which everything was compared | " << outcome.quiet_moments
         << " |\n| of those, with each single change reported by itself | " << outcome.exact
         << " |\n| changes of nodes and adapters | " << outcome.changes << " |\n| longest `hb_watch_next` | "
         << milliseconds(outcome.longest_next) << " ms |\n| longest `hb_watch_wait` beyond its time-out | "
         << milliseconds(outcome.longest_excess) << " ms |\n| verdict | "
         << (outcome.good() ? "**the reports add up to the truth, nothing lost, nothing doubled**"
                            : "**" + std::to_string(outcome.complaints.size()) + " complaints**")
         << " |\n";
    write_counts(text, "fault", outcome.faults);
    write_counts(text, "report", outcome.reports);
    for (const std::string &complaint : outcome.complaints) {
        text << "\n" << complaint << "\n";
    }
    return text.str();
}

} // namespace hb_test
