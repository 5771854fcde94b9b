// SPDX-License-Identifier: Apache-2.0
// Runs each case of cases.txt with each driver. The file describes the language of the cases.
#include <algorithm>
#include <cctype>
#include <csignal>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/records.h"
#include "tests/system/daemon.h"
#include "tests/system/service_client.h"
#include "tests/system/stream.h"
#include "tests/watch/cluster_truth.h"
#include "tests/watch/link_proxy.h"
#include "tests/watch/watch_program.h"

namespace hb_test {
namespace {

using Texts = std::vector<std::string>;

struct Case {
    std::string name;
    Texts lines;
};

std::string trimmed(const std::string &text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

Texts split(const std::string &text, char at) {
    Texts parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, at);) {
        parts.push_back(trimmed(part));
    }
    return parts;
}

std::vector<Case> cases() {
    std::ifstream file(HB_WATCH_CASES);
    std::vector<Case> all;
    for (std::string line; std::getline(file, line);) {
        line = trimmed(line);
        if (line.empty() || line.starts_with("#")) {
            continue;
        }
        if (line.starts_with("case ")) {
            all.push_back({line.substr(5), {}});
        } else {
            all.back().lines.push_back(line);
        }
    }
    return all;
}

std::set<unsigned> numbers_in(const std::string &text) {
    std::set<unsigned> numbers;
    std::istringstream stream(text);
    for (unsigned number = 0; stream >> number;) {
        numbers.insert(number);
    }
    return numbers;
}

// The members of the list behind the name that are up: "97:1," is up, "97:2," is not.
std::set<unsigned> up_in(const std::string &state, const std::string &name) {
    std::set<unsigned> up;
    const std::size_t begin = state.find(name) + name.size();
    for (const std::string &member : split(state.substr(begin, state.find(' ', begin) - begin), ',')) {
        if (member.ends_with(":1")) {
            up.insert(static_cast<unsigned>(std::stoul(member)));
        }
    }
    return up;
}

using nlohmann::json;

bool is_up(const json &member) {
    return member.value("configured", true) && member.at("state") == "up";
}

// What is up, by the account of a daemon or a service. A service lists a node's interfaces without their numbers.
Who who_is_up_at(const std::string &control) {
    const Stream stream(control);
    stream.send(R"({"do":"state"})"
                "\n");
    const json state = json::parse(stream.read_line()).at("state");
    Who who;
    for (const json &node : state.at("nodes")) {
        const auto number = node.at("number").get<unsigned>();
        if (is_up(node)) {
            who.nodes.insert(number);
        }
        unsigned place = number * Cluster_Truth::SLOTS;
        for (const json &adapter : node.contains("interfaces") ? node.at("interfaces") : node.at("adapters")) {
            if (is_up(adapter)) {
                who.adapters.insert(adapter.value("number", place));
            }
            ++place;
        }
    }
    return who;
}

// "adapter 97 died [caught-up]" matches with and without the word.
bool matches(const std::string &pattern, const std::string &text) {
    const std::size_t open = pattern.find('[');
    const std::size_t close = pattern.find(']');
    if (open == std::string::npos || close == std::string::npos) {
        return pattern == text;
    }
    const std::string before = pattern.substr(0, open);
    const std::string after = pattern.substr(close + 1);
    return text == before + pattern.substr(open + 1, close - open - 1) + after ||
           text == trimmed(before) + after;
}

// One case with one driver.
class Course {
  public:
    Course(const Driver_Command &driver, const Programs &daemon)
        : driver_(driver), daemon_(daemon, Cluster_Truth({1, 2, 3}).file()), proxy_(daemon_.socket()) {
        std::ofstream(directory_.file("cluster.toml")) << Cluster_Truth({1, 2, 3}).file();
    }

    void run(const Case &it);

  private:
    using Action = void (Course::*)(const std::string &);

    void obey(const std::string &line);
    void begin(const std::string &options);
    void watch(const std::string &options);
    void daemon(const std::string &what);
    void wispd(const std::string &what);
    void times(const std::string &what);
    void file(const std::string &nodes);
    void reload(const std::string &);
    void service(const std::string &what);
    void link(const std::string &what);
    void reports(const std::string &texts);
    void in_any_order(const std::string &texts);
    void each(const std::string &texts);
    void until(const std::string &text);
    void agrees(const std::string &);
    void answers(const std::string &members);
    void changes(const std::string &what);
    void ask(const std::string &what);
    void order(const std::string &command);
    void answer(const std::string &what);
    void end();

