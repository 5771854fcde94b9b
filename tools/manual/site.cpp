// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/site.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <sstream>

#include "tools/manual/markdown.h"

namespace manual {
namespace {

std::string replace_all(const std::string &text, const std::string &what, const std::string &with) {
    std::string result;
    std::size_t at = 0;
    for (std::size_t found = 0; (found = text.find(what, at)) != std::string::npos; at = found + what.size()) {
        result += text.substr(at, found - at) + with;
    }
    return result + text.substr(at);
}

// What Doxygen reads as a command, a tag or a link.
std::string escaped(const std::string &text) {
    std::string result;
    for (const char byte : text) {
        if (std::string("\\@&$#<>%\"").find(byte) != std::string::npos) {
            result += '\\';
        }
        result += byte;
    }
    return result;
}

std::string identifier(const std::string &text) {
    std::string result;
    for (const char byte : text) {
        const bool is_word = std::isalnum(static_cast<unsigned char>(byte)) != 0;
        result += is_word ? static_cast<char>(std::tolower(static_cast<unsigned char>(byte))) : '_';
    }
    return result;
}

// Text with Markdown's marks within a paragraph, and blocks, in Doxygen's language.
class Writer {
  public:
    Writer(const std::set<std::string> &functions, const std::set<std::string> &pages)
        : functions_(functions), pages_(pages) {}

    std::string inline_text(const std::string &text) const {
        static const std::regex mark(R"(`([^`]*)`|\*\*([^*]+)\*\*|\[([^\]]*)\]\(([^)]*)\))");
        std::string result;
        std::size_t at = 0;
        for (std::sregex_iterator match(text.begin(), text.end(), mark), end; match != end; ++match) {
            result += escaped(text.substr(at, static_cast<std::size_t>(match->position()) - at));
            if ((*match)[1].matched) {
                result += code((*match)[1]);
            } else if ((*match)[2].matched) {
                result += "<b>" + inline_text((*match)[2]) + "</b>";
            } else {
                result += link((*match)[3], (*match)[4]);
            }
            at = static_cast<std::size_t>(match->position() + match->length());
        }
        return result + escaped(text.substr(at));
    }

    std::string blocks(const std::vector<Block> &blocks) const {
        std::string text;
        for (const Block &block : blocks) {
            text += this->block(block) + "\n\n";
        }
        return text;
    }

  private:
    std::string code(std::string word) const {
        const bool has_brackets = word.ends_with("()");
        word = has_brackets ? word.substr(0, word.size() - 2) : word;
        if (functions_.count(word) != 0) {
            return word + "()"; // Doxygen makes a link of it
        }
        return "<tt>" + escaped(word) + (has_brackets ? "()</tt>" : "</tt>");
    }

    std::string link(const std::string &shown, const std::string &target) const {
        const std::string file = target.substr(target.rfind('/', target.find('#')) + 1);
        const std::string name = file.substr(0, file.find('#'));
        if (target.starts_with("https://")) {
            return "<a href=\"" + target + "\">" + inline_text(shown) + "</a>";
        }
        if (name == FRONT_PAGE) {
            return "@ref index \"" + plain_text(shown) + "\"";
        }
        if (pages_.count(name) != 0) {
            return "@ref page_" + identifier(name) + " \"" + plain_text(shown) + "\"";
        }
        return inline_text(shown);
    }

    std::string block(const Block &block) const {
        switch (block.kind) {
        case Block::Kind::heading:
            return "<h" + std::to_string(block.level) + ">" + inline_text(block.text) + "</h" +
                   std::to_string(block.level) + ">";
        case Block::Kind::paragraph:
            return inline_text(block.text);
        case Block::Kind::bullets:
            return list("ul", block.items);
        case Block::Kind::steps:
            return list("ol", block.items);
        case Block::Kind::table:
            return table(block.rows);
        case Block::Kind::literal:
            return literal(block.items);
        }
        return "";
    }

