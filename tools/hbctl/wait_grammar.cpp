// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/wait_grammar.h"

#include <algorithm>
#include <vector>

#include "hb_client.h"
#include "tools/hbctl/member_word.h"
#include "tools/hbctl/validators.h"

namespace hbctl {
namespace {

constexpr std::uint32_t HIGHEST_NODE = HB_NODE_SLOTS - 1;
constexpr std::uint32_t HIGHEST_ADAPTER = HB_ADAPTER_SLOTS - 1;

const std::vector<std::string> SUBJECTS{"node", "adapter", "nodes", "daemon"};

void add_threshold(CLI::App &verb, const char *names, std::int64_t &number, const char *help) {
    verb.add_option(names, number, help)->check(whole_number(0, HB_ADAPTER_SLOTS))->type_name("N");
}

// Returns the number, which must be in the range, or the name where that is permitted.
Member_Word word_in(const Wait_Words &words, std::uint32_t lowest, std::uint32_t highest, bool may_be_name) {
    const Member_Word word = member_word(words.which);
    const bool is_number = !words.which.empty() && word.name.empty();
    const bool is_sound = complaint_about_member(words.which, highest).empty() &&
                          (is_number ? word.number >= lowest : may_be_name && !words.which.empty());
    if (!is_sound) {
        const std::string range = std::to_string(lowest) + " to " + std::to_string(highest);
        throw CLI::ValidationError("wait " + words.subject,
                                   "needs a number from " + range + (may_be_name ? ", or a name" : ""));
    }
    return word;
}

Wait_Condition condition_about(Wait_Subject subject, const Member_Word &word, bool up) {
    return {subject, word.number, up, word.name};
}

} // namespace

void add_wait(CLI::App &app, Wait_Words &words) {
    CLI::App *verb = app.add_subcommand(
        "wait", "Wait until a node, an adapter, a number of nodes or the daemon is up or down");
    verb->add_option("what", words.subject, "node, adapter, nodes or daemon")
        ->required()
        ->check(CLI::IsMember(SUBJECTS))
        ->type_name("WHAT");
    verb->add_option("which", words.which,
                     "Number or name of the node or adapter; for nodes, how many at least")
        ->type_name("N");
    CLI::Option_group *state = verb->add_option_group("State to wait for (exactly one)");
    state->add_flag("--up", words.up, "Wait until it is up");
    state->add_flag("--down", words.down, "Wait until it is down");
    state->require_option(1);
    verb->footer("Exit status: 0 it is so, 1 request failed, 2 usage error, 3 --timeout SECONDS has expired "
                 "(default 10).");
}

void add_check(CLI::App &app, Wait_Words &words) {
    CLI::App *verb = app.add_subcommand("check", "Print one line about the cluster for a monitoring system");
    add_threshold(*verb, "-w,--warning", words.nodes_warning,
                  "Print WARNING if more than N nodes are down (default 0)");
    add_threshold(*verb, "-c,--critical", words.nodes_critical,
                  "Print CRITICAL if more than N nodes are down\n(default: if no majority of the nodes is up)");
    add_threshold(*verb, "--adapters-warning", words.adapters_warning,
                  "Print WARNING if more than N adapters are down (default 0)");
    add_threshold(*verb, "--adapters-critical", words.adapters_critical,
                  "Print CRITICAL if more than N adapters are down (default: never)");
    verb->footer("Exit status: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN, also after a usage error.");
}

std::string complaint_about_subject(const CLI::App &wait) {
    const std::vector<std::string> words = wait.get_option("what")->results();
    const std::string needs = "wait needs node, adapter, nodes or daemon";
    if (words.empty()) {
        return needs;
    }
    const bool is_known = std::find(SUBJECTS.begin(), SUBJECTS.end(), words.front()) != SUBJECTS.end();
    return is_known ? "" : needs + ", not '" + words.front() + "'";
}

Wait_Condition wait_condition(const Wait_Words &words) {
    if (words.subject == "node") {
        return condition_about(Wait_Subject::node, word_in(words, 0, HIGHEST_NODE, true), words.up);
    }
    if (words.subject == "adapter") {
        return condition_about(Wait_Subject::adapter, word_in(words, 0, HIGHEST_ADAPTER, true), words.up);
    }
    if (words.subject == "nodes") {
        return condition_about(Wait_Subject::nodes, word_in(words, 1, HB_NODE_SLOTS, false), words.up);
    }
    if (!words.which.empty()) {
        throw CLI::ValidationError("wait daemon", "has no number");
    }
    return {Wait_Subject::daemon, 0, words.up};
}

Thresholds thresholds(const Wait_Words &words) {
    Thresholds thresholds;
    if (words.nodes_warning >= 0) {
        thresholds.nodes_warning = static_cast<std::size_t>(words.nodes_warning);
    }
    if (words.nodes_critical >= 0) {
        thresholds.nodes_critical = static_cast<std::size_t>(words.nodes_critical);
    }
    if (words.adapters_warning >= 0) {
        thresholds.adapters_warning = static_cast<std::size_t>(words.adapters_warning);
    }
    if (words.adapters_critical >= 0) {
        thresholds.adapters_critical = static_cast<std::size_t>(words.adapters_critical);
    }
    return thresholds;
}

} // namespace hbctl
