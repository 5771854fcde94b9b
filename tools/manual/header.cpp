// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/header.h"

#include <cctype>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace manual {
namespace {

bool is_word(char byte) {
    return std::isalnum(static_cast<unsigned char>(byte)) != 0 || byte == '_';
}

std::string trimmed(const std::string &text) {
    const std::size_t begin = text.find_first_not_of(" \n");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

std::string without_comments(const std::string &code) {
    static const std::regex comment(R"(/\*[^]*?\*/)");
    return std::regex_replace(code, comment, " ");
}

// The lines of a comment without its stars.
std::string text_of_line(std::string line) {
    static const std::regex begin(R"(^ ?/?\*+ ?)");
    static const std::regex end(R"( *\*/ *$)");
    line = std::regex_replace(line, end, "");
    return std::regex_replace(line, begin, "");
}

bool is_ruler(const std::string &line) {
    return line.find_first_not_of("- ") == std::string::npos && line.find("----") != std::string::npos;
}

class Parser {
  public:
    explicit Parser(const std::string &text) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            lines_.push_back(line);
        }
    }

    Header parse() {
        ++at_; // the licence
        head(comment());
        bool is_open = false; // a section of declarations
        while (at_ < lines_.size()) {
            if (!line().starts_with("/*")) {
                const std::vector<std::string> code = code_lines();
                if (is_open) {
                    add_item({}, code);
                }
                continue;
            }
            std::vector<std::string> text = comment();
            if (is_ruler(text.front())) {
                section(text);
                is_open = true;
                continue;
            }
            const std::vector<std::string> code = code_lines();
            const bool is_inline = !code.empty() && code.front().starts_with("static inline ");
            if (is_inline && !is_open) {
                header_.sections.push_back({"Functions", {}, {}});
                is_open = true;
            }
            if (is_open) {
                add_item(text, code);
            }
        }
        return std::move(header_);
    }

  private:
    const std::string &line() const { return lines_[at_]; }

    // Reads a comment that begins in this line.
    std::vector<std::string> comment() {
        std::vector<std::string> text;
        if (at_ >= lines_.size() || !line().starts_with("/*")) {
            throw std::runtime_error("a public header begins with its licence and a comment");
        }
        while (at_ < lines_.size()) {
            const bool is_last = line().find("*/") != std::string::npos;
            text.push_back(text_of_line(line()));
            ++at_;
            if (is_last) {
                break;
            }
        }
        while (!text.empty() && trimmed(text.front()).empty()) {
            text.erase(text.begin());
        }
        while (!text.empty() && trimmed(text.back()).empty()) {
            text.pop_back();
        }
        return text;
    }

    // Reads up to a blank line or the next comment.
    std::vector<std::string> code_lines() {
        std::vector<std::string> code;
        while (at_ < lines_.size() && trimmed(line()).empty()) {
            ++at_;
        }
        while (at_ < lines_.size() && !trimmed(line()).empty() && !line().starts_with("/*")) {
            code.push_back(lines_[at_++]);
        }
        return code;
    }

