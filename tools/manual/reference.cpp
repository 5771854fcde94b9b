// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/reference.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>
#include <stdexcept>

#include "tools/manual/mdoc.h"
#include "tools/manual/page.h"

namespace manual {
namespace {

std::vector<std::string> split(const std::string &text, const std::string &between) {
    std::vector<std::string> parts;
    std::size_t at = 0;
    for (std::size_t end = 0; end != std::string::npos; at = end + between.size()) {
        end = text.find(between, at);
        parts.push_back(text.substr(at, end - at));
    }
    return parts;
}

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text;
}

const Header &header_of(const Reference_Row &row, const std::vector<Header> &headers) {
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [&](const Header &header) { return header.name == row.header; });
    if (found == headers.end()) {
        throw std::runtime_error("no header " + row.header);
    }
    return *found;
}

std::vector<Section> sections_of(const Reference_Row &row, const Header &header) {
    std::vector<Section> sections;
    for (const std::string &title : row.sections) {
        sections.push_back(title.empty() ? Section{"", header.text, {}} : header.section(title));
    }
    return sections;
}

std::vector<Function> functions_of(const std::vector<Section> &sections) {
    std::vector<Function> all;
    for (const Section &section : sections) {
        for (const Item &item : section.items) {
            const std::vector<Function> some = item.functions();
            all.insert(all.end(), some.begin(), some.end());
        }
    }
    return all;
}

class Page {
  public:
    Page(const Reference_Row &row, const Header &header)
        : row_(row), sections_(sections_of(row, header)), functions_(functions_of(sections_)) {}

    std::string make(const std::string &date, const std::vector<std::string> &related) {
        out_.macro(".\\\" Made from " + row_.header + ". Do not edit.");
        out_.macro(".Dd " + page_date(date));
        out_.macro(".Dt " + upper_case(row_.page) + " 3");
        out_.macro(".Os");
        names();
        synopsis();
        out_.macro(".Sh DESCRIPTION");
        for (const Section &section : sections_) {
            describe(section);
        }
        if (!functions_.empty()) {
            results();
        }
        out_.macro(".Sh SEE ALSO");
        for (const std::string &page : related) {
            out_.macro(".Xr " + page + " 3 ,");
        }
        out_.macro(".Xr hb_client 7");
        return out_.text();
    }

  private:
    void names() {
        out_.macro(".Sh NAME");
        std::vector<std::string> all{row_.page};
        for (const Function &function : functions_) {
            if (function.name != row_.page) {
                all.push_back(function.name);
            }
        }
        for (const std::string &name : all) {
            out_.macro(".Nm " + name + (name == all.back() ? "" : " ,"));
        }
        out_.heading(".Nd", row_.what);
    }

    void synopsis() {
        out_.macro(".Sh SYNOPSIS");
        out_.macro(".In " + row_.header);
        for (const Function &function : functions_) {
            out_.macro(".Ft " + macro_word(function.result));
            out_.macro(".Fo " + function.name);
            for (const std::string &parameter : function.parameters) {
                out_.macro(".Fa " + macro_word(parameter));
            }
            out_.macro(".Fc");
        }
    }

    void describe(const Section &section) {
        if (!section.title.empty() && sections_.size() > 1) {
            out_.heading(".Ss", section.title);
        }
        const std::vector<Block> text = comment_blocks(section.comment);
        out_.blocks(text);
        for (const Item &item : section.items) {
            if (item.functions().empty()) {
                record(item);
            } else {
                calls(item);
            }
        }
    }

    void calls(const Item &item) {
        out_.macro(".Bl -tag -width Ds");
        for (const Function &function : item.functions()) {
            out_.macro(".It Fn " + function.name);
        }
        text_of(item);
        for (const std::string &declaration : item.declarations) {
            const bool is_constant = declaration.starts_with("enum") || declaration.starts_with("typedef");
            if (is_constant) {
                out_.literal(split(declaration, "\n"));
            }
        }
        out_.macro(".El");
    }

