// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/host_commands.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace hb_test {
namespace {

using Words = std::vector<std::string>;

struct Command {
    std::size_t fewest_words;
    std::size_t most_words;
    std::function<std::string(Hosts &, const Words &)> run; // returns the requested information
};

Words words_of(const std::string &line) {
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

int number(const std::string &word) {
    int value = 0;
    const auto [end, trouble] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (trouble != std::errc() || end != word.data() + word.size()) {
        throw std::invalid_argument("\"" + word + "\" is no number");
    }
    return value;
}

// One link of the host, or all of them.
std::string for_links(Hosts &hosts, const Words &words, const std::function<void(int, int)> &change) {
    const int host = number(words[1]);
    if (words.size() == 3) {
        change(host, number(words[2]));
        return {};
    }
    for (int link = 0; link < hosts.links(); ++link) {
        change(host, link);
    }
    return {};
}

std::string wait_quorum(Hosts &hosts, const Words &words) {
    const std::chrono::seconds seconds(words.size() == 2 ? number(words[1]) : 60);
    if (!hosts.wait_quorum(Deadline(seconds))) {
        throw std::runtime_error("the engines do not agree: " + hosts.account());
    }
    return {};
}

std::string reload(Hosts &hosts, const Words &words) {
    const Reload result = hosts.reload(number(words[1]));
    if (!result.accepted) {
        throw std::runtime_error("the configuration was rejected: " + result.message);
    }
    return {};
}

std::string run(Hosts &hosts, const Words &words) {
    const Finished finished =
        hosts.places().run_to_end(number(words[1]), Words(words.begin() + 2, words.end()));
    if (finished.exit_status != 0) {
        throw std::runtime_error(words[2] + " ended with " + std::to_string(finished.exit_status) + ": " +
                                 finished.output + finished.errors);
    }
    return finished.output + finished.errors;
}

const std::map<std::string, Command> COMMANDS{
    {"start", {2, 2, [](Hosts &h, const Words &w) { return h.start(number(w[1])), std::string(); }}},
    {"stop", {2, 2, [](Hosts &h, const Words &w) { return h.stop(number(w[1])), std::string(); }}},
    {"kill", {2, 2, [](Hosts &h, const Words &w) { return h.kill(number(w[1])), std::string(); }}},
    {"restart", {2, 2, [](Hosts &h, const Words &w) { return h.restart(number(w[1])), std::string(); }}},
    {"cut",
     {2, 3,
      [](Hosts &h, const Words &w) {
          return for_links(h, w, [&h](int host, int link) { h.cut(host, link); });
      }}},
    {"restore",
     {2, 3,
      [](Hosts &h, const Words &w) {
          return for_links(h, w, [&h](int host, int link) { h.restore(host, link); });
      }}},
    {"status", {1, 1, [](Hosts &h, const Words &) { return h.account(); }}},
    {"wait", {1, 2, wait_quorum}},
    {"reload", {2, 2, reload}},
    {"log", {2, 2, [](Hosts &h, const Words &w) { return h.log(number(w[1])); }}},
    {"run", {3, 1000, run}},
    {"help", {1, 1, [](Hosts &, const Words &) { return std::string(HOST_COMMANDS_HELP); }}},
};

std::string seconds_now() {
    const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    char text[40];
    std::snprintf(text, sizeof text, "%lld.%06lld", static_cast<long long>(now / 1000000),
                  static_cast<long long>(now % 1000000));
    return text;
}

std::string with_newline(std::string text) {
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

// The caller treats the line with the error as the last line.
std::string in_one_line(const std::string &text) {
    std::string line;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part);) {
        if (!part.empty()) {
            line += (line.empty() ? "" : "; ") + part;
        }
    }
    return line;
}

} // namespace

const char *const HOST_COMMANDS_HELP = R"(start HOST            start the engine
stop HOST             end it as an administrator would
kill HOST             end it with SIGKILL
restart HOST          stop and start
cut HOST [LINK]       cut the cable of a link, or of all links; links are counted from 0
restore HOST [LINK]   mend it
reload HOST           make all engines read their configuration
status                what every engine sees
wait [SECONDS]        until the running engines are quorate and see each other (60)
log HOST              the engine's log
run HOST PROGRAM ...  run a program inside the host to its end
help                  this text
)";

std::string obey(Hosts &hosts, const std::string &line) {
    const std::string begun = seconds_now();
    try {
        const Words words = words_of(line);
        const auto found = words.empty() ? COMMANDS.end() : COMMANDS.find(words[0]);
        if (found == COMMANDS.end()) {
            throw std::invalid_argument("\"" + line + "\" is no command; \"help\" tells which there are");
        }
        const Command &command = found->second;
        if (words.size() < command.fewest_words || words.size() > command.most_words) {
            throw std::invalid_argument("\"" + line + "\" has too many or too few words; \"help\" tells more");
        }
        return with_newline(command.run(hosts, words)) + "ok " + begun + "\n";
    } catch (const std::exception &trouble) {
        return "error: " + in_one_line(trouble.what()) + "\n";
    }
}

} // namespace hb_test