    // "hb_client.h - the summary", the text, then headings in capitals.
    void head(const std::vector<std::string> &text) {
        static const std::regex first(R"(([\w.]+) - (.*))");
        static const std::regex heading(R"(([A-Z][A-Z -]+[A-Z])(,.*)?)");
        std::smatch match;
        if (text.empty() || !std::regex_match(text.front(), match, first)) {
            throw std::runtime_error("the first comment of a public header begins with 'NAME - SUMMARY'");
        }
        header_.name = match[1];
        header_.summary = match[2];
        std::vector<std::string> *target = &header_.text;
        for (std::size_t i = 1; i < text.size(); ++i) {
            if (std::regex_match(text[i], match, heading)) {
                header_.sections.push_back({match[1], {}, {}});
                target = &header_.sections.back().comment;
                if (match[2].length() != 0) { // "ENVIRONMENT, read when ..."
                    std::string rest = match[2].str().substr(2) + ":";
                    rest.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(rest.front())));
                    target->push_back(rest);
                }
            } else {
                target->push_back(text[i]);
            }
        }
    }

    // A ruler, the title, perhaps text, a ruler. What follows the title's full stop belongs to the text.
    void section(const std::vector<std::string> &text) {
        std::vector<std::string> body(text.begin() + 1, text.end() - 1);
        Section &section = header_.sections.emplace_back();
        const std::size_t stop = body.front().find(". ");
        section.title = body.front().substr(0, stop);
        body.front() = stop == std::string::npos ? "" : trimmed(body.front().substr(stop + 1));
        section.comment = body;
    }

    void add_item(const std::vector<std::string> &text, const std::vector<std::string> &code) {
        static const std::regex other(R"(#(if|ifdef|ifndef|endif|else|include|undef)\b.*|extern "C" \{|\})");
        Item item{text, {}};
        std::string declaration;
        int depth = 0;
        bool is_in_comment = false;
        for (const std::string &line : code) {
            if (depth == 0 && declaration.empty() && std::regex_match(line, other)) {
                continue;
            }
            const bool is_macro = declaration.empty() && line.starts_with("#define");
            bool is_complete = is_macro;
            for (std::size_t i = 0; i < line.size(); ++i) {
                if (line.compare(i, 2, "/*") == 0) {
                    is_in_comment = true;
                } else if (line.compare(i, 2, "*/") == 0) {
                    is_in_comment = false;
                } else if (!is_in_comment) {
                    depth += line[i] == '{' ? 1 : line[i] == '}' ? -1 : 0;
                    is_complete |= depth == 0 && (line[i] == ';' || line[i] == '}');
                }
            }
            declaration += (declaration.empty() ? "" : "\n") + line;
            if (is_complete && depth == 0 && !is_in_comment) {
                item.declarations.push_back(declaration);
                declaration.clear();
            }
        }
        if (!item.declarations.empty()) {
            header_.sections.back().items.push_back(item);
        }
    }

    std::vector<std::string> lines_;
    std::size_t at_ = 0;
    Header header_;
};

// "static inline const char *hb_error_name(int number) {...}" has no type around it.
bool parse_function(const std::string &declaration, Function &function) {
    static const std::regex form(R"((?:HB_API |static inline )?([\w ]+?[ *]+)(\w+)\(([^()]*)\)\s*[;{][^]*)");
    static const std::regex blanks(R"(\s+)");
    const std::string code = trimmed(std::regex_replace(without_comments(declaration), blanks, " "));
    std::smatch match;
    if (code.starts_with("typedef ") || code.starts_with("#") || !std::regex_match(code, match, form)) {
        return false;
    }
    function.result = trimmed(match[1]);
    function.name = match[2];
    std::istringstream parameters(match[3]);
    for (std::string parameter; std::getline(parameters, parameter, ',');) {
        function.parameters.push_back(trimmed(parameter));
    }
    return true;
}

// ---- Comments ----

// Programs and documents are named in the same way as functions.
bool is_identifier(const std::string &word, char next) {
    static const std::regex form(R"(\*?(hb|hbc|HB|Hb|HA|MOX)_\w+|\*\w+)");
    return next != '.' && std::regex_match(word, form);
}

std::string with_marks(const std::string &text) {
    std::string result;
    bool is_code = false;
    for (std::size_t at = 0; at < text.size();) {
        const bool is_start = at == 0 || text[at - 1] == ' ' || text[at - 1] == '(';
        std::size_t end = at + (text[at] == '*' ? 1 : 0);
        while (end < text.size() && is_word(text[end])) {
            ++end;
        }
        const std::string word = text.substr(at, end - at);
        const bool is_name_of_file = text.compare(end, 2, ".h") == 0;
        if (!is_code && is_start && is_identifier(word, is_name_of_file ? '.' : ' ')) {
            result += "`" + word + (text.compare(end, 2, "()") == 0 ? "()`" : "`");
            at = end + (text.compare(end, 2, "()") == 0 ? 2 : 0);
            continue;
        }
        is_code ^= text[at] == '`';
        result += end > at + 1 ? word : text.substr(at, 1);
        at = end > at ? end : at + 1;
    }
    return result;
}

