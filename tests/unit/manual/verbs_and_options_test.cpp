// SPDX-License-Identifier: Apache-2.0
// Help, pages and documents list the same commands and options.
#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/manual/program_help.h"

namespace hb_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What a page lists: the options of the program, and those of each command.
struct Page {
    Names options;
    std::map<std::string, Names> commands;
};

Page page_in(const std::string &text) {
    static const std::regex command(R"(\.It Cm (\S+).*)");
    static const std::regex name(R"(Fl (\S+))");
    Page page;
    std::string section;
    std::string verb;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        line = std::regex_replace(line, std::regex(R"(\\-)"), "-");
        if (line.starts_with(".Sh ")) {
            section = line.substr(4);
        } else if (section == "COMMANDS" && std::regex_match(line, match, command)) {
            verb = match[1];
            page.commands[verb];
        } else if (line.starts_with(".It Fl ") && (section == "COMMANDS" || section == "OPTIONS")) {
            Names &options = section == "OPTIONS" ? page.options : page.commands[verb];
            for (std::sregex_iterator found(line.begin(), line.end(), name), end; found != end; ++found) {
                options.insert("-" + (*found)[1].str());
            }
        }
    }
    return page;
}

// The commands in the first column of the tables whose heads are given: "| `swap A ADDRESS`, `keys` | ..." has two.
Names commands_in_tables(const std::string &markdown, const std::vector<std::string> &heads) {
    static const std::regex code("`([a-z][a-z0-9-]*)[^`]*`");
    Names commands;
    bool is_inside = false;
    std::istringstream stream(markdown);
    for (std::string line; std::getline(stream, line);) {
        if (std::find(heads.begin(), heads.end(), line) != heads.end()) {
            is_inside = true;
        } else if (!line.starts_with("|")) {
            is_inside = false;
        } else if (is_inside) {
            const std::string cell = line.substr(0, line.find(" | "));
            for (std::sregex_iterator found(cell.begin(), cell.end(), code), end; found != end; ++found) {
                commands.insert((*found)[1]);
            }
        }
    }
    return commands;
}

// The options in a text, except those on lines that show another program.
Names options_in(const std::string &markdown, const std::regex &other_program) {
    static const std::regex option(R"((?:^|[^\w-])(--[a-z][a-z0-9-]*))");
    Names options;
    std::istringstream stream(markdown);
    for (std::string line; std::getline(stream, line);) {
        if (!std::regex_search(line, other_program) && !line.starts_with("<!--")) {
            for (std::sregex_iterator found(line.begin(), line.end(), option), end; found != end; ++found) {
                options.insert((*found)[1]);
            }
        }
    }
    return options;
}

Names long_names(const Names &options) {
    Names found;
    std::copy_if(options.begin(), options.end(), std::inserter(found, found.end()),
                 [](const std::string &name) { return name.starts_with("--"); });
    return found;
}

// The options of the program and of all its commands.
Names all_options(const Documented_Program &program) {
    const Help help = help_of(program);
    Names options = help.options;
    for (const std::string &verb : help.verbs) {
        options.merge(help_of(program, {verb}).options);
    }
    return options;
}

Documented_Program program_named(const std::string &name) {
    for (const Documented_Program &program : documented_programs()) {
        if (program.name == name) {
            return program;
        }
    }
    ADD_FAILURE() << "this build has no " << name;
    return {};
}

std::string document(const std::string &name) {
    return text_of_file(std::string(HB_SOURCE_DIR) + "/docs/" + name);
}

// A large command has a document of its own: docs/hbctl-NAME.md.
std::string documents_of_hbctl() {
    std::string text;
    for (const auto &entry : std::filesystem::directory_iterator(std::string(HB_SOURCE_DIR) + "/docs")) {
        const std::string name = entry.path().filename();
        if (name.starts_with("hbctl") && name.ends_with(".md")) {
            text += document(name);
        }
    }
    return text;
}

TEST(Help, HasCommandsAndOptionsInItsSections) {
    const Help help =
        help_in("Shows things:\nUsage: x [OPTIONS] COMMAND\n\nPositionals:\n  node N REQUIRED   text\n\n"
                "[Option Group: What to watch (exactly one)]\n\n  Options:\n    --nodes LIST   text\n\n"
                "Options:\n  -w,--warning N              text\n                     --no option\n\n"
                "Commands:\n  node-up    text\n  top\nRequests:\n  swap   text\n\nfooter text\n");
    EXPECT_THAT(help.verbs, ElementsAre("node-up", "swap", "top"));
    EXPECT_THAT(help.options, ElementsAre("--nodes", "--warning", "-w"));
}

