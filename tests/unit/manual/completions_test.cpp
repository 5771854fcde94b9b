// SPDX-License-Identifier: Apache-2.0
// The completions, in the real shells: each command and option is offered, and the values that are known.
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/unit/manual/program_help.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;

// What a shell offers for each line.
using Offers = std::map<std::string, Names>;
using Lines = std::vector<std::string>;

void write_text(const std::string &path, const std::string &text) {
    std::ofstream stream(path);
    stream << text;
    ASSERT_TRUE(stream.flush()) << path;
}

// A directory with files to complete, and with an hbctl that answers what a daemon with two nodes would.
class Completions : public testing::Test {
  protected:
    void SetUp() override {
        write_text(directory.file("cluster.toml"), "");
        write_text(directory.file("hbctl"),
                   "#!/bin/sh\n"
                   "echo \"$*\" >>'" +
                       directory.file("calls") +
                       "'\n"
                       "case \"$*\" in\n"
                       "*nodes) echo '{\"node\":3,\"state\":\"up\",\"name\":\"gamma\"}'; echo "
                       "'{\"node\":14,\"state\":\"down\"}' ;;\n"
                       "*adapters) echo '{\"format\":1,\"adapter\":145,\"node\":3,\"network_name\":\"x\"}' ;;\n"
                       "*networks) echo '{\"network\":0,\"name\":\"net_a\"}' ;;\n"
                       "esac\n");
        ASSERT_EQ(chmod(directory.file("hbctl").c_str(), 0755), 0);
    }

    static std::string file(const std::string &shell, const std::string &name) {
        return std::string(HB_MANUAL_DIR) + "/completions/" + shell + "/" + name;
    }

    // Runs the shell's part of a test with the lines on standard input. It prints LINE:<line> and then each offer.
    Offers offers(const std::string &shell_command, const Lines &lines) const {
        std::string input;
        for (const std::string &line : lines) {
            input += line + "\n";
        }
        write_text(directory.file("lines"), input);
        int status = -1;
        const std::string output =
            output_of("cd " + directory.path() + " && unset HB_SERVER_SOCKET && PATH=" + directory.path() +
                          ":$PATH HOME=" + directory.path() +
                          " XDG_CONFIG_HOME= XDG_DATA_HOME= " + shell_command + " <lines",
                      &status);
        EXPECT_EQ(status, 0) << output;
        Offers found;
        std::string line;
        std::istringstream stream(output);
        for (std::string text; std::getline(stream, text);) {
            if (text.starts_with("LINE:")) {
                line = text.substr(5);
                found[line];
            } else if (!text.empty()) {
                found[line].insert(text.substr(0, text.find('\t')));
            }
        }
        return found;
    }

    std::string calls() const { return text_of_file(directory.file("calls")); }

    Temp_Dir directory;
};

// Each line of a program up to the word to complete, and what help lists there.
struct Expectation {
    std::string line;
    Names offers;
};

std::vector<Expectation> expectations(const Documented_Program &program) {
    const Help help = help_of(program);
    std::vector<Expectation> all{{program.name + " -", help.options}};
    if (!help.verbs.empty()) {
        all.push_back({program.name + " ", help.verbs});
    }
    for (const std::string &verb : help.verbs) {
        Names options = help_of(program, {verb}).options;
        options.insert(help.options.begin(), help.options.end());
        all.push_back({program.name + " " + verb + " -", options});
    }
    return all;
}

Lines lines_of(const std::vector<Expectation> &expectations) {
    Lines lines;
    for (const Expectation &expectation : expectations) {
        lines.push_back(expectation.line);
    }
    return lines;
}

// The words that a person can type next, where the values are known. They are the same in each shell.
struct Known_Values {
    std::string line;
    Names values;
};

const std::vector<Known_Values> KNOWN{
    {"hbctl wait ", {"node", "adapter", "nodes", "daemon"}},
    {"hbctl --socket x wait ", {"node", "adapter", "nodes", "daemon"}},
    {"hbctl manual-control ", {"on", "off"}},
    {"wispctl log-level ", {"debug", "info", "warning", "error"}},
    {"hbctl subscribe --events ", {"death", "join", "new-group", "heartbeat"}},
    {"hbctl route ", {"3", "14", "gamma"}},
    {"hbctl wait node ", {"3", "14", "gamma"}},
    {"hbctl wait adapter ", {"145"}},
    {"hbctl adapter-state ", {"145"}},
    {"hbctl subscribe --network ", {"0", "net_a"}},
    {"wispctl node-down ", {"3", "14", "gamma"}},
    {"wispctl adapter-up ", {"145"}},
};

const std::vector<Known_Values> FILES{{"wispctl reconfigure clu", {"cluster.toml"}},
                                      {"hbctl --socket clu", {"cluster.toml"}},
                                      {"wispd --config clu", {"cluster.toml"}}};

Lines lines_of(const std::vector<Known_Values> &values) {
    Lines lines;
    for (const Known_Values &known : values) {
        lines.push_back(known.line);
    }
    return lines;
}

// ---- bash ----

// Runs the function that the completion names, with the words of each line.
std::string bash_command(const std::string &program, const std::string &file) {
    return "bash --norc -c 'source " + file + "; function=$(complete -p " + program +
           "); function=${function##*-F }; function=${function%% *}; "
           "while IFS= read -r line; do echo \"LINE:$line\"; read -ra COMP_WORDS <<<\"${line//=/ = }\"; "
           "[[ $line != *[\\ =] ]] || COMP_WORDS+=(\"\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); $function; "
           "printf \"%s\\n\" \"${COMPREPLY[@]}\"; done'";
}

