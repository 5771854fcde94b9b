// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <numeric>
#include <sstream>
#include <sys/utsname.h>
#include <thread>

#include "tests/cluster/storm.h"

namespace hb_test {
namespace {

std::string engine_version(const Hosts &hosts) {
    const std::string text = hosts.places().run_to_end(1, {"corosync", "-v"}).output;
    return text.substr(0, text.find('\n'));
}

} // namespace

std::string storm_report(const Storm_Outcome &outcome, const Engine_Cluster &cluster, unsigned seed) {
    const Hosts &hosts = cluster.hosts();
    const unsigned faults = std::accumulate(outcome.faults.begin(), outcome.faults.end(), 0U,
                                            [](unsigned sum, const auto &kind) { return sum + kind.second; });
    std::ostringstream text;
    text << "# " << faults << " random faults\n\n"
         << "For the reader who wants evidence that wispd reports every change: the results of `cluster_storm "
            "--faults "
         << faults << " --seed " << seed << "`.\nIt ran real Corosync engines on " << hosts.count()
         << " hosts with " << hosts.links()
         << " links. Each host had a wispd, a client, and an observer\nthat uses Corosync only, and no code of "
            "this project.\n\n"
         << "| | |\n|---|---|\n| seed | " << seed << " |\n| date | " << date_text() << " |\n| machine | "
         << machine_text() << " |\n| engine | " << engine_version(hosts) << " |\n| wispd | links polled every "
         << cluster.patience().poll_milliseconds << " ms, grace " << cluster.patience().grace_seconds
         << " s |\n| length | " << static_cast<int>(outcome.seconds) << " s |\n| verdict | "
         << (outcome.good() ? "**every event explained, nothing lost, nothing doubled**"
                            : "**" + std::to_string(outcome.complaints.size()) + " complaints**")
         << " |\n\n"
         << "After " << outcome.hasty
         << " faults the next one followed within 1.5 s, while the cluster was still changing. After "
         << outcome.settled
         << " faults\nthe test waited until the cluster was stable. It then compared every client whose engine "
            "ran with that engine,\n"
         << outcome.agreements << " times, the last time with all faults repaired.\n\n";
    write_counts(text, "fault", outcome.faults);
    text << "Events that all clients received, on " << outcome.connections << " connections:\n\n";
    write_counts(text, "event", outcome.events);
    text
        << "Each client's events were compared with its own engine's history. " << outcome.explained
        << " changes of single nodes, adapters and\nconfigurations have their reason there, and no change is "
           "unexplained. "
        << outcome.passed_over
        << " times the\nhistory has a state that wispd is permitted to skip, and did. It lasted less than a "
           "second, "
           "or was over before wispd had\nto be connected to its engine again.\n\n"
        << "Times from the observer to the client, in milliseconds. For nodes and configurations, both receive "
           "the engine's callbacks.\nLinks are polled by both, by the observer every 20 ms, so the client can "
           "be first:\n\n";
    write_delays(text, outcome.delays);
    text << "The engines, wispds, clients and observers of all hosts shared these processors.\n";
    for (const std::string &complaint : outcome.complaints) {
        text << "\n    " << complaint;
    }
    return text.str();
}

} // namespace hb_test