    std::string list(const std::string &tag, const std::vector<std::string> &items) const {
        std::string text = "<" + tag + ">\n";
        for (const std::string &item : items) {
            text += "<li>" + inline_text(item) + "</li>\n";
        }
        return text + "</" + tag + ">";
    }

    std::string table(const std::vector<std::vector<std::string>> &rows) const {
        std::string text = "<table>\n";
        for (const std::vector<std::string> &row : rows) {
            const bool is_head = &row == &rows.front();
            const bool is_empty =
                std::all_of(row.begin(), row.end(), [](const std::string &cell) { return cell.empty(); });
            if (is_empty) {
                continue;
            }
            text += "<tr>";
            for (const std::string &cell : row) {
                const std::string tag = is_head ? "th" : "td";
                text += "<" + tag + ">" + inline_text(cell) + "</" + tag + ">";
            }
            text += "</tr>\n";
        }
        return text + "</table>";
    }

    static std::string literal(const std::vector<std::string> &lines) {
        const bool is_c = std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
            return line.ends_with(";") || line.starts_with("#include");
        });
        std::string text = is_c ? "@code{.c}\n" : "@code{.unparsed}\n";
        for (const std::string &line : lines) {
            text += line + "\n";
        }
        return text + "@endcode";
    }

    const std::set<std::string> &functions_;
    const std::set<std::string> &pages_;
};

// Line comments may contain the end of another comment.
std::string as_comment(const std::string &text) {
    std::istringstream stream(text);
    std::string comment;
    for (std::string line; std::getline(stream, line);) {
        comment += "//! " + line + "\n";
    }
    return comment;
}

// Comments behind a member or an enumerator, and on lines of their own.
std::string with_member_comments(const std::string &declaration) {
    static const std::regex comment(R"(/\*([^]*?)\*/)");
    std::string result;
    std::size_t at = 0;
    for (std::sregex_iterator match(declaration.begin(), declaration.end(), comment), end; match != end;
         ++match) {
        const auto position = static_cast<std::size_t>(match->position());
        const std::string before = declaration.substr(at, position - at);
        const std::size_t newline = before.rfind('\n');
        const bool is_alone =
            newline != std::string::npos && before.find_first_not_of(" \n", newline) == std::string::npos;
        static const std::regex lines("\n *\\*? *");
        const std::string text = std::regex_replace((*match)[1].str(), lines, " ");
        result += before + (is_alone ? "/**" : "/**<") + escaped(text) + "*/";
        at = position + static_cast<std::size_t>(match->length());
    }
    return result + declaration.substr(at);
}

std::string declarations_of(const Item &item, const Writer &writer) {
    const std::string comment = writer.blocks(comment_blocks(item.comment));
    std::string text;
    for (const std::string &declaration : item.declarations) {
        const bool is_inline = declaration.starts_with("static inline ");
        const std::string code =
            is_inline ? declaration.substr(0, declaration.find(" {")) + ";" : with_member_comments(declaration);
        text += as_comment(comment) + replace_all(code, "HB_API ", "") + "\n\n";
    }
    return text;
}

