// SPDX-License-Identifier: Apache-2.0
#include "daemon/charged_loader.h"

#include "cluster/description/config_error.h"
#include "host/text.h"

namespace wispd {

Failure failure_of(const std::string &path, const std::exception &error) {
    if (dynamic_cast<const File_Error *>(&error) != nullptr) {
        return {error.what(), error.what()};
    }
    return {error.what(), text(path, ": rejected; only root and wispd's user can see the reason")};
}

} // namespace wispd
