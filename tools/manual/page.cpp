// SPDX-License-Identifier: Apache-2.0
#include "tools/manual/page.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "tools/manual/files.h"
#include "tools/manual/markdown.h"
#include "tools/manual/mdoc.h"

namespace manual {
namespace {

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::toupper(byte)); });
    return text;
}

// The types that the parser gives to a value without a name of its own.
bool is_unnamed(const std::string &type) {
    return type == "INT" || type == "UINT" || type == "FLOAT" || type == "TEXT" || type.empty();
}

std::string value_name(const Option &option) {
    if (!is_unnamed(option.type)) {
        return option.type;
    }
    return upper_case(option.is_operand() ? option.operand : option.long_name().substr(2));
}

std::string sentence(std::string text) {
    if (!text.empty()) {
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        text += text.ends_with('.') ? "" : ".";
    }
    return text;
}

// Marks what a person types: options and variables.
std::string help_text(const std::string &help) {
    static const std::regex typed(R"((^|[ (])(--?[a-z][\w-]*|HB_\w+|HA_\w+)(?![\w-]))");
    return sentence(std::regex_replace(help, typed, "$1`$2`"));
}

std::string one_of(const std::vector<std::string> &words) {
    std::string text = "One of ";
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool is_last = i + 1 == words.size();
        text += (i == 0 ? "" : is_last ? " and " : ", ") + ("`" + words[i] + "`");
    }
    return text + ".";
}