class Cpp_Header {
  public:
    Cpp_Header(const std::string &text, const std::set<std::string> &functions)
        : writer_(functions, no_pages_) {
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            lines_.push_back(line);
        }
    }

    std::string convert() {
        static const std::regex first(R"(// ([\w/.]+) - (.*))");
        static const std::regex alone(R"( *//( .*)?)");
        static const std::regex behind(R"((.*[;,{)] +)// (.*))");
        std::smatch match;
        for (at_ = 0; at_ < lines_.size(); ++at_) {
            if (lines_[at_].starts_with("// SPDX")) {
                continue;
            }
            if (std::regex_match(lines_[at_], match, first)) {
                // The text below belongs to the file, too.
                const std::vector<std::string> text = lines_of_comment(at_ + 1);
                result_ += as_comment("@file " + match[1].str() + "\n@brief " + escaped(match[2]) + "\n\n" +
                                      writer_.blocks(comment_blocks(text))) +
                           "\n";
                at_ += text.size();
            } else if (std::regex_match(lines_[at_], alone)) {
                comment();
            } else if (std::regex_match(lines_[at_], match, behind)) {
                const std::string code = match[1];
                const std::vector<std::string> more = lines_of_comment(at_ + 1);
                result_ += code + "//!< " + escaped(match[2]) + "\n";
                for (const std::string &line : more) {
                    result_ += "//!< " + escaped(line) + "\n";
                }
                at_ += more.size();
            } else {
                result_ += lines_[at_] + "\n";
            }
        }
        return std::move(result_);
    }

  private:
    // The text of the comment lines that begin there.
    std::vector<std::string> lines_of_comment(std::size_t at) const {
        static const std::regex form(R"( *// ?(.*))");
        std::vector<std::string> text;
        std::smatch match;
        for (; at < lines_.size() && std::regex_match(lines_[at], match, form); ++at) {
            text.push_back(match[1]);
        }
        return text;
    }

    // One that no declaration follows describes nothing by itself, like a divider.
    void comment() {
        const std::vector<std::string> text = lines_of_comment(at_);
        const std::size_t next = at_ + text.size();
        const bool is_described = next < lines_.size() &&
                                  lines_[next].find_first_not_of(' ') != std::string::npos &&
                                  !lines_[next].starts_with("#");
        if (is_described) {
            result_ += as_comment(writer_.blocks(comment_blocks(text)));
        }
        at_ = next - 1;
    }

    const std::set<std::string> no_pages_;
    Writer writer_;
    std::vector<std::string> lines_;
    std::size_t at_ = 0;
    std::string result_;
};

// A picture needs a line of its own.
std::string with_pictures(const std::string &markdown, const Writer &writer) {
    static const std::regex picture(R"(!\[([^\]]*)\]\(([^)]*)\))");
    std::istringstream stream(markdown);
    std::string result;
    std::string part;
    const auto flush = [&] {
        result += writer.blocks(parse_markdown(part));
        part.clear();
    };
    for (std::string line; std::getline(stream, line);) {
        std::smatch match;
        if (std::regex_match(line, match, picture)) {
            flush();
            const std::string path = match[2];
            result += "@image html " + path.substr(path.rfind('/') + 1) + "\n\n";
        } else {
            part += line + "\n";
        }
    }
    flush();
    return result;
}

} // namespace

std::string site_of_header(const Header &header, const std::set<std::string> &functions) {
    static const std::set<std::string> no_pages;
    const Writer writer(functions, no_pages);
    std::string head = "@file " + header.name + "\n@brief " + escaped(header.summary) + "\n\n" +
                       writer.blocks(comment_blocks(header.text));
    std::string body;
    for (const Section &section : header.sections) {
        const std::string text = writer.blocks(comment_blocks(section.comment));
        if (section.items.empty()) {
            head += "<h2>" + escaped(section.title) + "</h2>\n\n" + text;
            continue;
        }
        const std::string group = identifier(header.name + "_" + section.title);
        const std::string details = text.empty() ? "Declared in " + header.name + ".\n" : text;
        const std::string title = header.name + ": " + section.title;
        body += as_comment("@defgroup " + group + " " + title + "\n@details\n" + details + "@{") + "\n";
        for (const Item &item : section.items) {
            body += declarations_of(item, writer);
        }
        body += "//! @}\n\n";
    }
    return as_comment(head) + "\n" + body;
}

std::string site_of_cpp_header(const std::string &text, const std::set<std::string> &functions) {
    return Cpp_Header(text, functions).convert();
}

std::string site_of_document(const std::string &text, const std::string &name,
                             const std::set<std::string> &pages, const std::set<std::string> &functions) {
    const Writer writer(functions, pages);
    const std::size_t end = text.find('\n');
    const std::string title = text.substr(2, end - 2); // "# Title"
    const std::string command = name == FRONT_PAGE ? "@mainpage " : "@page page_" + identifier(name) + " ";
    return as_comment(command + escaped(title) + "\n@details\n" + with_pictures(text.substr(end), writer));
}

} // namespace manual
