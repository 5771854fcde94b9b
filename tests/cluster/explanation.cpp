// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/explanation.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <limits>
#include <optional>

namespace hb_test {
namespace {

using Kind = Told::Kind;
constexpr double NEVER = std::numeric_limits<double>::infinity();

// The events of one client on one connection.
struct Epoch {
    double begin = 0;
    double end = NEVER;        // the loss of the connection
    std::optional<Told> nodes; // the reports of present members
    std::optional<Told> adapters;
    std::vector<Told> configurations; // the first is the initial one
    std::vector<Told> events;
};

std::vector<Epoch> epochs_of(const std::vector<Told> &all) {
    std::vector<Epoch> epochs;
    for (const Told &told : all) {
        if (told.kind == Kind::connected) {
            epochs.emplace_back();
            epochs.back().begin = told.at;
        } else if (epochs.empty()) {
            continue;
        } else if (told.kind == Kind::lost) {
            epochs.back().end = told.at;
        } else if (told.kind == Kind::configuration) {
            epochs.back().configurations.push_back(told);
        } else if (told.kind == Kind::account) {
            (told.of_nodes ? epochs.back().nodes : epochs.back().adapters) = told;
        } else if (told.kind == Kind::death || told.kind == Kind::join) {
            epochs.back().events.push_back(told);
        }
    }
    return epochs;
}

struct Mark {
    double at;
    bool up;
};

// The events that the client received about one member.
std::vector<Mark> marks_of(const Epoch &epoch, bool of_nodes, unsigned member) {
    std::vector<Mark> marks;
    for (const Told &told : epoch.events) {
        if (told.of_nodes == of_nodes && told.tells_of(member)) {
            marks.push_back({told.at, told.kind == Kind::join});
        }
    }
    return marks;
}

// Matches the turns and the marks of one member, in their order.
class Matching {
  public:
    Matching(const Turns &turns, const std::vector<Mark> &marks, const Patience &patience, double end)
        : turns_(turns), marks_(marks), patience_(patience), end_(end) {}

    // Starts from the state in the initial report. Returns false if there is no match.
    bool find(double account, bool up) {
        for (std::size_t first = 0; first <= turns_.size(); ++first) {
            const bool over = first == 0 || turns_[first - 1].at <= account + patience_.early;
            const bool not_missed = first == turns_.size() || turns_[first].latest >= account - patience_.late;
            if ((first % 2 == 1) == up && over && not_missed && fits(first, 0)) {
                return true;
            }
        }
        return false;
    }
    const std::vector<std::pair<std::size_t, std::size_t>> &pairs() const { return pairs_; } // last to first
    unsigned passed_over() const { return passed_over_; }

  private:
    bool belongs(const Turn &turn, const Mark &mark) const {
        return turn.up == mark.up && mark.at >= turn.at - patience_.early &&
               mark.at <= turn.latest + patience_.late;
    }
    // Two turns that the daemon may never have seen.
    bool may_be_passed_over(std::size_t turn) const {
        if (turn + 1 >= turns_.size()) {
            return false;
        }
        const Turn &one = turns_[turn];
        const Turn &next = turns_[turn + 1];
        return (one.loose && next.loose) || (one.up && next.at - one.at < patience_.unseen);
    }
    bool may_come_after_the_end(std::size_t turn) const { return turns_[turn].latest + patience_.late >= end_; }

    bool fits(std::size_t turn, std::size_t mark) {
        if (impossible_.count({turn, mark}) != 0) {
            return false;
        }
        if (turn == turns_.size()) {
            return mark == marks_.size();
        }
        if (mark < marks_.size() && belongs(turns_[turn], marks_[mark]) && fits(turn + 1, mark + 1)) {
            pairs_.emplace_back(turn, mark);
            return true;
        }
        if (may_be_passed_over(turn) && fits(turn + 2, mark)) {
            ++passed_over_;
            return true;
        }
        if (mark == marks_.size() && may_come_after_the_end(turn) && fits(turn + 1, mark)) {
            return true;
        }
        impossible_.insert({turn, mark});
        return false;
    }

    const Turns &turns_;
    const std::vector<Mark> &marks_;
    const Patience &patience_;
    double end_;
    std::set<std::pair<std::size_t, std::size_t>> impossible_;
    std::vector<std::pair<std::size_t, std::size_t>> pairs_;
    unsigned passed_over_ = 0;
};

std::string seconds(double time) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.3f", time);
    return text.data();
}

std::string text_of(const Turns &turns, const Epoch &epoch, const Patience &patience) {
    std::string text;
    for (const Turn &turn : turns) {
        if (turn.latest + patience.late >= epoch.begin && turn.at - patience.early <= epoch.end) {
            text += (turn.up ? " up@" : " down@") + seconds(turn.at) + (turn.loose ? "?" : "") +
                    (turn.latest > turn.at ? "-" + seconds(turn.latest) : "");
        }
    }
    return text;
}

std::string text_of(const std::vector<Mark> &marks) {
    std::string text;
    for (const Mark &mark : marks) {
        text += (mark.up ? " join@" : " death@") + seconds(mark.at);
    }
    return text;
}

class Explainer {
  public:
    Explainer(const History &history, const Patience &patience, Explanation &result)
        : history_(history), patience_(patience), result_(result) {}

