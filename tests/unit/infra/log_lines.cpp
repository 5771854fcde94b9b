// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/infra/log_lines.h"

#include <regex>

#include "tests/unit/infra/source_tree.h"

namespace {

// The end of the literal that begins at `quote`: the position after its closing quote.
std::size_t end_of_literal(const std::string &text, std::size_t quote) {
    std::size_t at = quote + 1;
    while (at < text.size() && text[at] != '"') {
        at += text[at] == '\\' ? 2 : 1;
    }
    return at + 1;
}

std::string unescaped(const std::string &literal) {
    std::string text;
    for (std::size_t at = 0; at < literal.size(); ++at) {
        at += literal[at] == '\\' && at + 1 < literal.size() ? 1 : 0;
        text += literal[at];
    }
    return text;
}

// Omits parts that contain only punctuation, since they do not identify the line.
Line_Parts without_marks(const Line_Parts &parts) {
    const char *const marks = " :;,.()\"";
    Line_Parts kept;
    for (const std::string &part : parts) {
        const std::size_t first = part.find_first_not_of(marks);
        if (first != std::string::npos) {
            kept.push_back(part.substr(first, part.find_last_not_of(marks) + 1 - first));
        }
    }
    return kept;
}

// A literal that follows another one, with only space between, continues it.
class Collector {
  public:
    void literal(const std::string &text) {
        if (continues_) {
            parts_.back() += text;
        } else {
            parts_.push_back(text);
        }
        continues_ = true;
    }
    void other(char letter) {
        continues_ = continues_ && std::isspace(static_cast<unsigned char>(letter)) != 0;
    }
    const Line_Parts &parts() const { return parts_; }

  private:
    Line_Parts parts_;
    bool continues_ = false;
};

// The text after the opening parenthesis, up to the closing one or to a choice between words.
Line_Parts parts_of_call(const std::string &source, std::size_t at) {
    Collector collector;
    for (int depth = 1; at < source.size() && depth > 0 && source[at] != '?';) {
        if (source[at] == '"') {
            const std::size_t end = end_of_literal(source, at);
            collector.literal(unescaped(source.substr(at + 1, end - at - 2)));
            at = end;
            continue;
        }
        depth += source[at] == '(' ? 1 : source[at] == ')' ? -1 : 0;
        collector.other(source[at]);
        ++at;
    }
    return collector.parts();
}

std::string part_with_heading(const std::string &document, const std::string &heading) {
    const std::size_t start = document.find("\n" + heading + "\n");
    if (start == std::string::npos) {
        return {};
    }
    const std::string level = heading.substr(0, heading.find(' ') + 1);
    return document.substr(start, document.find("\n" + level, start + 1) - start);
}

} // namespace

std::vector<Line_Parts> logged_lines(const std::string &source) {
    std::vector<Line_Parts> lines;
    const std::string code = without_comments(source);
    for (const std::string call : {"log_info(", "log_warning(", "log_error("}) {
        for (std::size_t at = code.find(call); at != std::string::npos; at = code.find(call, at + 1)) {
            Line_Parts parts = without_marks(parts_of_call(code, at + call.size()));
            if (!parts.empty()) {
                lines.push_back(std::move(parts));
            }
        }
    }
    return lines;
}

std::string literals_of(const std::string &source) {
    const std::string code = without_comments(source);
    Collector collector;
    for (std::size_t at = 0; at < code.size();) {
        if (code[at] == '"') {
            const std::size_t end = end_of_literal(code, at);
            collector.literal(unescaped(code.substr(at + 1, end - at - 2)));
            at = end;
        } else {
            collector.other(code[at]);
            ++at;
        }
    }
    std::string all;
    for (const std::string &literal : collector.parts()) {
        all += literal + "\n";
    }
    return all;
}

std::vector<std::string> quoted_lines(const std::string &document, const std::string &heading) {
    static const std::regex row(R"(\|([^|]*)\|.*\|)");
    static const std::regex quoted("`([^`]+)`");
    std::vector<std::string> lines;
    for (const std::string &line : lines_of(part_with_heading(document, heading))) {
        std::smatch cells;
        if (std::regex_match(line, cells, row)) {
            const std::string first = cells[1];
            for (std::sregex_iterator match(first.begin(), first.end(), quoted), end; match != end; ++match) {
                lines.push_back((*match)[1]);
            }
        }
    }
    return lines;
}

Line_Parts parts_of_quoted(const std::string &quoted) {
    static const std::regex placeholder(R"(\b[A-Z]+\b|\.\.\.)");
    Line_Parts parts;
    for (std::sregex_token_iterator part(quoted.begin(), quoted.end(), placeholder, -1), end; part != end;
         ++part) {
        parts.push_back(*part);
    }
    return without_marks(parts);
}

bool quotes(const std::string &quoted, const Line_Parts &parts) {
    std::size_t at = 0;
    for (const std::string &part : parts) {
        at = quoted.find(part, at);
        if (at == std::string::npos) {
            return false;
        }
        at += part.size();
    }
    return true;
}
