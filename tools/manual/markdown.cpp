// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/markdown.h"

#include <regex>
#include <sstream>
#include <stdexcept>

namespace manual {
namespace {

const std::regex HEADING(R"((#{1,6}) +(.*))");
const std::regex ITEM(R"( {0,1}([-*]|\d+\.) +(.*))");
const std::regex TABLE_RULE(R"(\|[-| :]+\|)");

std::string trimmed(const std::string &text) {
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

// A page has no place for pictures.
std::vector<std::string> lines_of_text(const std::string &text) {
    static const std::regex comment("<!--[^]*?-->\n?");
    static const std::regex picture(R"(!\[[^\]]*\]\([^)]*\))");
    std::istringstream stream(std::regex_replace(text, comment, ""));
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        if (!std::regex_match(line, picture)) {
            lines.push_back(line);
        }
    }
    return lines;
}

// A bar behind a backslash belongs to a cell.
std::vector<std::string> cells_of(const std::string &line) {
    std::vector<std::string> cells;
    std::string cell;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] == '|') {
            cell += '|';
            ++i;
        } else if (line[i] == '|') {
            cells.push_back(trimmed(cell));
            cell.clear();
        } else {
            cell += line[i];
        }
    }
    return cells;
}

class Parser {
  public:
    explicit Parser(const std::string &text) : lines_(lines_of_text(text)) {}

    std::vector<Block> parse() {
        while (at_ < lines_.size()) {
            if (trimmed(line()).empty()) {
                ++at_;
            } else {
                parse_block();
            }
        }
        return std::move(blocks_);
    }

  private:
    const std::string &line() const { return lines_[at_]; }
    bool ends_paragraph() const {
        return trimmed(line()).empty() || line().starts_with("```") || line().starts_with("|") ||
               std::regex_match(line(), HEADING) || std::regex_match(line(), ITEM);
    }

    void parse_block() {
        std::smatch match;
        if (std::regex_match(line(), match, HEADING)) {
            Block &block = add(Block::Kind::heading);
            block.level = static_cast<int>(match[1].length());
            block.text = match[2];
            ++at_;
        } else if (line().starts_with("```")) {
            parse_fence();
        } else if (line().starts_with("    ")) {
            parse_indented();
        } else if (line().starts_with("|")) {
            parse_table();
        } else if (std::regex_match(line(), match, ITEM)) {
            parse_list(std::isdigit(static_cast<unsigned char>(match[1].str().front())) != 0);
        } else {
            Block &block = add(Block::Kind::paragraph);
            for (bool first = true; at_ < lines_.size() && (first || !ends_paragraph()); ++at_, first = false) {
                block.text += (first ? "" : " ") + trimmed(line());
            }
        }
    }

    void parse_fence() {
        Block &block = add(Block::Kind::literal);
        for (++at_; at_ < lines_.size() && !line().starts_with("```"); ++at_) {
            block.items.push_back(line());
        }
        ++at_;
    }

    void parse_indented() {
        Block &block = add(Block::Kind::literal);
        for (; at_ < lines_.size() && (line().starts_with("    ") || trimmed(line()).empty()); ++at_) {
            block.items.push_back(line().size() > 4 ? line().substr(4) : "");
        }
        while (block.items.back().empty()) {
            block.items.pop_back();
        }
    }

    void parse_table() {
        Block &block = add(Block::Kind::table);
        for (; at_ < lines_.size() && line().starts_with("|"); ++at_) {
            if (!std::regex_match(line(), TABLE_RULE)) {
                block.rows.push_back(cells_of(line()));
            }
        }
    }

    void parse_list(bool is_numbered) {
        Block &block = add(is_numbered ? Block::Kind::steps : Block::Kind::bullets);
        for (; at_ < lines_.size(); ++at_) {
            std::smatch match;
            if (std::regex_match(line(), match, ITEM)) {
                block.items.push_back(match[2]);
            } else if (line().starts_with("  ") && !trimmed(line()).empty()) {
                block.items.back() += " " + trimmed(line());
            } else {
                return;
            }
        }
    }

    Block &add(Block::Kind kind) {
        blocks_.emplace_back().kind = kind;
        return blocks_.back();
    }

    std::vector<std::string> lines_;
    std::vector<Block> blocks_;
    std::size_t at_ = 0;
};

} // namespace

std::vector<Block> parse_markdown(const std::string &text) {
    return Parser(text).parse();
}

std::vector<Block> section_of(const std::vector<Block> &document, const std::string &heading) {
    std::vector<Block> section;
    int level = 0;
    for (const Block &block : document) {
        const bool is_heading = block.kind == Block::Kind::heading;
        if (level != 0 && is_heading && block.level <= level) {
            return section;
        }
        if (level != 0) {
            section.push_back(block);
        } else if (is_heading && block.text == heading) {
            level = block.level;
        }
    }
    if (level == 0) {
        throw std::runtime_error("no section '" + heading + "'");
    }
    return section;
}

std::string plain_text(const std::string &text) {
    static const std::regex link(R"(\[([^\]]*)\]\([^)]*\))");
    static const std::regex marks(R"(`|\*\*)");
    return std::regex_replace(std::regex_replace(text, link, "$1"), marks, "");
}

} // namespace manual