TEST(PageRule, SeesCommandsAndTheirOptions) {
    const Page page =
        page_in(".Sh OPTIONS\n.It Fl \\-json\n.Sh COMMANDS\n.It Cm top Ar N Op Ar options\n"
                ".It Fl w , Fl \\-warning Ar N\n.It Ar N\n.It Cm keys\n.Sh OTHER\n.It Fl \\-no\n");
    EXPECT_THAT(page.options, ElementsAre("--json"));
    ASSERT_EQ(page.commands.size(), 2U);
    EXPECT_THAT(page.commands.at("top"), ElementsAre("--warning", "-w"));
    EXPECT_THAT(page.commands.at("keys"), IsEmpty());
}

TEST(DocumentRule, SeesCommandsAndOptions) {
    const std::string text =
        "| command | shows |\n|---|---|\n| `swap A B`, `keys` | `no` |\n\n| other | x |\n| `not` | |\n"
        "run `a --json` or `--exec C`\nwispd --config x\n";
    EXPECT_THAT(commands_in_tables(text, {"| command | shows |"}), ElementsAre("keys", "swap"));
    EXPECT_THAT(options_in(text, std::regex("wispd ")), ElementsAre("--exec", "--json"));
}

TEST(Pages, ListWhatHelpLists) {
    ASSERT_FALSE(documented_programs().empty());
    for (const Documented_Program &program : documented_programs()) {
        const Help help = help_of(program);
        const Page page = page_in(program.page());
        EXPECT_EQ(page.options, help.options) << program.name;
        Names commands;
        for (const auto &[verb, options] : page.commands) {
            commands.insert(verb);
            Names expected = help_of(program, {verb}).options;
            expected.erase("--help");
            expected.erase("-h");
            EXPECT_EQ(options, expected) << program.name << " " << verb;
        }
        EXPECT_EQ(commands, help.verbs) << program.name;
    }
}

TEST(Documents, ListTheCommandsThatHelpLists) {
    const Documented_Program hbctl = program_named("hbctl");
    EXPECT_EQ(commands_in_tables(document("hbctl.md"), {"| command | shows |", "| command | request |"}),
              help_of(hbctl).verbs);
    const Documented_Program wispctl = program_named("wispctl");
    EXPECT_EQ(commands_in_tables(document("wispd.md"), {"| command | effect |"}), help_of(wispctl).verbs);
}

TEST(Documents, OfHbctlListsItsOptionsAndNoOthers) {
    const std::regex others(R"(\b(wispd|wispctl|systemctl|journalctl) )");
    const Names known = long_names(all_options(program_named("hbctl")));
    const std::string text = documents_of_hbctl();
    for (const std::string &option : options_in(text, others)) {
        EXPECT_TRUE(known.count(option) != 0) << "hbctl has no " << option << ", which docs/hbctl*.md shows";
    }
    const Names shown = options_in(text, std::regex("^$"));
    for (const std::string &option : known) {
        EXPECT_TRUE(shown.count(option) != 0) << "docs/hbctl*.md lacks " << option;
    }
}

TEST(Documents, OfTheDaemonListsItsOptionsThoseOfWispctlAndNoOthers) {
    const std::regex others(R"(\b(gdb|systemctl|hbctl) )");
    Names known = long_names(all_options(program_named("wispctl")));
    known.merge(long_names(help_of(program_named("wispd")).options));
    const Names shown = options_in(document("wispd.md"), others);
    EXPECT_EQ(shown, known);
}

TEST(Documents, OfTheExporterListsItsOptions) {
    for (const Documented_Program &program : documented_programs()) {
        if (program.name != "hb_exporter") {
            continue;
        }
        const Names shown = options_in(document(program.document), std::regex("^$"));
        for (const std::string &option : long_names(help_of(program).options)) {
            EXPECT_TRUE(shown.count(option) != 0) << "docs/monitoring.md lacks " << option;
        }
    }
}

} // namespace
} // namespace hb_test