    void explain(const Epoch &epoch) {
        if (!epoch.nodes || !epoch.adapters) {
            if (epoch.end == NEVER) {
                result_.faults.push_back("no account after the connection at " + seconds(epoch.begin));
            }
            return;
        }
        for (const unsigned node : history_.all_nodes()) {
            explain_member(epoch, true, node);
        }
        for (const unsigned adapter : history_.all_adapters()) {
            explain_member(epoch, false, adapter);
        }
        check_strangers(epoch);
        explain_configurations(epoch);
    }

  private:
    // A daemon that started after the engine's end knows no other node. One that ran before may still hold
    // nodes up.
    std::vector<double> memories(double begin) const {
        std::vector<double> since{begin};
        for (const double end : history_.ends()) {
            if (end <= begin && end >= begin - patience_.late) {
                since.push_back(end);
            }
        }
        return since;
    }

    Turns turns_of(bool of_nodes, unsigned member, double since) const {
        return of_nodes ? history_.turns_of_node(member, since, patience_)
                        : history_.turns_of_adapter(member, since, patience_);
    }

    std::string what(bool of_nodes, unsigned member, bool up) const {
        const bool own = !of_nodes && node_of_adapter(member) == history_.local_node();
        return std::string(own ? "own adapter " : of_nodes ? "node " : "adapter ") + (up ? "join" : "death");
    }

    void explain_member(const Epoch &epoch, bool of_nodes, unsigned member) {
        const Told &account = of_nodes ? *epoch.nodes : *epoch.adapters;
        const std::vector<Mark> marks = marks_of(epoch, of_nodes, member);
        for (const double since : memories(epoch.begin)) {
            const Turns turns = turns_of(of_nodes, member, since);
            Matching matching(turns, marks, patience_, epoch.end);
            if (!matching.find(account.at, account.tells_of(member))) {
                continue;
            }
            for (const auto &[turn, mark] : matching.pairs()) {
                ++result_.explained;
                if (turns[turn].latest == turns[turn].at) {
                    result_.delays[what(of_nodes, member, turns[turn].up)].push_back(marks[mark].at -
                                                                                     turns[turn].at);
                }
            }
            result_.passed_over += matching.passed_over();
            return;
        }
        result_.faults.push_back((of_nodes ? "node " : "adapter ") + std::to_string(member) + " was told as" +
                                 (account.tells_of(member) ? " up" : " down") + " at " + seconds(account.at) +
                                 text_of(marks) + "; the engine had" +
                                 text_of(turns_of(of_nodes, member, epoch.begin), epoch, patience_));
    }

    // Finds members that were in none of the engine's configurations.
    void check_strangers(const Epoch &epoch) {
        const std::set<unsigned> nodes = history_.all_nodes();
        const std::set<unsigned> adapters = history_.all_adapters();
        for (const Told &told : epoch.events) {
            for (const auto &[member, incarnation] : told.members) {
                if ((told.of_nodes ? nodes : adapters).count(member) == 0) {
                    result_.faults.push_back("an event about a stranger: " + told.line);
                }
            }
        }
    }

    static bool same(const Told_Configuration &one, const Told &other) {
        return one.nodes == other.nodes && one.addresses == other.addresses;
    }

    void explain_configurations(const Epoch &epoch) {
        const std::vector<Told_Configuration> had = history_.configurations(epoch.begin, patience_);
        for (std::size_t first = 0; first < had.size(); ++first) {
            if (had[first].at <= epoch.configurations[0].at + patience_.early &&
                same(had[first], epoch.configurations[0]) && updates_fit(epoch, had, first + 1, 1)) {
                return;
            }
        }
        std::string text;
        for (const Told &told : epoch.configurations) {
            text += "\n    told " + told.line;
        }
        for (const Told_Configuration &one : had) {
            text +=
                "\n    the engine had " + std::to_string(one.nodes.size()) + " nodes from " + seconds(one.at);
        }
        result_.faults.push_back("configurations do not match:" + text);
    }

    bool updates_fit(const Epoch &epoch, const std::vector<Told_Configuration> &had, std::size_t one,
                     std::size_t update) {
        if (one == had.size()) {
            return update == epoch.configurations.size();
        }
        const Told_Configuration &next = had[one];
        if (update < epoch.configurations.size()) {
            const Told &told = epoch.configurations[update];
            if (same(next, told) && told.at >= next.at - patience_.early &&
                told.at <= next.latest + patience_.late && updates_fit(epoch, had, one + 1, update + 1)) {
                ++result_.explained;
                result_.delays["configuration"].push_back(told.at - next.at);
                return true;
            }
        }
        const bool at_the_end =
            update == epoch.configurations.size() && next.latest + patience_.late >= epoch.end;
        const bool overtaken = one + 1 < had.size() && had[one + 1].at - next.at < patience_.unseen;
        const bool before_the_start = update == 1 && next.at <= epoch.begin + patience_.early;
        return (next.loose || at_the_end || overtaken || before_the_start) &&
               updates_fit(epoch, had, one + 1, update);
    }

    const History &history_;
    const Patience &patience_;
    Explanation &result_;
};

} // namespace

Explanation explain(const std::vector<Told> &told, const History &history, const Patience &patience) {
    Explanation result;
    Explainer explainer(history, patience, result);
    for (const Epoch &epoch : epochs_of(told)) {
        explainer.explain(epoch);
    }
    return result;
}

} // namespace hb_test
