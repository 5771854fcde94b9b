// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/report/redaction.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <regex>
#include <set>
#include <sstream>

namespace hbctl {
namespace {

constexpr std::size_t SHORTEST_KEY = 8;
constexpr std::size_t SHORTEST_HEX_WORD = 16;
constexpr std::size_t SHORTEST_BASE64_WORD = 20;
// A longer line is removed: the expressions need stack for each character.
constexpr std::size_t LONGEST_LINE = 500;
constexpr std::size_t LONGEST_NAME = 100;
constexpr std::size_t MOST_SECRETS_OF_A_LINE = 20;
const std::string REMOVED = "(removed)";
const std::string BASE64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

const std::set<std::string> KNOWN_KEYS{"adapter",
                                       "endpoint",
                                       "name",
                                       "local_node",
                                       "max_nodes",
                                       "adapters_per_node",
                                       "instance",
                                       "number",
                                       "type",
                                       "state",
                                       "network",
                                       "address",
                                       "threshold_seconds",
                                       "threshold_microseconds",
                                       "enabled",
                                       "confirm_seconds",
                                       "max_grace_seconds",
                                       "key_type",
                                       "key_length",
                                       "rotate_seconds",
                                       "node",
                                       "port",
                                       "path",
                                       "timeline",
                                       "agent",
                                       "rpc",
                                       "discover",
                                       "settle_milliseconds",
                                       "poll_milliseconds",
                                       "grace_seconds",
                                       "id",
                                       "link",
                                       "socket",
                                       "control",
                                       "group",
                                       "act_group",
                                       "control_group",
                                       "socket_mode",
                                       "key_mode",
                                       "client_queue_bytes",
                                       "max_connections",
                                       "user_connections",
                                       "user_subscriptions",
                                       "user_queue_bytes",
                                       "control_idle_seconds",
                                       "shutdown_delay_seconds",
                                       "log_file",
                                       "log_level"};

std::string hexadecimal(const std::string &bytes, const char *digits) {
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 0xF];
    }
    return text;
}

// Without the padding, so that the form is found with and without it.
std::string base64(const std::string &bytes) {
    std::string text;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char byte : bytes) {
        bits = bits << 8 | static_cast<unsigned char>(byte);
        for (count += 8; count >= 6; count -= 6) {
            text += BASE64[bits >> (count - 6) & 0x3F];
        }
    }
    if (count > 0) {
        text += BASE64[bits << (6 - count) & 0x3F];
    }
    return text;
}

std::string other_alphabet(std::string text) {
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text;
}

bool is_hexadecimal(const std::string &text) {
    return text.size() % 2 == 0 &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c); });
}

std::string bytes_of_hexadecimal(const std::string &text) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

// Returns nothing for anything else than base64.
std::string bytes_of_base64(std::string text) {
    std::replace(text.begin(), text.end(), '-', '+');
    std::replace(text.begin(), text.end(), '_', '/');
    text.erase(text.find_last_not_of('=') + 1);
    std::string bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char letter : text) {
        const std::size_t value = BASE64.find(letter);
        if (value == std::string::npos) {
            return "";
        }
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes += static_cast<char>(bits >> count & 0xFF);
        }
    }
    return bytes;
}

bool contains(const std::string &text, int (*is_kind)(int)) {
    return std::any_of(text.begin(), text.end(), [is_kind](unsigned char c) { return is_kind(c) != 0; });
}

bool is_like_key(const std::string &word) {
    if (is_hexadecimal(word)) {
        return word.size() >= SHORTEST_HEX_WORD;
    }
    return word.size() >= SHORTEST_BASE64_WORD && contains(word, std::isdigit) &&
           contains(word, std::isupper) && contains(word, std::islower);
}

bool names_a_secret(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    // A path, which shows where the secret is.
    if (name.ends_with("keyfile")) {
        return false;
    }
    return name.find("key") != std::string::npos || name.find("secret") != std::string::npos ||
           name.find("password") != std::string::npos || name.find("passwd") != std::string::npos ||
           name.find("passphrase") != std::string::npos;
}

std::string unquoted(const std::string &value) {
    const bool is_quoted =
        value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front();
    return is_quoted ? value.substr(1, value.size() - 2) : value;
}

