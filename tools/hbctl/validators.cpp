#include "tools/hbctl/validators.h"

#include <charconv>
#include <optional>

#include "common/ip_address.h"
#include "hb_client.h"
#include "tools/hbctl/member_word.h"

namespace hbctl {
namespace {

constexpr std::size_t LONGEST_NAME = HB_NAME_SIZE - 1;
constexpr double LONGEST_TIMEOUT = 1e9;

// Returns nothing unless the whole text is one number.
template <typename Number> std::optional<Number> parse_whole(const std::string &text) {
    Number number{};
    const char *const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    return number;
}

} // namespace

CLI::Validator member_up_to(std::uint32_t highest) {
    return CLI::Validator([highest](std::string &text) { return complaint_about_member(text, highest); }, "");
}

CLI::Validator member_list_up_to(std::uint32_t highest) {
    return CLI::Validator([highest](std::string &text) { return parse_member_list(text, highest).complaint; },
                          "");
}

CLI::Validator subscription_name() {
    return CLI::Validator(
        [](std::string &text) {
            if (text.empty() || text.size() > LONGEST_NAME) {
                return "a name has 1 to " + std::to_string(LONGEST_NAME) + " bytes";
            }
            return std::string();
        },
        "");
}

CLI::Validator not_empty(const std::string &what) {
    return CLI::Validator(
        [what](std::string &text) { return text.empty() ? what + " is empty" : std::string(); }, "");
}

CLI::Validator positive_seconds() {
    return CLI::Validator(
        [](std::string &text) {
            const auto seconds = parse_whole<double>(text);
            const bool sound = seconds && *seconds > 0 && *seconds <= LONGEST_TIMEOUT;
            return sound ? std::string() : "'" + text + "' is not a number of seconds above 0";
        },
        "");
}

CLI::Validator positive_count() {
    return CLI::Validator(
        [](std::string &text) {
            const auto count = parse_whole<std::uint64_t>(text);
            const bool sound = count && *count > 0;
            return sound ? std::string() : "'" + text + "' is not a number above 0";
        },
        "");
}

CLI::Validator whole_number(std::int64_t lowest, std::int64_t highest) {
    return CLI::Validator(
        [lowest, highest](std::string &text) {
            const auto number = parse_whole<std::int64_t>(text);
            const bool sound = number && *number >= lowest && *number <= highest;
            return sound ? std::string()
                         : "'" + text + "' is not a number from " + std::to_string(lowest) + " to " +
                               std::to_string(highest);
        },
        "");
}

CLI::Validator ipv4_address() {
    return CLI::Validator(
        [](std::string &text) {
            return common::parse_ipv4_bytes(text) ? std::string()
                                                  : "'" + text + "' is not an IPv4 address such as 10.1.0.3";
        },
        "");
}

} // namespace hbctl
