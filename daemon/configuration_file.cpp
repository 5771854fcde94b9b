// SPDX-License-Identifier: Apache-2.0
#include "daemon/configuration_file.h"

#include "cluster/description/named_file.h"
#include "cluster/description/toml_reader.h"

namespace wispd {

Configuration_File parse_configuration_file(std::string_view document, const std::string &path) {
    Configuration_File file{parse_cluster_file(document, path), {}};
    file.daemon = settings_of(file.daemon_section);
    return file;
}

Configuration_File read_configuration_file(const std::string &path) {
    return parse_configuration_file(read_text_file(path), path);
}

Configuration_File read_named_configuration_file(const std::string &path) {
    return parse_configuration_file(read_named_file(path), path);
}

} // namespace wispd