    // The comment of a first block needs no paragraph behind its tag.
    void text_of(const Item &item) {
        std::vector<Block> blocks = comment_blocks(item.comment);
        if (!blocks.empty() && blocks.front().kind == Block::Kind::paragraph) {
            out_.sentences(blocks.front().text);
            blocks.erase(blocks.begin());
        }
        out_.blocks(blocks);
    }

    void record(const Item &item) {
        out_.blocks(comment_blocks(item.comment));
        std::vector<std::string> lines;
        for (const std::string &declaration : item.declarations) {
            for (const std::string &line : split(declaration, "\n")) {
                lines.push_back(line);
            }
        }
        out_.literal(lines);
    }

    void results() {
        const bool has_numbers =
            std::any_of(functions_.begin(), functions_.end(), [](const Function &function) {
                return function.result == "Hb_Rc" || function.result == "Hb_Boolean";
            });
        if (!has_numbers) {
            return;
        }
        out_.macro(".Sh RETURN VALUES");
        out_.sentences(
            "A function of the type `Hb_Rc` returns `Hb_Success` (2) or `Hb_Failure` (3). After a failure "
            "`hb_get_errno` returns an error number.");
        out_.macro(".Xr hb_errors 3");
        out_.sentences("explains each number.");
    }

    const Reference_Row &row_;
    std::vector<Section> sections_;
    std::vector<Function> functions_;
    Mdoc out_;
};

// The other pages of the header.
std::vector<std::string> related_pages(const Reference_Row &row, const std::vector<Reference_Row> &rows) {
    std::vector<std::string> pages;
    for (const Reference_Row &other : rows) {
        if (other.page != row.page) {
            pages.push_back(other.page);
        }
    }
    std::sort(pages.begin(), pages.end());
    return pages;
}

// What no page describes.
void check_complete(const std::vector<Reference_Row> &rows, const std::vector<Header> &headers) {
    for (const Header &header : headers) {
        for (const Section &section : header.sections) {
            const bool is_described = std::any_of(rows.begin(), rows.end(), [&](const Reference_Row &row) {
                return row.header == header.name &&
                       std::find(row.sections.begin(), row.sections.end(), section.title) != row.sections.end();
            });
            if (!is_described) {
                throw std::runtime_error("no page describes '" + section.title + "' of " + header.name);
            }
        }
        for (const Section &section : header.sections) {
            for (const Item &item : section.items) {
                const std::vector<Function> functions = item.functions();
                if (item.comment.empty() && !functions.empty()) {
                    throw std::runtime_error(functions.front().name + " has no comment");
                }
            }
        }
    }
}

} // namespace

std::vector<Reference_Row> parse_reference_list(const std::string &text) {
    std::vector<Reference_Row> rows;
    for (const std::string &line : split(text, "\n")) {
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        const std::vector<std::string> cells = split(line, " | ");
        if (cells.size() != 4) {
            throw std::runtime_error("expected 'NAME | HEADER | SECTION; SECTION | WHAT', not '" + line + "'");
        }
        Reference_Row row{cells[0], cells[1], split(cells[2], "; "), cells[3]};
        for (std::string &section : row.sections) {
            section = section == "*" ? "" : section;
        }
        rows.push_back(row);
    }
    return rows;
}

std::map<std::string, std::string> reference_pages(const std::vector<Reference_Row> &rows,
                                                   const std::vector<Header> &headers,
                                                   const std::string &date) {
    check_complete(rows, headers);
    std::map<std::string, std::string> pages;
    for (const Reference_Row &row : rows) {
        const Header &header = header_of(row, headers);
        pages[row.page + ".3"] = Page(row, header).make(date, related_pages(row, rows));
    }
    for (const Reference_Row &row : rows) {
        for (const Function &function : functions_of(sections_of(row, header_of(row, headers)))) {
            const std::string including = ".so man3/" + row.page + ".3\n";
            const bool is_new = pages.emplace(function.name + ".3", including).second;
            if (!is_new && function.name != row.page) {
                throw std::runtime_error("two pages describe " + function.name);
            }
        }
    }
    return pages;
}

} // namespace manual
