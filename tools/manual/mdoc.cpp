// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/mdoc.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <regex>
#include <sstream>

namespace manual {
namespace {

constexpr std::size_t LONGEST_LINE = 76;

// A page that has what a document's section has.
struct Page_Of {
    const char *link; // the beginning of a link's target
    const char *page;
};

constexpr std::array PAGES_OF_DOCUMENTS{
    Page_Of{"hbctl.md", "hbctl(1)"},
    Page_Of{"wispd.md#wispctl", "wispctl(8)"},
    Page_Of{"wispd.md#cluster", "wispd.toml(5)"},
    Page_Of{"wispd.md#daemon", "wispd.toml(5)"},
    Page_Of{"wispd.md#suspicion", "wispd.toml(5)"},
    Page_Of{"wispd.md#the-cluster-of-an-engine", "wispd.toml(5)"},
    Page_Of{"wispd.md", "wispd(8)"},
    Page_Of{"programming.md", "hb_client(7)"},
    Page_Of{"monitoring.md", "hb_exporter(8)"},
};

std::string page_of(const std::string &target) {
    for (const Page_Of &row : PAGES_OF_DOCUMENTS) {
        if (target.starts_with(row.link)) {
            return row.page;
        }
    }
    return "";
}

// A link that shows a document's name refers to the page with the same contents.
std::string resolve_links(const std::string &text) {
    static const std::regex link(R"(\[([^\]]*)\]\(([^)]*)\))");
    std::string result;
    std::size_t at = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), link), end; match != end; ++match) {
        const std::string shown = (*match)[1];
        const std::string page = page_of((*match)[2]);
        result += text.substr(at, static_cast<std::size_t>(match->position()) - at);
        result += shown.ends_with(".md") && !page.empty() ? page : shown;
        at = static_cast<std::size_t>(match->position() + match->length());
    }
    return result + text.substr(at);
}

unsigned long code_point(const std::string &text, std::size_t &at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    unsigned long code = lead & (0x3FU >> more);
    for (int i = 0; i < more && at + 1 < text.size(); ++i) {
        code = code << 6 | (static_cast<unsigned char>(text[++at]) & 0x3FU);
    }
    return code;
}

std::string escaped(const std::string &text, bool is_code) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (byte == '\\') {
            result += "\\e";
        } else if (byte == '-' && is_code) {
            result += "\\-";
        } else if ((static_cast<unsigned char>(byte) & 0x80U) != 0) {
            std::array<char, 16> name{};
            std::snprintf(name.data(), name.size(), "\\[u%04lX]", code_point(text, at));
            result += name.data();
        } else {
            result += byte;
        }
    }
    return result;
}

// Code and strong text become bold.
std::string with_fonts(const std::string &text) {
    std::string result;
    bool is_code = false;
    bool is_bold = false;
    std::string piece;
    const auto flush = [&] {
        result += escaped(piece, is_code);
        piece.clear();
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '`') {
            flush();
            is_code = !is_code;
            result += is_code ? "\\fB" : is_bold ? "" : "\\fR";
        } else if (!is_code && text.compare(at, 2, "**") == 0) {
            flush();
            is_bold = !is_bold;
            result += is_bold ? "\\fB" : "\\fR";
            ++at;
        } else {
            piece += text[at];
        }
    }
    flush();
    return result;
}

// The end of a sentence, perhaps before a closing bracket or a change of font.
bool ends_sentence(const std::string &word) {
    static const std::regex form(R"([^]*[.!?](\)|\\fR)*)");
    static const std::regex abbreviation(R"([^]*\b(e\.g|i\.e|etc)\.)");
    return std::regex_match(word, form) && !std::regex_match(word, abbreviation);
}

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text;
}

// "Type: integer. Default: 1." from the cells between the first and the last one.
std::string middle_cells(const std::vector<std::string> &head, const std::vector<std::string> &row) {
    std::string text;
    for (std::size_t i = 1; i + 1 < row.size() && i < head.size(); ++i) {
        if (!row[i].empty()) {
            std::string name = head[i];
            name.front() = upper_case(name.substr(0, 1)).front();
            text += name + ": " + row[i] + ". ";
        }
    }
    return text;
}

