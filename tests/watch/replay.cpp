// SPDX-License-Identifier: Apache-2.0
#include "tests/watch/replay.h"

#include <sstream>

#include "hb_error.h"

namespace hb_test {
namespace {

std::vector<std::string> split(const std::string &text, char at) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);) {
        parts.push_back(part);
    }
    return parts;
}

// Reads the words of the first field. Returns false if they are not those of a report.
bool read_words(const std::string &text, Report &report) {
    std::istringstream words(text);
    std::string word;
    words >> word;
    if (word == "current") {
        report.kind = Report::Kind::current;
    } else if (word == "configuration") {
        report.kind = Report::Kind::configuration;
    } else if (word == "unreachable") {
        report.kind = Report::Kind::unreachable;
        words >> report.error;
    } else if (word == "node" || word == "adapter") {
        std::string what;
        words >> report.number >> what;
        if (what != "joined" && what != "died") {
            return false;
        }
        const bool joined = what == "joined";
        report.kind = word == "node" ? (joined ? Report::Kind::node_joined : Report::Kind::node_died)
                                     : (joined ? Report::Kind::adapter_joined : Report::Kind::adapter_died);
    } else {
        return false;
    }
    if (!words) {
        return false;
    }
    while (words >> word) {
        report.initial |= word == "initial";
        report.caught_up |= word == "caught-up";
        report.removed |= word == "removed";
        if (word != "initial" && word != "caught-up" && word != "removed") {
            return false;
        }
    }
    return true;
}

std::string in_words(const std::set<unsigned> &numbers) {
    std::string text;
    for (const unsigned number : numbers) {
        text += " " + std::to_string(number);
    }
    return text;
}

bool is_reason(int error) {
    switch (error) {
    case HB_ERROR_TIMEOUT:
    case HB_ERROR_UNEXPECTED_REPLY:
    case HB_ERROR_CONNECT_FAILED:
    case HB_ERROR_DISCONNECTED:
    case HB_ERROR_NO_MEMORY:
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<Report> read_report(const std::string &line) {
    const std::vector<std::string> fields = split(line, '\t');
    Report report;
    if (fields.size() < 2 || fields[0] != "report" || !read_words(fields[1], report)) {
        return std::nullopt;
    }
    report.text = fields[1];
    for (std::size_t i = 2; i < fields.size(); ++i) {
        const std::size_t equals = fields[i].find('=');
        const std::string name = fields[i].substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : fields[i].substr(equals + 1);
        if (name == "time") {
            report.time = std::stoll(value);
        } else if (name == "since") {
            report.since = std::stoll(value);
        } else if (name == "node") {
            report.node = std::stoi(value);
        } else if (name == "network") {
            report.network = std::stoi(value);
        } else if (name == "failure") {
            report.failure = value;
        }
    }
    return report;
}

std::string in_words(const Who &who) {
    return "nodes" + in_words(who.nodes) + ", adapters" + in_words(who.adapters);
}

void Replay::complain(const Report &report, const std::string &about) {
    complaints_.push_back("report " + std::to_string(reports_.size()) + " \"" + report.text + "\": " + about);
}

void Replay::take(const Report &report) {
    reports_.push_back(report);
    check_times(report);
    if (report.joined() || report.died()) {
        take_change(report);
    } else if (report.kind != Report::Kind::configuration) {
        take_contact(report);
    }
}

void Replay::take_contact(const Report &report) {
    if (report.kind == Report::Kind::current) {
        if (current_) {
            complain(report, "it was current already");
        }
        current_ = was_current_ = true;
        lost_ = false;
        return;
    }
    if (lost_) {
        complain(report, "the loss was reported already");
    }
    if (!is_reason(report.error)) {
        complain(report, "this number is no reason for a loss");
    }
    if (report.since == 0 && was_current_) {
        complain(report, "there was a sign of life before");
    }
    current_ = false;
    lost_ = true;
    ++losses_;
}

void Replay::take_change(const Report &report) {
    std::set<unsigned> &members = report.of_node() ? who_.nodes : who_.adapters;
    const bool changed =
        report.joined() ? members.insert(report.number).second : members.erase(report.number) == 1;
    if (!changed) {
        complain(report, report.joined() ? "it was up already" : "it was not up");
    }
    if (report.initial && (was_current_ || report.died())) {
        complain(report, "this is not what was up at the start");
    }
    if (report.removed && report.joined()) {
        complain(report, "a join cannot be a removal");
    }
    if (report.of_node() && report.node != static_cast<int>(report.number)) {
        complain(report, "the node's number is " + std::to_string(report.node));
    }
    if (!report.initial) {
        ++changes_[(report.of_node() ? "node " : "adapter ") + std::to_string(report.number)];
    }
}

void Replay::check_times(const Report &report) {
    if (report.time <= 0) {
        complain(report, "it has no time");
    }
    if (report.since > report.time) {
        complain(report, "it was known at a time that had not come");
    }
    if (!report.caught_up && report.kind != Report::Kind::unreachable && report.since != report.time) {
        complain(report, "its two times differ");
    }
}

} // namespace hb_test
