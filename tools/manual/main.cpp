// SPDX-License-Identifier: Apache-2.0
// hb_manual makes manual pages and completions while the project is built. It is not installed.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/manual/completion.h"
#include "tools/manual/files.h"
#include "tools/manual/header.h"
#include "tools/manual/page.h"
#include "tools/manual/reference.h"
#include "tools/manual/site.h"

namespace {

const char *const USAGE = "usage: hb_manual page TEMPLATE DOCUMENTS DATE OUTPUT [TREE]\n"
                          "       hb_manual bash|zsh|fish TREE FUNCTIONS OUTPUT\n"
                          "       hb_manual reference LIST HEADERS DATE OUTPUT\n"
                          "       hb_manual site FILE\n"
                          "TREE is a file with what a program prints for --option-tree, FUNCTIONS a file of "
                          "packaging/completions. LIST is\n"
                          "packaging/man/reference.list, HEADERS the directory of the public headers; OUTPUT "
                          "is then a directory. The last\n"
                          "form prints what Doxygen reads instead of FILE, a public header or a document.\n";

using Words = std::vector<std::string>;

std::string page(const Words &words) {
    manual::Page_Sources sources{manual::read_file(words[1]), words[2], words[3], {}};
    if (words.size() > 5) {
        sources.program = manual::parse_tree(manual::read_file(words[5]));
    }
    return manual::make_page(sources);
}

// Pages of an earlier list must not stay.
void reference(const Words &words) {
    const std::vector<manual::Reference_Row> rows = manual::parse_reference_list(manual::read_file(words[1]));
    std::vector<manual::Header> headers;
    std::set<std::string> names;
    for (const manual::Reference_Row &row : rows) {
        if (names.insert(row.header).second) {
            headers.push_back(manual::parse_header(manual::read_file(words[2] + "/" + row.header)));
        }
    }
    const auto pages = manual::reference_pages(rows, headers, words[3]);
    std::filesystem::remove_all(words[4]);
    std::filesystem::create_directories(words[4]);
    for (const auto &[name, text] : pages) {
        manual::write_file(words[4] + "/" + name, text);
    }
}

// The headers lie in include/, the documents in docs/, beside it.
std::string site(const std::filesystem::path &file) {
    const std::filesystem::path folder = file.parent_path();
    const std::filesystem::path tree =
        folder.filename() == "hb" ? folder.parent_path().parent_path() : folder.parent_path();
    std::set<std::string> functions;
    for (const char *const name : {"hb_client.h", "hb_error.h", "hb_watch.h"}) {
        const manual::Header header = manual::parse_header(manual::read_file(tree / "include" / name));
        for (const manual::Function &function : header.functions()) {
            functions.insert(function.name);
        }
    }
    const std::string text = manual::read_file(file);
    if (file.extension() == ".hpp") {
        return manual::site_of_cpp_header(text, functions);
    }
    if (file.extension() == ".h") {
        return manual::site_of_header(manual::parse_header(text), functions);
    }
    return manual::site_of_document(text, file.filename(), manual::SITE_DOCUMENTS, functions);
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
    } else if (words.size() == 5 && words[0] == "reference") {
        reference(words);
    } else if (words.size() == 2 && words[0] == "site") {
        std::fputs(site(words[1]).c_str(), stdout);
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