    void fail(const std::string &what);
    std::string next_text();
    std::string control() const { return by_service_ ? directory_.file("c") : daemon_.control(); }
    void command(const std::string &control, const std::string &verb, const std::string &number);

    Driver_Command driver_;
    Daemon daemon_;
    Link_Proxy proxy_;
    Temp_Dir directory_;
    std::unique_ptr<Stream> later_;
    std::unique_ptr<Watch_Program> watch_;
    bool by_service_ = false;
    bool of_nodes_only_ = false;
    unsigned repetitions_ = 1;
    std::string line_;
};

void Course::fail(const std::string &what) {
    std::string text = "\"" + line_ + "\": " + what + "\nThe reports were:";
    if (watch_) {
        for (const Report &report : watch_->replay().reports()) {
            text += "\n    " + report.text;
        }
        text += "\n" + watch_->error_output();
    }
    throw std::runtime_error(text);
}

void Course::run(const Case &it) {
    for (const std::string &line : it.lines) {
        line_ = line;
        obey(line);
    }
    line_ = "the end of the case";
    end();
}

void Course::obey(const std::string &line) {
    static const std::vector<std::pair<std::string, Action>> actions = {{"begin", &Course::begin},
                                                                        {"watch", &Course::watch},
                                                                        {"daemon", &Course::daemon},
                                                                        {"wispd", &Course::wispd},
                                                                        {"times", &Course::times},
                                                                        {"file", &Course::file},
                                                                        {"reload", &Course::reload},
                                                                        {"service", &Course::service},
                                                                        {"link", &Course::link},
                                                                        {"reports", &Course::reports},
                                                                        {"in any order", &Course::in_any_order},
                                                                        {"each", &Course::each},
                                                                        {"until", &Course::until},
                                                                        {"agrees", &Course::agrees},
                                                                        {"answers", &Course::answers},
                                                                        {"changes", &Course::changes},
                                                                        {"ask", &Course::ask},
                                                                        {"order", &Course::order},
                                                                        {"answer", &Course::answer}};
    for (const auto &[name, action] : actions) {
        if (line == name || line.starts_with(name + " ")) {
            (this->*action)(trimmed(line.substr(name.size())));
            return;
        }
    }
    fail("no such action");
}

// ---- What the case does ----

void Course::watch(const std::string &options) {
    Texts words = split(options, ' ');
    of_nodes_only_ = std::find(words.begin(), words.end(), "--what=nodes") != words.end();
    const bool direct = std::erase(words, "direct") > 0;
    const bool without_service =
        std::erase(words, "without") + std::erase(words, "service") > 0 || !driver_.has_requests;
    Child_Process::Environment environment{
        {"HB_SERVER_SOCKET", daemon_.socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}};
    if (!without_service) {
        const Child_Process::Environment loaded = service_preloaded(driver_.programs);
        environment.insert(environment.end(), loaded.begin(), loaded.end());
        environment.insert(environment.end(), {{"HB_MOX_SIM_CONFIG", directory_.file("cluster.toml")},
                                               {"HB_MOX_SIM_CONTROL", directory_.file("c")}});
    }
    Texts arguments{"--socket=" + (direct ? daemon_.socket() : proxy_.path()), "--check=100", "--answer=1000",
                    "--min=5", "--max=100"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    watch_ = std::make_unique<Watch_Program>(driver_, arguments, environment);
}

void Course::begin(const std::string &options) {
    daemon("start");
    watch(options);
    for (int i = 0; i < 9; ++i) {
        if (!next_text().ends_with(" joined initial")) {
            fail("the start reports what is up, and that alone");
        }
    }
    reports("current");
}

void Course::daemon(const std::string &what) {
    if (what == "suspend" || what == "continue") {
        daemon_.send_signal(what == "suspend" ? SIGSTOP : SIGCONT);
    } else if (what == "kill") {
        daemon_.kill();
        later_.reset();
    } else if (what == "ends") {
        EXPECT_TRUE(daemon_.wait_stopped());
    } else if (what == "stop") {
        EXPECT_TRUE(daemon_.stop());
    } else if (what == "start") {
        EXPECT_TRUE(daemon_.start());
    } else if (what == "restart") {
        daemon_.kill();
        EXPECT_TRUE(daemon_.start());
    } else {
        fail("no such action of a daemon");
    }
}

void Course::command(const std::string &control, const std::string &verb, const std::string &number) {
    const std::string key = verb.substr(0, verb.find('-'));
    const Stream stream(control);
    stream.send(R"({"do":")" + verb + R"(",")" + key + "\":" + number + "}\n");
    if (const std::string result = stream.read_line(); result != R"({"ok":true})") {
        fail(result);
    }
}

// "node-down 3; wispd node-up 3", or "later node-down 3".
void Course::wispd(const std::string &what) {
    for (const std::string &part : split(what, ';')) {
        Texts words = split(part, ' ');
        std::erase(words, "wispd");
        if (words.at(0) == "later") {
            const std::string key = words.at(1).substr(0, words.at(1).find('-'));
            later_ = std::make_unique<Stream>(daemon_.control());
            later_->send(R"({"do":")" + words.at(1) + R"(",")" + key + "\":" + words.at(2) + "}\n");
        } else {
            command(daemon_.control(), words.at(0), words.at(1));
        }
    }
}