class Comment_Parser {
  public:
    std::vector<Block> parse(const std::vector<std::string> &lines) {
        for (const std::string &line : lines) {
            const std::size_t indent = line.find_first_not_of(' ');
            if (indent == std::string::npos) {
                blank();
            } else {
                add(line.substr(indent), indent);
            }
        }
        finish();
        return std::move(blocks_);
    }

  private:
    enum class State { none, text, item, code };

    void blank() {
        if (state_ == State::code) {
            blocks_.back().items.emplace_back();
        } else {
            state_ = State::none;
        }
    }

    void add(const std::string &text, std::size_t indent) {
        static const std::regex bullet(R"(- +(.*))");
        static const std::regex step(R"(\d+\. +(.*))");
        static const std::regex term(R"(((?:\S+ )?[^ .]+)  +(.*))");
        std::smatch match;
        if (state_ == State::item && indent > indent_) {
            *open_ += " " + text;
        } else if (indent >= CODE_INDENT && (state_ == State::none || state_ == State::code)) {
            code(text, indent);
        } else if (std::regex_match(text, match, bullet)) {
            item(Block::Kind::bullets, indent).emplace_back(match[1]);
            open_ = &blocks_.back().items.back();
        } else if (indent != 0 && std::regex_match(text, match, step)) {
            item(Block::Kind::steps, indent).emplace_back(match[1]);
            open_ = &blocks_.back().items.back();
        } else if (indent != 0 && std::regex_match(text, match, term)) {
            item(Block::Kind::table, indent);
            if (blocks_.back().rows.empty()) {
                blocks_.back().rows.push_back({"", ""});
            }
            blocks_.back().rows.push_back({match[1], match[2]});
            open_ = &blocks_.back().rows.back().back();
        } else if (state_ == State::text &&
                   !(text.starts_with("Error") && blocks_.back().text.ends_with("."))) {
            blocks_.back().text += " " + text;
        } else {
            block(Block::Kind::paragraph).text = text;
            state_ = State::text;
        }
    }

    void code(const std::string &text, std::size_t indent) {
        if (state_ != State::code) {
            block(Block::Kind::literal);
            state_ = State::code;
        }
        blocks_.back().items.push_back(std::string(indent - CODE_INDENT, ' ') + text);
    }

    std::vector<std::string> &item(Block::Kind kind, std::size_t indent) {
        if (blocks_.empty() || blocks_.back().kind != kind) {
            block(kind);
        }
        state_ = State::item;
        indent_ = indent;
        return blocks_.back().items;
    }

    Block &block(Block::Kind kind) {
        blocks_.emplace_back().kind = kind;
        return blocks_.back();
    }

    void finish() {
        for (Block &block : blocks_) {
            block.text = with_marks(block.text);
            if (block.kind == Block::Kind::literal) {
                while (block.items.back().empty()) {
                    block.items.pop_back();
                }
                continue;
            }
            for (std::string &text : block.items) {
                text = with_marks(text);
            }
            for (std::vector<std::string> &row : block.rows) {
                row.back() = with_marks(row.back());
            }
        }
    }

    static constexpr std::size_t CODE_INDENT = 4;

    std::vector<Block> blocks_;
    State state_ = State::none;
    std::size_t indent_ = 0;      // of the open item's first line
    std::string *open_ = nullptr; // the open item's text
};

} // namespace

std::vector<Function> Item::functions() const {
    std::vector<Function> found;
    for (const std::string &declaration : declarations) {
        Function function;
        if (parse_function(declaration, function)) {
            found.push_back(function);
        }
    }
    return found;
}

bool Item::is_only_functions() const {
    return functions().size() == declarations.size();
}

const Section &Header::section(const std::string &title) const {
    for (const Section &section : sections) {
        if (section.title == title) {
            return section;
        }
    }
    throw std::runtime_error(name + " has no section '" + title + "'");
}

std::vector<Function> Header::functions() const {
    std::vector<Function> all;
    for (const Section &section : sections) {
        for (const Item &item : section.items) {
            for (const Function &function : item.functions()) {
                all.push_back(function);
            }
        }
    }
    return all;
}

Header parse_header(const std::string &text) {
    return Parser(text).parse();
}

std::vector<Block> comment_blocks(const std::vector<std::string> &lines) {
    return Comment_Parser().parse(lines);
}

} // namespace manual
