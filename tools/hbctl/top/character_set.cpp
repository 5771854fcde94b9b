// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/character_set.h"

#include <clocale>
#include <cstring>
#include <langinfo.h>

namespace hbctl {

bool use_character_set() {
    std::setlocale(LC_CTYPE, "");
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

} // namespace hbctl