void Course::times(const std::string &what) {
    const std::size_t space = what.find(' ');
    repetitions_ = static_cast<unsigned>(std::stoul(what.substr(0, space)));
    for (unsigned i = 0; i < repetitions_; ++i) {
        wispd(what.substr(space + 1));
    }
}

void Course::file(const std::string &nodes) {
    daemon_.write_configuration(Cluster_Truth(numbers_in(nodes)).file());
}

void Course::reload(const std::string &) {
    EXPECT_TRUE(daemon_.tells(R"({"do":"reconfigure"})"));
}

void Course::service(const std::string &what) {
    const Texts words = split(what, ' ');
    command(directory_.file("c"), words.at(0), words.at(1));
}

void Course::link(const std::string &what) {
    const std::map<std::string, std::function<void()>> actions = {
        {"swap", [&] { proxy_.swap(); }},
        {"hold", [&] { proxy_.hold(true); }},
        {"carry", [&] { proxy_.hold(false); }},
        {"refuse", [&] { proxy_.refuse(true); }},
        {"accept", [&] { proxy_.refuse(false); }},
        {"insert unknown", [&] { proxy_.insert(frame(reply(99))); }},
        {"insert answer", [&] { proxy_.insert(frame(reply(14, Bytes().i32(2)))); }},
        {"insert malformed",
         [&] { proxy_.insert(frame(reply(2, Bytes().i32(5)))); }}, // six pairs, and none there
        {"insert short", [&] { proxy_.insert(frame(Bytes().zeros(107))); }}};
    const Texts words = split(what, ' ');
    if (words.at(0) == "cut") {
        proxy_.cut_after(std::stoul(words.at(1)));
    } else if (words.at(0) == "drop") {
        proxy_.drop(static_cast<unsigned>(std::stoul(words.at(1))));
    } else if (words.at(0) == "duplicate") {
        proxy_.duplicate(static_cast<unsigned>(std::stoul(words.at(1))));
    } else {
        actions.at(what)();
    }
}

// ---- What the case expects ----

std::string Course::next_text() {
    const std::optional<Report> report = watch_->next();
    if (!report) {
        fail("no further report arrived");
    }
    return report->text;
}

void Course::reports(const std::string &texts) {
    for (const std::string &text : split(texts, ';')) {
        if (const std::string got = next_text(); !matches(text, got)) {
            fail("\"" + got + "\" was reported instead of \"" + text + "\"");
        }
    }
}

void Course::in_any_order(const std::string &texts) {
    Texts left = split(texts, ';');
    while (!left.empty()) {
        const std::string got = next_text();
        const auto found = std::find_if(left.begin(), left.end(),
                                        [&](const std::string &pattern) { return matches(pattern, got); });
        if (found == left.end()) {
            fail("\"" + got + "\" was reported, too");
        }
        left.erase(found);
    }
}

// The reports of all repetitions.
void Course::each(const std::string &texts) {
    for (unsigned i = 0; i < repetitions_; ++i) {
        reports(texts);
    }
}

void Course::until(const std::string &text) {
    while (next_text() != text) {
    }
}

void Course::agrees(const std::string &) {
    const Who truth = who_is_up_at(control());
    const auto agree = [&](const Replay &replay) { return replay.current() && replay.who() == truth; };
    if (!watch_->read_until(agree)) {
        fail("the reports do not add up to the cluster\nreported: " + in_words(watch_->replay().who()) +
             "\nthe cluster: " + in_words(truth));
    }
}

void Course::answers(const std::string &members) {
    const Texts expected = split(members, '/');
    const std::string state = watch_->ask("state");
    const Who known{up_in(state, " nodes="), up_in(state, " adapters=")};
    const Who wanted{numbers_in(expected.at(0)), numbers_in(expected.at(1))};
    if (!(known == wanted)) {
        fail("the watch answers: " + state);
    }
}

