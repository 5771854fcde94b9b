// SPDX-License-Identifier: Apache-2.0
// The live page: one HTML file without outside assets.
#pragma once

#include <string>

namespace exporter {

// The text that the build makes of exporter/page/. @NONCE@ and @VERSION@ stand in it.
extern const char *const PAGE_TEMPLATE;

struct Page {
    std::string html;
    std::string security_policy; // the Content-Security-Policy header that belongs to it
};

// Returns the page with a nonce of its own: only its own script and style may run.
Page make_page();

} // namespace exporter
