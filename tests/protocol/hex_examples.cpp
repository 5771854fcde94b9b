// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/hex_examples.h"

#include <optional>
#include <regex>
#include <sstream>

namespace hb_test {
namespace {

const std::string OPENING = "```hex ";
const std::string CLOSING = "```";
const std::string LENGTH_MARK = "----";

struct Line {
    std::string place; // the offset, or the mark of a length
    Bytes bytes;
};

// "00*7" and "2A", separated by single blanks.
Bytes read_bytes(const std::string &text) {
    static const std::regex item(R"(([0-9A-F]{2})(?:\*(\d{1,5}))?)");
    Bytes bytes;
    for (std::sregex_iterator match(text.begin(), text.end(), item), end; match != end; ++match) {
        const std::size_t count = (*match)[2].matched ? std::stoul((*match)[2]) : 1;
        bytes.fill(count, static_cast<unsigned char>(std::stoul((*match)[1], nullptr, 16)));
    }
    return bytes;
}

std::optional<Line> read_line(const std::string &text) {
    static const std::regex form(
        R"((----|[0-9A-F]{4})  ([0-9A-F]{2}(?:\*\d{1,5})?(?: [0-9A-F]{2}(?:\*\d{1,5})?)*)(?:  .*)?)");
    std::smatch match;
    if (!std::regex_match(text, match, form)) {
        return {};
    }
    return Line{match[1], read_bytes(match[2])};
}

// Returns the lines of one example.
Hex_Example read_example(std::istream &lines, const std::string &name, std::vector<std::string> &faults) {
    Hex_Example example;
    std::optional<int32_t> length;
    std::string text;
    while (std::getline(lines, text) && text != CLOSING) {
        const std::optional<Line> line = read_line(text);
        if (!line) {
            faults.push_back(name + ": this is no line of bytes: " + text);
        } else if (line->place == LENGTH_MARK) {
            example.is_framed = true;
            length = line->bytes.size() == 4 ? line->bytes.i32_at(0) : -1;
        } else {
            if (std::stoul(line->place, nullptr, 16) != example.bytes.size()) {
                faults.push_back(name + ": " + std::to_string(example.bytes.size()) +
                                 " bytes come before: " + text);
            }
            example.bytes.add(line->bytes);
        }
    }
    if (length && *length != static_cast<int64_t>(example.bytes.size())) {
        faults.push_back(name + ": the length says " + std::to_string(*length) + ", and " +
                         std::to_string(example.bytes.size()) + " bytes follow");
    }
    return example;
}

} // namespace

Hex_Examples read_hex_examples(const std::string &markdown) {
    Hex_Examples found;
    std::istringstream lines(markdown);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(OPENING)) {
            continue;
        }
        const std::string name = line.substr(OPENING.size());
        const Hex_Example example = read_example(lines, name, found.faults);
        if (!found.examples.emplace(name, example).second) {
            found.faults.push_back(name + ": there are two examples of this name");
        }
    }
    return found;
}

} // namespace hb_test