void Course::changes(const std::string &what) {
    const std::size_t equals = what.find(" = ");
    const std::string member = what.substr(0, equals);
    const std::size_t count = std::stoul(what.substr(equals + 3));
    const auto changed = [&](const Replay &replay) {
        const auto found = replay.changes().find(member);
        return found != replay.changes().end() && found->second >= count;
    };
    if (!watch_->read_until(changed)) {
        fail("so many changes were not reported");
    }
}

void Course::ask(const std::string &what) {
    order(what.substr(0, what.find(" = ")));
    answer(what);
}

void Course::order(const std::string &command) {
    by_service_ |= command == "migrate" || command == "follow";
    watch_->order(command);
}

void Course::answer(const std::string &what) {
    const std::size_t equals = what.find(" = ");
    const std::string command = what.substr(0, equals);
    const std::string got = watch_->answer_to(command);
    if (!got.starts_with(what.substr(equals + 3))) {
        fail("the answer is \"" + got + "\"");
    }
    by_service_ &= !got.starts_with("failed");
}

void Course::end() {
    const Who who = who_is_up_at(control());
    const bool up = of_nodes_only_ ? who.nodes.contains(2) : who.adapters.contains(49);
    const std::string member = of_nodes_only_ ? "node" : "adapter";
    const std::string number = of_nodes_only_ ? "2" : "49";
    command(control(), member + (up ? "-down" : "-up"), number);
    const std::string expected = member + " " + number + (up ? " died" : " joined");
    std::string got = next_text();
    while (by_service_ && got == "configuration") {
        got = next_text();
    }
    if (got != expected) {
        fail("\"" + got + "\" was reported instead of \"" + expected + "\"");
    }
    for (const std::string &complaint : watch_->replay().complaints()) {
        fail(complaint);
    }
    EXPECT_TRUE(watch_->end());
}

// ---- The tests ----

struct Case_Of_Driver {
    Driver_Command driver;
    Programs daemon;
    Case it;
};

void PrintTo(const Case_Of_Driver &it, std::ostream *out) {
    *out << it.it.name;
}

std::string test_name(const testing::TestParamInfo<Case_Of_Driver> &info) {
    std::string name = info.param.driver.name + "_" + info.param.driver.programs.abi + "_with_" +
                       info.param.daemon.abi + "_" + info.param.it.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

// Can the driver do what the case asks of it?
bool can_run(const Driver_Command &driver, const Case &it) {
    return std::none_of(it.lines.begin(), it.lines.end(), [&](const std::string &line) {
        const bool asks = line.starts_with("ask control") || line.starts_with("order control") ||
                          line.starts_with("ask migrate") || line.starts_with("ask follow");
        return (asks && !driver.has_requests) ||
               (line.find("--what=adapters") != std::string::npos && !driver.can_skip_nodes);
    });
}

// The drivers of this build, and those of the other ABI with this build's daemon and the other way round.
std::vector<Case_Of_Driver> all_cases() {
    std::vector<std::pair<Driver_Command, Programs>> pairs;
    const Programs own = programs_of_this_build();
    for (const Driver_Command &driver : drivers_of(own)) {
        pairs.emplace_back(driver, own);
    }
#ifdef HB_OTHER_ABI_BIN_DIR
    const Programs other{sizeof(void *) == 4 ? "64_bit" : "32_bit", HB_OTHER_ABI_BIN_DIR};
    for (const Driver_Command &driver : drivers_of(own)) {
        pairs.emplace_back(driver, other);
    }
    for (const Driver_Command &driver : drivers_of(other)) {
        pairs.emplace_back(driver, own);
    }
#endif
    std::vector<Case_Of_Driver> all;
    for (const auto &[driver, daemon] : pairs) {
        for (const Case &it : cases()) {
            if (can_run(driver, it)) {
                all.push_back({driver, daemon, it});
            }
        }
    }
    return all;
}

class WatchCase : public testing::TestWithParam<Case_Of_Driver> {};

TEST_P(WatchCase, IsReportedAsDescribed) {
    ASSERT_FALSE(GetParam().it.lines.empty());
    try {
        Course(GetParam().driver, GetParam().daemon).run(GetParam().it);
    } catch (const std::exception &trouble) {
        ADD_FAILURE() << trouble.what();
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, WatchCase, testing::ValuesIn(all_cases()), test_name);

} // namespace
} // namespace hb_test