std::string without_blanks_at_end(const std::string &text) {
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

bool is_part_of_name(unsigned char c) {
    return std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.';
}

// Returns the name that ends before ':' or '=', also the name of "totem.key (str) =" and of "\"key\":".
std::string name_before(const std::string &line, std::size_t mark) {
    const std::size_t begin = mark - std::min(mark, LONGEST_NAME);
    std::string text = without_blanks_at_end(line.substr(begin, mark - begin));
    if (text.ends_with(')')) {
        text = without_blanks_at_end(text.substr(0, text.rfind('(')));
    }
    if (text.ends_with('"') || text.ends_with('\'')) {
        text.pop_back();
    }
    const auto name = std::find_if_not(text.rbegin(), text.rend(), is_part_of_name);
    return {name.base(), text.end()};
}

// Returns where the next value begins that has the name of a secret, anywhere in the line. npos: there is none.
std::size_t find_secret(const std::string &line, std::size_t from = 0) {
    for (std::size_t mark = line.find_first_of(":=", from); mark != std::string::npos;
         mark = line.find_first_of(":=", mark + 1)) {
        if (names_a_secret(name_before(line, mark))) {
            return std::min(line.find_first_not_of(" \t", mark + 1), line.size());
        }
    }
    return std::string::npos;
}

// A secret ends at the end of the line, at its quote, at a comment or at the end of a table: it is not known where.
void add_value(const std::string &text, Secrets &secrets) {
    const std::string value = without_blanks_at_end(text);
    secrets.add(unquoted(value));
    if (value.starts_with('"') || value.starts_with('\'')) {
        const std::size_t end = value.find(value.front(), 1);
        secrets.add(value.substr(1, end == std::string::npos ? end : end - 1));
    }
    for (const char *ends : {"#", "#,}]"}) {
        secrets.add(unquoted(without_blanks_at_end(value.substr(0, value.find_first_of(ends)))));
    }
}

void add_named_secrets(const std::string &line, Secrets &secrets) {
    std::size_t at = find_secret(line);
    for (std::size_t count = 0; at != std::string::npos && count < MOST_SECRETS_OF_A_LINE; ++count) {
        add_value(line.substr(at), secrets);
        at = find_secret(line, at);
    }
}

// Returns how much of a line consists of known keys with values that are no secret, also in an array of inline tables:
// "adapter = [{network = 0, address = "10.1.0.1"}". A value of several lines is no such text, except between brackets.
std::size_t end_of_settings(const std::string &line) {
    static const std::regex part(
        R"re(\s+|[{}\[\],]|([\w-]+)\s*=\s*("[^"\\]{0,300}"|'[^']{0,300}'|[\w.+:-]{1,40}|(?=[\[{])))re");
    std::size_t end = 0;
    std::smatch match;
    while (std::regex_search(line.begin() + static_cast<std::ptrdiff_t>(end), line.end(), match, part,
                             std::regex_constants::match_continuous)) {
        if (match[1].matched && (KNOWN_KEYS.count(match[1]) == 0 || is_like_key(unquoted(match[2])))) {
            break;
        }
        end += static_cast<std::size_t>(match.length());
    }
    return end;
}

// The first bytes of a form, by which it is found: one search for all forms needs as much time as for one.
std::uint64_t beginning_of(const std::string &text, std::size_t at) {
    std::uint64_t bytes = 0;
    static_assert(sizeof bytes == SHORTEST_KEY);
    std::memcpy(&bytes, text.data() + at, sizeof bytes);
    return bytes;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

void Secrets::add(const std::string &key) {
    add_forms(key);
    if (is_hexadecimal(key)) {
        add_forms(bytes_of_hexadecimal(key));
    }
    add_forms(bytes_of_base64(key));
}

void Secrets::add_words_like_keys(const std::string &text) {
    std::string word;
    for (const char byte : text + " ") {
        const bool is_part =
            BASE64.find(byte) != std::string::npos || byte == '-' || byte == '_' || byte == '=';
        if (is_part) {
            word += byte;
            continue;
        }
        // "key=0011..." is one word so far.
        for (const std::string &candidate : {word, word.substr(std::min(word.find('=') + 1, word.size()))}) {
            if (is_like_key(candidate)) {
                add(candidate);
            }
        }
        word.clear();
    }
}

void Secrets::add_forms(const std::string &bytes) {
    if (bytes.size() < SHORTEST_KEY) {
        return;
    }
    const std::string letters = base64(bytes);
    for (const std::string &form : {bytes, hexadecimal(bytes, "0123456789abcdef"),
                                    hexadecimal(bytes, "0123456789ABCDEF"), letters, other_alphabet(letters)}) {
        if (known_.insert(form).second) {
            forms_[beginning_of(form, 0)].push_back(form);
        }
    }
}

std::size_t Secrets::longest_at(const std::string &text, std::size_t at) const {
    std::size_t longest = 0;
    const auto forms = forms_.find(beginning_of(text, at));
    if (forms != forms_.end()) {
        for (const std::string &form : forms->second) {
            if (form.size() > longest && text.compare(at, form.size(), form) == 0) {
                longest = form.size();
            }
        }
    }
    return longest;
}

std::string Secrets::removed_from(const std::string &text) const {
    std::string result;
    std::size_t end = 0; // of what is removed; keys may overlap
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::size_t size = at + SHORTEST_KEY <= text.size() ? longest_at(text, at) : 0;
        if (size > 0 && at >= end) {
            result += REMOVED;
        }
        end = std::max(end, at + size);
        if (at >= end) {
            result += text[at];
        }
    }
    return result;
}

std::string configuration_without_keys(const std::string &toml, Secrets &secrets) {
    static const std::regex header(R"(\s*\[{1,2}[\w. ]{1,60}\]{1,2}\s*)");
    static const std::regex setting(R"(\s*([\w.-]+)\s*=\s*([^]*))");
    std::string result;
    for (const std::string &line : lines_of(toml)) {
        const std::size_t end = line.size() > LONGEST_LINE ? 0 : end_of_settings(line);
        const std::string comment = line.substr(end);
        secrets.add_words_like_keys(comment);
        add_named_secrets(comment, secrets);
        std::smatch match;
        const std::size_t mark = line.find('#');
        if (line.size() <= LONGEST_LINE &&
            std::regex_match(line.cbegin(),
                             line.cbegin() + static_cast<std::ptrdiff_t>(std::min(mark, line.size())),
                             header)) {
            result += without_blanks_at_end(line.substr(0, mark)) + "\n";
        } else if (comment.empty() || (end > 0 && comment.front() == '#')) {
            result += without_blanks_at_end(line.substr(0, end)) + "\n";
        } else if (line.size() <= LONGEST_LINE && std::regex_match(line, match, setting)) {
            result += match[1].str() + " = " + REMOVED + "\n";
        } else {
            result += "# " + REMOVED + "\n";
        }
    }
    return result;
}

std::string settings_without_keys(const std::string &text, Secrets &secrets) {
    std::string result;
    for (const std::string &line : lines_of(text)) {
        const std::size_t secret = find_secret(line);
        const std::size_t begin = line.find_first_not_of(" \t");
        const bool is_comment = begin != std::string::npos && line[begin] == '#';
        if (is_comment || line.size() > LONGEST_LINE) {
            secrets.add_words_like_keys(line);
            add_named_secrets(line, secrets);
            result += "# " + REMOVED + "\n";
        } else if (secret != std::string::npos) {
            secrets.add_words_like_keys(line.substr(secret));
            add_named_secrets(line, secrets);
            result += line.substr(0, secret) + REMOVED + "\n";
        } else {
            result += line + "\n";
        }
    }
    return result;
}

std::string configured_text(const std::string &toml, const std::string &key) {
    const std::regex setting("\\s*" + key + R"re(\s*=\s*("[^"\\]*"|'[^']*')\s*(#.*)?)re");
    for (const std::string &line : lines_of(toml)) {
        std::smatch match;
        if (line.size() <= LONGEST_LINE && std::regex_match(line, match, setting)) {
            return unquoted(match[1]);
        }
    }
    return "";
}

} // namespace hbctl