class BashCompletions : public Completions {
  protected:
    Names offered(const std::string &line) const {
        const std::string program = line.substr(0, line.find(' '));
        return offers(bash_command(program, file("bash", program)), {line})[line];
    }
};

TEST_F(BashCompletions, OfferEachCommandAndOption) {
    for (const Documented_Program &program : documented_programs()) {
        const auto expected = expectations(program);
        const Offers found = offers(bash_command(program.name, file("bash", program.name)), lines_of(expected));
        for (const Expectation &expectation : expected) {
            EXPECT_EQ(found.at(expectation.line), expectation.offers) << expectation.line;
        }
    }
}

TEST_F(BashCompletions, OfferTheValuesThatAreKnown) {
    for (const Known_Values &known : KNOWN) {
        EXPECT_EQ(offered(known.line), known.values) << known.line;
    }
    for (const Known_Values &known : FILES) {
        EXPECT_EQ(offered(known.line), known.values) << known.line;
    }
}

TEST_F(BashCompletions, ContinueAListAndAValueBehindAnEqualsSign) {
    EXPECT_THAT(offered("hbctl subscribe --events death,jo"), ElementsAre("death,join"));
    EXPECT_THAT(offered("hbctl subscribe --nodes 3,1"), ElementsAre("3,14"));
    EXPECT_THAT(offered("hbctl subscribe --network=ne"), ElementsAre("net_a"));
    EXPECT_THAT(offered("hbctl --socket=x wait no"), ElementsAre("node", "nodes"));
}

TEST_F(BashCompletions, AskOnlyBrieflyAndTheDaemonThatIsNamed) {
    offered("hbctl --socket /tmp/other route ");
    EXPECT_EQ(calls(), "--json --timeout 0.5 --socket /tmp/other nodes\n");
}

TEST_F(BashCompletions, AreSilentWithoutADaemon) {
    write_text(directory.file("hbctl"), "#!/bin/sh\necho trouble >&2\nexit 1\n");
    EXPECT_EQ(offered("hbctl route "), Names{});
}

// A name of the cluster is text from elsewhere.
TEST_F(BashCompletions, InsertNamesAsDataAndRunNothing) {
    write_text(directory.file("hbctl"), "#!/bin/sh\ncat <<'END'\n"
                                        "{\"node\":3,\"name\":\"$(touch${IFS}ran)\"}\n"
                                        "{\"node\":4,\"name\":\"`touch ran`\"}\n"
                                        "{\"node\":5,\"name\":\"two words\"}\n"
                                        "END\n");
    EXPECT_EQ(offered("hbctl route "),
              (Names{"3", "4", "5", "\\$\\(touch\\$\\{IFS\\}ran\\)", "\\`touch\\ ran\\`", "two\\ words"}));
    EXPECT_EQ(offered("wispctl node-down tw"), Names{"two\\ words"});
    EXPECT_NE(access(directory.file("ran").c_str(), F_OK), 0) << "a name was run";
}

// ---- fish ----

std::string fish_command(const std::string &file) {
    return "fish --no-config -c 'source " + file +
           "; while read -l line; echo \"LINE:$line\"; complete -C \"$line\"; end'";
}

class FishCompletions : public Completions {
  protected:
    void SetUp() override {
        if (!can_run("fish")) {
            GTEST_SKIP() << "no fish (package fish)";
        }
        Completions::SetUp();
    }
};

TEST_F(FishCompletions, OfferEachCommandAndOption) {
    for (const Documented_Program &program : documented_programs()) {
        auto expected = expectations(program);
        const Offers found = offers(fish_command(file("fish", program.name + ".fish")), lines_of(expected));
        for (const Expectation &expectation : expected) {
            EXPECT_EQ(found.at(expectation.line), expectation.offers) << expectation.line;
        }
    }
}

TEST_F(FishCompletions, OfferTheValuesThatAreKnown) {
    for (const auto &all : {KNOWN, FILES}) {
        for (const Known_Values &known : all) {
            const std::string program = known.line.substr(0, known.line.find(' '));
            const Offers found = offers(fish_command(file("fish", program + ".fish")), {known.line});
            EXPECT_EQ(found.at(known.line), known.values) << known.line;
        }
    }
}

TEST_F(FishCompletions, ContinueAList) {
    const std::string line = "hbctl subscribe --events death,jo";
    EXPECT_THAT(offers(fish_command(file("fish", "hbctl.fish")), {line}).at(line), ElementsAre("death,join"));
}

// ---- zsh ----

class ZshCompletions : public Completions {
  protected:
    void SetUp() override {
        if (!can_run("zsh")) {
            GTEST_SKIP() << "no zsh (package zsh)";
        }
        Completions::SetUp();
    }

    Offers offered(const Lines &lines) const {
        return offers("zsh -f " + std::string(HB_SOURCE_DIR) + "/tests/unit/manual/complete_in_zsh " +
                          std::string(HB_MANUAL_DIR) + "/completions/zsh",
                      lines);
    }
};

TEST_F(ZshCompletions, OfferEachCommandAndOption) {
    for (const Documented_Program &program : documented_programs()) {
        const auto expected = expectations(program);
        const Offers found = offered(lines_of(expected));
        for (const Expectation &expectation : expected) {
            EXPECT_EQ(found.at(expectation.line), expectation.offers) << expectation.line;
        }
    }
}

TEST_F(ZshCompletions, OfferTheValuesThatAreKnown) {
    for (const auto &all : {KNOWN, FILES}) {
        const Offers found = offered(lines_of(all));
        for (const Known_Values &known : all) {
            EXPECT_EQ(found.at(known.line), known.values) << known.line;
        }
    }
}

} // namespace
} // namespace hb_test
