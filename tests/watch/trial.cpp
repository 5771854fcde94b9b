// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/trial.h"

#include <algorithm>
#include <stdexcept>

namespace hb_test {
namespace {

constexpr int MOST_REPORTS_OF_A_TURN = 1000;

std::string with_flags(std::string text, const Report &report) {
    text += report.initial ? " initial" : "";
    text += report.caught_up ? " caught-up" : "";
    return text + (report.removed ? " removed" : "");
}

void name_kind(const Hb_Watch_Report &record, Report &report) {
    switch (record.kind) {
    case HB_WATCH_CURRENT:
        report.kind = Report::Kind::current;
        report.text = "current";
        return;
    case HB_WATCH_UNREACHABLE:
        report.kind = Report::Kind::unreachable;
        report.text = "unreachable " + std::to_string(record.error);
        return;
    case HB_WATCH_CONFIGURATION:
        report.kind = Report::Kind::configuration;
        report.text = "configuration";
        return;
    case HB_WATCH_NODE_JOINED:
    case HB_WATCH_NODE_DIED:
        report.kind = record.kind == HB_WATCH_NODE_JOINED ? Report::Kind::node_joined : Report::Kind::node_died;
        report.number = static_cast<unsigned>(record.node);
        report.text = "node " + std::to_string(record.node);
        break;
    case HB_WATCH_ADAPTER_JOINED:
    case HB_WATCH_ADAPTER_DIED:
        report.kind =
            record.kind == HB_WATCH_ADAPTER_JOINED ? Report::Kind::adapter_joined : Report::Kind::adapter_died;
        report.number = record.adapter;
        report.text = "adapter " + std::to_string(record.adapter);
        break;
    default:
        throw std::logic_error("a watch reported the kind " + std::to_string(record.kind));
    }
    report.text += report.joined() ? " joined" : " died";
}

} // namespace

Report report_of(const Hb_Watch_Report &record) {
    Report report;
    name_kind(record, report);
    report.error = record.error;
    report.initial = (record.flags & HB_WATCH_INITIAL) != 0;
    report.caught_up = (record.flags & HB_WATCH_CAUGHT_UP) != 0;
    report.removed = (record.flags & HB_WATCH_REMOVED) != 0;
    report.text = with_flags(report.text, report);
    report.time = record.time;
    report.since = record.since;
    report.node = record.node;
    report.network = record.network;
    return report;
}

Who known_to(const Hb_Watch *watch) {
    Who who;
    for (int node = -1; (node = hb_watch_next_node(watch, node)) != -1;) {
        if (hb_watch_node_state(watch, node) == Hb_Entity_Up) {
            who.nodes.insert(static_cast<unsigned>(node));
        }
    }
    for (const unsigned adapter : configured_for(watch)) {
        if (hb_watch_adapter_state(watch, adapter) == Hb_Entity_Up) {
            who.adapters.insert(adapter);
        }
    }
    return who;
}

std::set<unsigned> configured_for(const Hb_Watch *watch) {
    constexpr Hb_Adapter_Number none = 0xFFFFFFFFU;
    std::set<unsigned> all;
    for (Hb_Adapter_Number adapter = none; (adapter = hb_watch_next_adapter(watch, adapter)) != none;) {
        all.insert(adapter);
    }
    return all;
}

Trial::Trial(std::string name, std::vector<Link_Plan> plans, int check_interval, int answer_timeout)
    : name_(std::move(name)), daemon_(std::move(plans)) {
    Hb_Watch_Options options;
    hb_watch_default_options(&options);
    options.socket_path = daemon_.path().c_str();
    options.check_interval = check_interval;
    options.answer_timeout = answer_timeout;
    options.retry_min = 1;
    options.retry_max = 20;
    watch_.reset(hb_watch_open(&options));
    if (!watch_) {
        throw std::runtime_error("hb_watch_open failed in the trial " + name_);
    }
}

void Trial::turn() {
    daemon_.turn();
    if (change_ && daemon_.first_is_served_or_over()) {
        change_(daemon_);
        change_ = nullptr;
        daemon_.turn();
    }
    for (int i = 0; i < MOST_REPORTS_OF_A_TURN; ++i) {
        Hb_Watch_Report record;
        const auto began = std::chrono::steady_clock::now();
        const int got = hb_watch_next(watch_.get(), &record);
        longest_call_ = std::max(longest_call_, std::chrono::duration_cast<std::chrono::microseconds>(
                                                    std::chrono::steady_clock::now() - began));
        if (got != 1) {
            return;
        }
        replay_.take(report_of(record));
    }
    throw std::runtime_error("the watch of the trial " + name_ + " reports without end");
}

bool Trial::agrees() const {
    return !change_ && replay_.current() && replay_.who() == daemon_.cluster().who();
}

std::string Trial::verdict() const {
    std::string text;
    for (const std::string &complaint : replay_.complaints()) {
        text += complaint + "\n";
    }
    const Who truth = daemon_.cluster().who();
    if (!(replay_.who() == truth)) {
        text += "reported: " + in_words(replay_.who()) + "\nthe truth: " + in_words(truth) + "\n";
    }
    if (!(known_to(watch_.get()) == truth)) {
        text +=
            "the watch answers: " + in_words(known_to(watch_.get())) + "\nthe truth: " + in_words(truth) + "\n";
    }
    std::set<unsigned> configured;
    for (const auto &[adapter, up] : daemon_.cluster().adapters) {
        configured.insert(adapter);
    }
    if (configured_for(watch_.get()) != configured) {
        text += "the watch knows other adapters than those that are configured\n";
    }
    if (hb_watch_is_current(watch_.get()) != (replay_.current() ? 1 : 0)) {
        text += "the watch contradicts its last report of contact\n";
    }
    if (!text.empty()) {
        text = "trial " + name_ + ":\n" + text;
        for (const Report &report : replay_.reports()) {
            text += "    " + report.text + "\n";
        }
    }
    return text;
}

std::vector<std::string> run_together(std::vector<std::unique_ptr<Trial>> &trials,
                                      const std::function<bool(const Trial &)> &condition,
                                      const Deadline &deadline) {
    for (;;) {
        std::vector<std::string> left;
        std::vector<pollfd> wanted;
        for (const auto &trial : trials) {
            trial->turn();
            if (!condition(*trial)) {
                left.push_back(trial->name());
                wanted.push_back({hb_watch_descriptor(trial->watch()), POLLIN, 0});
                trial->daemon().wait_on(wanted);
            }
        }
        if (left.empty() || deadline.over()) {
            return left;
        }
        poll(wanted.data(), wanted.size(), std::min(deadline.milliseconds_left(), 1000));
    }
}

} // namespace hb_test
