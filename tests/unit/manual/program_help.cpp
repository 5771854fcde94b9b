// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/manual/program_help.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace hb_test {

std::string Documented_Program::path() const {
    return std::string(HB_PROGRAM_DIR) + "/" + name;
}

std::string Documented_Program::page() const {
    return text_of_file(std::string(HB_MANUAL_DIR) + "/pages/" + name + "." + section);
}

const std::vector<Documented_Program> &documented_programs() {
    static const std::vector<Documented_Program> programs = [] {
        std::vector<Documented_Program> found;
        std::istringstream stream(HB_PROGRAMS);
        for (std::string row; stream >> row;) {
            std::istringstream cells(row);
            Documented_Program &program = found.emplace_back();
            std::getline(cells, program.name, ',');
            std::getline(cells, program.section, ',');
            std::getline(cells, program.document);
        }
        return found;
    }();
    return programs;
}

Help help_in(const std::string &text) {
    static const std::regex heading(R"( *(\S.*):)");
    static const std::regex group(R"(\[Option Group.*)");
    static const std::regex verb(R"(  ([a-z][a-z0-9-]*)( .*)?)");
    static const std::regex option(R"( {2,4}(-[\w-]+(,-[\w-]+)*)( .*)?)");
    Help help;
    std::string section;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        if (std::regex_match(line, match, heading)) {
            section = match[1];
        } else if (line.empty() || std::regex_match(line, group)) {
            section.clear();
        } else if (std::regex_match(line, match, option)) {
            std::istringstream names(match[1]);
            for (std::string name; std::getline(names, name, ',');) {
                help.options.insert(name);
            }
        } else if (!section.empty() && section != "Positionals" && section != "Options" &&
                   std::regex_match(line, match, verb)) {
            help.verbs.insert(match[1]);
        }
    }
    return help;
}

Help help_of(const Documented_Program &program, const std::vector<std::string> &words) {
    std::string command = program.path();
    for (const std::string &word : words) {
        command += " " + word;
    }
    int status = -1;
    const std::string text = output_of(command + " --help", &status);
    EXPECT_EQ(status, 0) << command << ": " << text;
    return help_in(text);
}

std::string output_of(const std::string &command, int *status) {
    std::FILE *stream = popen(("exec 2>&1; " + command).c_str(), "r");
    if (stream == nullptr) {
        ADD_FAILURE() << "cannot run " << command;
        return "";
    }
    std::string output;
    std::array<char, 4096> piece{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), stream)) {
        output.append(piece.data(), count);
    }
    const int end = pclose(stream);
    if (status != nullptr) {
        *status = WIFEXITED(end) ? WEXITSTATUS(end) : -1;
    }
    return output;
}

std::string text_of_file(const std::string &path) {
    std::ifstream stream(path);
    std::ostringstream text;
    text << stream.rdbuf();
    EXPECT_TRUE(stream) << "cannot read " << path;
    return text.str();
}

bool can_run(const std::string &program) {
    int status = -1;
    output_of("command -v " + program, &status);
    return status == 0;
}

} // namespace hb_test
