// SPDX-License-Identifier: Apache-2.0
#include "exporter/log.h"

#include <cstdio>

#include "common/printable.h"

namespace exporter {

void log_line(const std::string &line) {
    std::fputs(("hb_exporter: " + terminal::printable(line) + "\n").c_str(), stderr);
}

} // namespace exporter