// Names of programs keep their spelling.
bool begins_with_word(const std::string &text) {
    static const std::regex form("(?!hbctl|hb_|wisp)[a-z]+[ ,;:.][^]*");
    return std::regex_match(text, form);
}

std::string as_sentence(std::string text) {
    if (begins_with_word(text)) {
        text.front() = upper_case(text.substr(0, 1)).front();
    }
    if (!text.empty() && !ends_sentence(text) && !text.ends_with(":")) {
        text += ".";
    }
    return text;
}

} // namespace

std::string macro_word(const std::string &word) {
    const std::string safe = escaped(word, true);
    return safe.find(' ') == std::string::npos ? safe : "\"" + safe + "\"";
}

void Mdoc::macro(const std::string &line) {
    text_ += line + "\n";
    is_behind_heading_ = line.starts_with(".Sh") || line.starts_with(".Ss");
}

void Mdoc::heading(const std::string &macro, const std::string &words) {
    static const std::regex quote("\"");
    std::istringstream stream(std::regex_replace(with_fonts(resolve_links(words)), quote, "\\(dq"));
    std::string line = macro;
    for (std::string word; stream >> word;) {
        // A capital and a small letter can be the name of a macro.
        static const std::regex macro_name("[A-Z][a-z][a-z]?");
        const bool is_like_macro = std::regex_match(word, macro_name);
        line += (is_like_macro ? " \\&" : " ") + word;
    }
    // A bracket at the end would be read as punctuation behind the macro.
    this->macro(line + (line.ends_with(']') ? "\\&" : ""));
}

void Mdoc::paragraph() {
    if (!is_behind_heading_) {
        macro(".Pp");
    }
}

void Mdoc::sentences(const std::string &markdown) {
    std::istringstream stream(with_fonts(resolve_links(markdown)));
    std::string line;
    const auto flush = [&] {
        if (!line.empty()) {
            macro((line.front() == '.' || line.front() == '\'' ? "\\&" : "") + line);
            line.clear();
        }
    };
    for (std::string word; stream >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > LONGEST_LINE) {
            flush();
        }
        line += (line.empty() ? "" : " ") + word;
        if (ends_sentence(word)) {
            flush();
        }
    }
    flush();
}

void Mdoc::literal(const std::vector<std::string> &lines) {
    macro(".Bd -literal -offset indent");
    for (const std::string &line : lines) {
        const std::string safe = escaped(line, true);
        text_ += (safe.starts_with('.') || safe.starts_with('\'') ? "\\&" : "") + safe + "\n";
    }
    macro(".Ed");
}

// A row is an item of a list: a page has no room for columns of sentences.
void Mdoc::table(const Block &block) {
    macro(".Bl -tag -width Ds");
    for (std::size_t i = 1; i < block.rows.size(); ++i) {
        const std::vector<std::string> &row = block.rows[i];
        if (row.empty()) {
            continue;
        }
        heading(".It", row.front().empty() ? "-" : row.front());
        sentences(middle_cells(block.rows.front(), row) + (row.size() > 1 ? as_sentence(row.back()) : ""));
    }
    macro(".El");
}

void Mdoc::list(const Block &block) {
    macro(block.kind == Block::Kind::steps ? ".Bl -enum" : ".Bl -bullet");
    for (const std::string &item : block.items) {
        macro(".It");
        sentences(item);
    }
    macro(".El");
}

void Mdoc::blocks(const std::vector<Block> &blocks) {
    for (const Block &block : blocks) {
        switch (block.kind) {
        case Block::Kind::heading:
            heading(block.level == 1 ? ".Sh" : ".Ss", plain_text(block.text));
            break;
        case Block::Kind::paragraph:
            paragraph();
            sentences(block.text);
            break;
        case Block::Kind::bullets:
        case Block::Kind::steps:
            list(block);
            break;
        case Block::Kind::table:
            table(block);
            break;
        case Block::Kind::literal:
            literal(block.items);
            break;
        }
    }
}

} // namespace manual
