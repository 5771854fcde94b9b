// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/witness.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <sstream>

#include "tests/cluster/told.h"

namespace hb_test {
namespace {

using Words = std::vector<std::string>;

// The daemon retries after a tenth of a second, then after twice the previous pause each time.
constexpr double FIRST_RETRY = 0.2;

unsigned number_in(const std::string &text) {
    return static_cast<unsigned>(std::stoul(text));
}

Words words_of(const std::string &line, char separator = ' ') {
    Words words;
    std::istringstream stream(line);
    for (std::string word; std::getline(stream, word, separator);) {
        words.push_back(word);
    }
    return words;
}

std::set<unsigned> numbers_behind(const Words &words, const std::string &title) {
    std::set<unsigned> numbers;
    auto word = std::find(words.begin(), words.end(), title);
    while (word != words.end() && ++word != words.end() && std::isdigit((*word)[0]) != 0) {
        numbers.insert(number_in(*word));
    }
    return numbers;
}

bool same(const Told_Configuration &one, const Told_Configuration &other) {
    return one.nodes == other.nodes && one.addresses == other.addresses;
}

} // namespace

void Witness::take(const std::string &line) {
    Words words = words_of(line);
    const double at = std::stod(words.at(0));
    const std::string &what = words.at(1);
    if (what == "engine") {
        begin_life(at);
        local_node_ = number_in(words.at(2));
    } else if (what == "ready") {
        finish_first_look(at);
    } else if (what == "gone") {
        end_life(at);
    } else if (what == "configuration") {
        take_configuration(at, words);
    } else if (what == "members") {
        take_members(at, words);
    } else if (what == "link") {
        take_link(at, words);
    } else if (what == "interface") {
        carriers_[number_in(words.at(2))].emplace_back(at, words.at(3) == "1");
    } else if (what == "reload") {
        ++refused_reloads_;
    }
}

// ---- One engine after the other ----

void Witness::begin_life(double at) {
    end_life(at);
    lives_.emplace_back();
    now_.clear();
    downs_.clear();
}

void Witness::finish_first_look(double at) {
    Life &life = lives_.back();
    life.ready = true;
    life.since = at;
    for (const auto &[key, up] : now_) {
        life.steps[key] = {{at, up}};
    }
    for (Told_Configuration &configuration : life.configurations) {
        configuration.at = at;
    }
}

// An engine that ended before the first check was complete does not count.
void Witness::end_life(double at) {
    if (lives_.empty() || lives_.back().gone != NEVER) {
        return;
    }
    if (lives_.back().ready) {
        lives_.back().gone = at;
    } else {
        lives_.pop_back();
    }
}

void Witness::step(double at, const Key &key, bool up) {
    const bool was_up = is_up(key);
    now_[key] = up;
    if (lives_.back().ready && was_up != up) {
        lives_.back().steps[key].emplace_back(at, up);
    }
}

bool Witness::is_up(const Key &key) const {
    const auto found = now_.find(key);
    return found != now_.end() && found->second;
}

void Witness::take_configuration(double at, const Words &words) {
    Told_Configuration told;
    told.at = at;
    for (std::size_t i = 2; i < words.size(); ++i) {
        const Words facts = words_of(words[i], ',');
        const unsigned node = number_in(facts.at(0));
        told.nodes.insert(node);
        links_[node] = static_cast<unsigned>(facts.size()) - 2;
        for (unsigned link = 0; link < links_[node]; ++link) {
            told.addresses[adapter_of(node, link)] = facts[link + 2];
        }
    }
    good_reloads_ += lives_.back().ready ? 1 : 0;
    if (told.nodes.count(local_node_) == 0) {
        return; // the daemon keeps its configuration: the new one lacks the node that the daemon runs on
    }
    lives_.back().configurations.push_back(told);
    configured_ = told.nodes;
    ever_configured_.insert(configured_.begin(), configured_.end());
    for (const unsigned node : ever_configured_) {
        step(at, {Of::configured, node, 0}, configured_.count(node) != 0);
    }
}

void Witness::take_members(double at, const Words &words) {
    const std::set<unsigned> members = numbers_behind(words, "members");
    const std::set<unsigned> joined = numbers_behind(words, "joined");
    const std::set<unsigned> left = numbers_behind(words, "left");
    std::set<unsigned> concerned = members;
    concerned.insert(left.begin(), left.end());
    for (const auto &[key, up] : now_) {
        if (key.of == Of::member) {
            concerned.insert(key.node);
        }
    }
    if (lives_.back().ready) {
        callbacks_.push_back(at);
    }
    for (const unsigned node : concerned) {
        if (left.count(node) != 0 || joined.count(node) != 0) {
            step(at, {Of::member, node, 0}, false);
        }
        step(at, {Of::member, node, 0}, members.count(node) != 0);
    }
}

// A count that rose by more than the observed changes reveals changes between two checks.
void Witness::take_link(double at, const Words &words) {
    const Key key{Of::link, number_in(words.at(2)), number_in(words.at(3))};
    const bool up = words.at(4) == "1";
    const unsigned long downs = std::stoul(words.at(5));
    const auto known = downs_.find(key);
    if (known != downs_.end()) {
        for (unsigned long count = known->second; count < downs; ++count) {
            step(at, key, true);
            step(at, key, false);
        }
    }
    step(at, key, up);
    downs_[key] = downs;
}

// ---- Now ----

std::set<unsigned> Witness::nodes() const {
    std::set<unsigned> up;
    for (const unsigned node : configured_) {
        if (node == local_node_ || (engine_runs() && is_up({Of::member, node, 0}))) {
            up.insert(node);
        }
    }
    return up;
}

std::set<unsigned> Witness::adapters() const {
    std::set<unsigned> up;
    for (const unsigned node : nodes()) {
        for (unsigned link = 0; link < links_.at(node); ++link) {
            const auto carrier = carriers_.find(link);
            const bool own = carrier != carriers_.end() && carrier->second.back().second;
            if (node == local_node_ ? own : is_up({Of::link, node, link})) {
                up.insert(adapter_of(node, link));
            }
        }
    }
    return up;
}

std::set<unsigned> Witness::all_nodes() const {
    return ever_configured_;
}

std::set<unsigned> Witness::all_adapters() const {
    std::set<unsigned> all;
    for (const auto &[node, count] : links_) {
        for (unsigned link = 0; link < count; ++link) {
            all.insert(adapter_of(node, link));
        }
    }
    return all;
}

std::vector<double> Witness::ends() const {
    std::vector<double> ends;
    for (const Life &life : lives_) {
        if (life.gone != NEVER) {
            ends.push_back(life.gone);
        }
    }
    return ends;
}

// ---- The events that a daemon must send for it ----

// The longer an engine was away, the longer the daemon pauses between its attempts. A daemon that started later
// has been connected to this engine since its own start.
double Witness::blind_until(std::size_t life, double since, const Patience &patience) const {
    if (lives_[life].since <= since) {
        return lives_[life].since;
    }
    const double away = life == 0 ? patience.longest_retry : lives_[life].since - lives_[life - 1].gone;
    return lives_[life].since + std::min(away, patience.longest_retry) + FIRST_RETRY;
}

// Returns whether the engine ended before the daemon must have found it.
bool Witness::is_missed(std::size_t life, double since, const Patience &patience) const {
    return lives_[life].since > since && lives_[life].gone <= blind_until(life, since, patience);
}

// A member that was up when the engine ended stays up until another event about it, or until the grace ends.
struct Witness::Hold {
    bool is_there = false;
    double from = 0;    // the end of the grace; it may belong to an earlier end of the engine ...
    double to = 0;      // ... or of the newest
    bool loose = false; // the daemon may not have known about it
    std::optional<std::size_t> late_up; // the turn up just before the engine's end
};

Turns Witness::signal(const Key &key, double since, const Patience &patience) const {
    const bool is_held = key.of != Of::configured;
    Turns turns;
    bool up = false;
    Hold hold;
    double may_still_be_held_until = 0; // at a moment that the daemon may have missed
    double may_be_held_down_until =
        0; // went down so shortly before the engine's end that the daemon holds it up
    std::optional<std::size_t> late_up;
    const auto expire = [&](double now) {
        if (hold.is_there && hold.to <= now) {
            turns.push_back({hold.from, false, hold.to, hold.loose});
            up = false;
            hold = {};
        }
    };
    for (std::size_t i = 0; i < lives_.size(); ++i) {
        const Life &life = lives_[i];
        if (!life.ready || life.gone < since) {
            continue;
        }
        const double blind = blind_until(i, since, patience);
        const auto found = life.steps.find(key);
        const Steps &steps = found == life.steps.end() ? none_ : found->second;
        if (!is_held && up && (steps.empty() || !steps.front().second)) {
            turns.push_back({life.since, false, std::max(life.since, blind), false});
            up = false;
        }
        for (const auto &[at, now_up] : steps) {
            expire(at);
            const bool in_blindness = at <= blind && blind > life.since;
            const bool at_the_end = is_held && life.gone - at < patience.unseen;
            const double latest = std::max(at, blind);
            if (now_up && hold.is_there) {
                if (latest + patience.early >= hold.from) {
                    turns.push_back({hold.from, false, hold.to, true});
                    turns.push_back({std::max(at, hold.from), true, std::max(latest, hold.to), true});
                }
                if (hold.late_up) {
                    turns[*hold.late_up].latest = latest;
                }
                may_still_be_held_until = hold.to;
                hold = {};
            } else if (now_up && !up) {
                late_up = at_the_end ? std::optional(turns.size()) : std::nullopt;
                turns.push_back({at, true, latest, in_blindness || at_the_end || at <= may_be_held_down_until});
            } else if (!now_up && up && !hold.is_there) {
                may_be_held_down_until = at_the_end ? life.gone + patience.grace : 0;
                const double held_until = std::max(may_still_be_held_until, may_be_held_down_until);
                turns.push_back({at, false, in_blindness || at_the_end ? std::max(latest, held_until) : at,
                                 in_blindness || at_the_end});
            }
            up = now_up || hold.is_there;
        }
        expire(life.gone == NEVER ? -NEVER : life.gone);
        if (!up || hold.is_there) {
            late_up.reset();
        }
        if (is_held && up && !hold.is_there && life.gone != NEVER) {
            const double end = life.gone + patience.grace;
            const bool missed = is_missed(i, since, patience);
            const bool held_before = missed && may_still_be_held_until > 0;
            const double earliest = end - patience.before_grace;
            hold = Hold{true, held_before ? std::min(may_still_be_held_until, earliest) : earliest, end,
                        (missed && !held_before) || late_up, late_up};
        }
    }
    expire(NEVER);
    return turns;
}

// Up while both are up.
Turns Witness::both(const Turns &one, const Turns &other) {
    Turns all;
    bool one_up = false;
    bool other_up = false;
    auto first = one.begin();
    auto second = other.begin();
    while (first != one.end() || second != other.end()) {
        const bool take_first = second == other.end() || (first != one.end() && first->at <= second->at);
        const Turn &turn = take_first ? *first++ : *second++;
        const bool were = one_up && other_up;
        (take_first ? one_up : other_up) = turn.up;
        if ((one_up && other_up) != were) {
            all.push_back(turn);
        }
    }
    return all;
}

Turns Witness::turns_of_node(unsigned node, double since, const Patience &patience) const {
    const Turns configured = signal({Of::configured, node, 0}, since, patience);
    return node == local_node_ ? configured : both(configured, signal({Of::member, node, 0}, since, patience));
}

Turns Witness::turns_of_adapter(unsigned adapter, double since, const Patience &patience) const {
    const unsigned node = node_of_adapter(adapter);
    const unsigned link = adapter % ADAPTERS_PER_NODE;
    const Turns of_node = turns_of_node(node, since, patience);
    if (node != local_node_) {
        return both(of_node, signal({Of::link, node, link}, since, patience));
    }
    Turns own;
    const auto carrier = carriers_.find(link);
    for (const auto &[at, up] : carrier == carriers_.end() ? none_ : carrier->second) {
        if (up || !own.empty()) {
            own.push_back({at, up, at, false});
        }
    }
    return both(of_node, own);
}

std::vector<Told_Configuration> Witness::configurations(double since, const Patience &patience) const {
    std::vector<Told_Configuration> all;
    bool missed_before = false;
    for (std::size_t i = 0; i < lives_.size(); ++i) {
        if (!lives_[i].ready || lives_[i].gone < since) {
            continue;
        }
        const double blind = blind_until(i, since, patience);
        for (std::size_t n = 0; n < lives_[i].configurations.size(); ++n) {
            Told_Configuration next = lives_[i].configurations[n];
            const bool is_known = n == 0 && !all.empty() && same(all.back(), next);
            if (is_known && !missed_before) {
                continue; // the engine returned with the same configuration
            }
            next.latest = std::max(next.at, blind);
            // The daemon may have found this configuration, or it may have ended by then.
            const bool in_blindness = next.at < blind && (n > 0 || n + 1 < lives_[i].configurations.size());
            next.loose = is_known || in_blindness || is_missed(i, since, patience);
            all.push_back(next);
        }
        missed_before = is_missed(i, since, patience);
    }
    return all;
}

} // namespace hb_test
