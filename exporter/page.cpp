// SPDX-License-Identifier: Apache-2.0
#include "exporter/page.h"

#include <array>
#include <cerrno>
#include <sys/random.h>
#include <system_error>

namespace exporter {
namespace {

std::string random_nonce() {
    constexpr const char *digits = "0123456789abcdef";
    constexpr unsigned bits_of_digit = 4;
    constexpr unsigned digit_mask = 15;
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::system_error(errno, std::generic_category(), "cannot read random bytes");
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> bits_of_digit];
        text += digits[byte & digit_mask];
    }
    return text;
}

void replace_all(std::string &text, const std::string &what, const std::string &with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

} // namespace

Page make_page() {
    const std::string nonce = random_nonce();
    Page page{PAGE_TEMPLATE, "default-src 'none'; script-src 'nonce-" + nonce + "'; style-src 'nonce-" + nonce +
                                 "'; connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
                                 "frame-ancestors 'none'"};
    replace_all(page.html, "@NONCE@", nonce);
    replace_all(page.html, "@VERSION@", HB_EXPORTER_VERSION);
    return page;
}

} // namespace exporter