std::vector<std::string> lines_of(const std::string &text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class Page {
  public:
    explicit Page(const Page_Sources &sources) : sources_(sources) {}

    std::string make() {
        std::istringstream stream(sources_.template_text);
        std::string markdown;
        for (std::string line; std::getline(stream, line);) {
            if (line.starts_with('@')) {
                flush(markdown);
                follow(line);
            } else {
                markdown += line + "\n";
            }
        }
        flush(markdown);
        return out_.text();
    }

  private:
    void flush(std::string &markdown) {
        out_.blocks(parse_markdown(markdown));
        markdown.clear();
    }

    void follow(const std::string &line) {
        const std::size_t blank = line.find(' ');
        const std::string name = line.substr(0, blank);
        const std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
        if (name == "@page") {
            head(rest);
        } else if (name == "@synopsis") {
            synopsis();
        } else if (name == "@options") {
            options(program().options());
        } else if (name == "@commands") {
            commands();
        } else if (name == "@include") {
            out_.blocks(section(rest));
        } else if (name == "@file") {
            out_.literal(lines_of(read_file(sources_.documents + "/../" + rest)));
        } else if (name == "@see") {
            see(rest);
        } else {
            throw std::runtime_error("unknown line: " + line);
        }
    }

    const Command &program() const {
        if (!sources_.program) {
            throw std::runtime_error("this page has no program");
        }
        return *sources_.program;
    }

    // "wispd.md: Sockets and files"
    std::vector<Block> section(const std::string &place) const {
        const std::size_t colon = place.find(": ");
        if (colon == std::string::npos) {
            throw std::runtime_error("expected 'DOCUMENT: HEADING', not '" + place + "'");
        }
        const std::string document = read_file(sources_.documents + "/" + place.substr(0, colon));
        return section_of(parse_markdown(document), place.substr(colon + 2));
    }

    void head(const std::string &words) {
        std::istringstream stream(words);
        std::string number;
        stream >> name_ >> number;
        std::string what;
        std::getline(stream >> std::ws, what);
        out_.macro(
            ".\\\" Made from packaging/man, the documents and the options of the programs. Do not edit.");
        out_.macro(".Dd " + page_date(sources_.date));
        out_.macro(".Dt " + upper_case(name_) + " " + number);
        out_.macro(".Os");
        out_.macro(".Sh NAME");
        out_.macro(".Nm " + name_);
        out_.heading(".Nd", what);
    }

    void synopsis() {
        out_.macro(".Nm " + name_);
        for (const Option &option : program().options()) {
            if (option.long_name() != "--help" && option.long_name() != "--version") {
                out_.macro((option.required ? "." : ".Op ") + words_of(option));
            }
        }
        if (!program().commands.empty()) {
            out_.macro(".Ar COMMAND");
            out_.macro(".Op Ar ...");
        }
        out_.macro(".Nm " + name_);
        out_.macro(".Fl -help | -version");
    }

    // "Fl -count Ar N", "Ar N"
    static std::string words_of(const Option &option) {
        std::string words;
        for (const std::string &name : option.names) {
            words += (words.empty() ? "Fl " : " , Fl ") + macro_word(name.substr(1));
        }
        if (!option.is_flag() || option.is_operand()) {
            words += (words.empty() ? "Ar " : " Ar ") + macro_word(value_name(option));
        }
        return words;
    }

    void options(const std::vector<Option> &all) {
        if (all.empty()) {
            return;
        }
        out_.macro(".Bl -tag -width Ds");
        for (const Option &option : all) {
            out_.macro(".It " + words_of(option));
            out_.sentences(option.words.empty() || !option.is_operand() ? help_text(option.help)
                                                                        : one_of(option.words));
        }
        out_.macro(".El");
    }

    void commands() {
        std::string group;
        for (const Command &command : program().commands) {
            if (command.group != group) {
                if (!group.empty()) {
                    out_.macro(".El");
                    out_.heading(".Ss", command.group);
                }
                out_.macro(".Bl -tag -width Ds");
                group = command.group;
            }
            entry(command);
        }
        out_.macro(".El");
    }

    void entry(const Command &command) {
        std::string line = ".It Cm " + macro_word(command.name);
        for (const Option &operand : command.operands()) {
            line += operand.required ? " " + words_of(operand) : " Oo " + words_of(operand) + " Oc";
        }
        std::vector<Option> own = command.options();
        std::erase_if(own, [](const Option &option) { return option.long_name() == "--help"; });
        out_.macro(line + (own.empty() ? "" : " Op Ar options"));
        out_.sentences(help_text(command.help));
        for (const Option_Group &option_group : command.option_groups) {
            std::vector<Option> shown = option_group.options;
            std::erase_if(shown, [](const Option &option) {
                return !option.is_operand() && option.long_name() == "--help";
            });
            if (!option_group.title.empty() && !shown.empty()) {
                out_.paragraph();
                out_.sentences(option_group.title + ":");
            }
            options(shown);
        }
        if (command.footer.starts_with("Exit status")) {
            out_.paragraph();
            out_.sentences(command.footer);
        }
    }

    void see(const std::string &pages) {
        static const std::regex form(R"(([\w.-]+)\((\d)\))");
        std::sregex_iterator match(pages.begin(), pages.end(), form);
        for (const std::sregex_iterator end; match != end;) {
            const std::string line = ".Xr " + (*match)[1].str() + " " + (*match)[2].str();
            ++match;
            out_.macro(line + (match == end ? "" : " ,"));
        }
    }

    const Page_Sources &sources_;
    std::string name_;
    Mdoc out_;
};

} // namespace

std::string page_date(const std::string &mail_date) {
    static const std::regex form(R"(\w+, +(\d+) (\w+) (\d+) .*)");
    static const std::map<std::string, std::string> months{
        {"Jan", "January"},   {"Feb", "February"}, {"Mar", "March"},    {"Apr", "April"},
        {"May", "May"},       {"Jun", "June"},     {"Jul", "July"},     {"Aug", "August"},
        {"Sep", "September"}, {"Oct", "October"},  {"Nov", "November"}, {"Dec", "December"}};
    std::smatch match;
    if (!std::regex_match(mail_date, match, form)) {
        throw std::runtime_error("'" + mail_date + "' is not a date as in a mail");
    }
    return months.at(match[2]) + " " + std::to_string(std::stoi(match[1])) + ", " + match[3].str();
}

std::string make_page(const Page_Sources &sources) {
    return Page(sources).make();
}

} // namespace manual
