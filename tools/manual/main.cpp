// SPDX-License-Identifier: Apache-2.0
// hb_manual makes manual pages and completions while the project is built. It is not installed.
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/manual/completion.h"
#include "tools/manual/files.h"
#include "tools/manual/page.h"

namespace {

const char *const USAGE =
    "usage: hb_manual page TEMPLATE DOCUMENTS DATE OUTPUT [TREE]\n"
    "       hb_manual bash|zsh|fish TREE FUNCTIONS OUTPUT\n"
    "TREE is a file with what a program prints for --option-tree, FUNCTIONS a file of packaging/completions.\n";

using Words = std::vector<std::string>;

std::string page(const Words &words) {
    manual::Page_Sources sources{manual::read_file(words[1]), words[2], words[3], {}};
    if (words.size() > 5) {
        sources.program = manual::parse_tree(manual::read_file(words[5]));
    }
    return manual::make_page(sources);
}

int run(const Words &words) {
    static const std::map<std::string, std::string (*)(const manual::Command &, const std::string &)> shells{
        {"bash", manual::bash_completion}, {"zsh", manual::zsh_completion}, {"fish", manual::fish_completion}};
    const bool is_page = words.size() >= 5 && words.size() <= 6 && words[0] == "page";
    const bool is_completion = words.size() == 4 && shells.count(words[0]) != 0;
    if (is_page) {
        manual::write_file(words[4], page(words));
    } else if (is_completion) {
        const manual::Command program = manual::parse_tree(manual::read_file(words[1]));
        manual::write_file(words[3], shells.at(words[0])(program, manual::read_file(words[2])));
    } else {
        std::fputs(USAGE, stderr);
        return 2;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    const Words words(argv + 1, argv + argc);
    try {
        return run(words);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "hb_manual: %s: %s\n", words.size() > 1 ? words[1].c_str() : "", failure.what());
        return 1;
    }
}
