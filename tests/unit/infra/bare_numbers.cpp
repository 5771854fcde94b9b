// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/infra/bare_numbers.h"

#include <regex>
#include <set>

#include "tests/unit/infra/source_tree.h"

namespace {

void find_all(const std::string &code, const std::regex &wanted, std::vector<std::string> &found) {
    for (std::sregex_iterator match(code.begin(), code.end(), wanted), end; match != end; ++match) {
        found.push_back(match->str());
    }
}

// The code from the opening bracket at `open` to the one that closes it.
std::string bracketed(const std::string &code, std::size_t open, char opening, char closing) {
    int depth = 0;
    for (std::size_t i = open; i < code.size(); ++i) {
        depth += code[i] == opening ? 1 : code[i] == closing ? -1 : 0;
        if (depth == 0) {
            return code.substr(open, i - open + 1);
        }
    }
    return code.substr(open);
}

// A call without what stands in the brackets of its arguments.
std::string own_arguments(const std::string &call) {
    std::string own;
    int depth = 0;
    for (const char c : call) {
        depth -= c == ')' ? 1 : 0;
        if (depth <= 1) {
            own += c;
        }
        depth += c == '(' ? 1 : 0;
    }
    return own;
}

// Each call of what sets, words or traces an error number, with its arguments.
std::vector<std::string> calls_with_error_numbers(const std::string &code) {
    static const std::regex call(
        R"(\b(hb_fail|hb_refuse|set_hb_errno|query_failed|hb_error_name|hb_error_text|)"
        R"(error_text|request_error_text|failure_line|open_failure_line|Request_Failed)\()");
    std::vector<std::string> calls;
    for (std::sregex_iterator match(code.begin(), code.end(), call), end; match != end; ++match) {
        const auto open = static_cast<std::size_t>(match->position() + match->length()) - 1;
        calls.push_back((*match)[1].str() + bracketed(code, open, '(', ')'));
    }
    return calls;
}

// Each function whose name says that it gives an error number, with its body.
std::vector<std::string> functions_that_choose_errors(const std::string &code) {
    static const std::regex head(R"(\bint (\w*error\w*)\([^;{]*\{)");
    std::vector<std::string> functions;
    for (std::sregex_iterator match(code.begin(), code.end(), head), end; match != end; ++match) {
        const auto open = static_cast<std::size_t>(match->position() + match->length()) - 1;
        functions.push_back((*match)[1].str() + bracketed(code, open, '{', '}'));
    }
    return functions;
}

constexpr char COMPARED[] = R"((?:hb_get_errno\(\)|\berror|\bnumber)\s*[=!]=\s*)";

// The names that stand where an error number does.
std::set<std::string> names_of_error_numbers(const std::string &code) {
    std::set<std::string> names;
    static const std::regex word(R"(\b[A-Za-z_]\w*)");
    for (const std::string &call : calls_with_error_numbers(code)) {
        const std::string own = own_arguments(call);
        for (std::sregex_iterator match(own.begin(), own.end(), word), end; match != end; ++match) {
            names.insert(match->str());
        }
    }
    static const std::regex comparison(std::string(COMPARED) + R"((\w+))");
    for (std::sregex_iterator match(code.begin(), code.end(), comparison), end; match != end; ++match) {
        names.insert((*match)[1]);
    }
    return names;
}

} // namespace

std::vector<std::string> bare_error_numbers(const std::string &source) {
    const std::string code = without_comments(source);
    std::vector<std::string> found;

    static const std::regex number_as_argument(R"([(,?:]\s*[0-9]+\s*[,):])");
    for (const std::string &call : calls_with_error_numbers(code)) {
        if (std::regex_search(own_arguments(call), number_as_argument)) {
            found.push_back(call);
        }
    }
    static const std::regex number_chosen(R"((return|[?:])\s*[0-9]+\s*[:;])");
    for (const std::string &function : functions_that_choose_errors(code)) {
        if (std::regex_search(function, number_chosen)) {
            found.push_back(function);
        }
    }
    static const std::regex comparison(std::string(COMPARED) + "[0-9]+");
    find_all(code, comparison, found);
    static const std::regex label(R"(\bcase [0-9]+:)");
    find_all(code, label, found);
    static const std::regex traced(R"(\bhb_trace_values\([^;]*,\s*[0-9]{2,}\s*[,)])");
    find_all(code, traced, found);
    static const std::regex has_error_column(R"(\bint (error|number);)");
    if (std::regex_search(code, has_error_column)) {
        static const std::regex row(R"(,\s*[1-9][0-9]*\s*\}|\{\s*[0-9]+\s*,\s*")");
        find_all(code, row, found);
    }
    const std::set<std::string> names = names_of_error_numbers(code);
    static const std::regex constant(
        R"(\b(?:const|constexpr) int (\w+)(?:\[\])?\s*=\s*\{?[^;]*?\b[0-9]+\b[^;]*;)");
    for (std::sregex_iterator match(code.begin(), code.end(), constant), end; match != end; ++match) {
        if (names.contains((*match)[1])) {
            found.push_back(match->str());
        }
    }
    return found;
}

std::vector<std::string> bare_event_values(const std::string &source) {
    static const std::regex value(R"(\b(events|Hb_events|happened|\w*_EVENTS)\s*[=!]?=\s*(0x)?[0-9]+)");
    std::vector<std::string> found;
    find_all(without_comments(source), value, found);
    return found;
}

std::vector<std::string> bare_reply_statuses(const std::string &source) {
    const std::string code = without_comments(source);
    std::vector<std::string> found;
    static const std::regex comparison(R"(\bstatus\s*[=!]=\s*[0-9]+)");
    find_all(code, comparison, found);
    static const std::regex has_status_column(R"(\bint32_t status;)");
    if (std::regex_search(code, has_status_column)) {
        static const std::regex row(R"(\{\s*[0-9]+\s*,\s*[^0-9\s])");
        find_all(code, row, found);
    }
    return found;
}

std::vector<std::string> reserved_names_in_quotes(const std::string &source) {
    static const std::regex name(R"lit("(Hb_Config_Group|Hb_FFDC_Group|<EMPTY EVENT>)")lit");
    std::vector<std::string> found;
    find_all(without_comments(source), name, found);
    return found;
}
