// SPDX-License-Identifier: Apache-2.0
#include "tests/security/confined_programs.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace hb_test {

namespace fs = std::filesystem;

std::string confined_path() {
    return programs_of_this_build().path("confined");
}

std::string why_not_confined() {
    if (geteuid() != 0) {
        return "only root can put the restrictions on";
    }
    if (access(confined_path().c_str(), X_OK) != 0) {
        return "confined is built in the machine's own ABI, with libseccomp-dev";
    }
    if (std::system((confined_path() + " " + HB_TEST_UNIT + " /bin/true").c_str()) != 0) {
        return "the system does not let confined put the restrictions on";
    }
    return "";
}

Confined_Programs::Confined_Programs(const std::vector<std::string> &writable) {
    const Programs real = programs_of_this_build();
    for (const char *program : {"hbctl", "wispctl"}) {
        fs::create_symlink(real.path(program), directory_.file(program));
    }
    std::ofstream wispd(directory_.file("wispd"));
    wispd << "#!/bin/sh\nexec " << confined_path();
    for (const std::string &path : writable) {
        wispd << " --writable " << path;
    }
    wispd << " " << HB_TEST_UNIT << " " << real.path("wispd") << " \"$@\"\n";
    wispd.close();
    chmod(directory_.file("wispd").c_str(), 0755);
}

} // namespace hb_test
