// SPDX-License-Identifier: Apache-2.0
// hbctl: what a person or a script uses to see the cluster through the heartbeat client library.
#include <csignal>
#include <cstdio>
#include <exception>
#include <sys/prctl.h>

#include "common/printable.h"
#include "tools/hbctl/arguments.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/daemon_path.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/request.h"
#include "tools/hbctl/standard_descriptors.h"

namespace {

int act(const hbctl::Arguments &arguments) {
    if (arguments.socket) {
        hbctl::use_daemon_path(*arguments.socket);
    }
    return hbctl::run_command(arguments);
}

int act(const hbctl::Parsed &parsed) {
    std::fputs(terminal::printable_lines(parsed.complaint).c_str(), stderr);
    std::fputs(parsed.output.c_str(), stdout);
    const int status = parsed.arguments ? act(*parsed.arguments) : parsed.exit_status;
    hbctl::flush_output();
    return status;
}

int act_and_report(const hbctl::Parsed &parsed) {
    try {
        return act(parsed);
    } catch (const hbctl::Output_Closed &) {
        return hbctl::STATUS_SUCCESS;
    } catch (const std::exception &failure) {
        hbctl::complain(failure.what());
        return hbctl::STATUS_FAILURE;
    }
}

} // namespace

int main(int argc, char **argv) {
    hbctl::ensure_standard_descriptors();
    // hbctl holds keys while it shows them: they must not reach a core file, or a debugger of the same user.
    prctl(PR_SET_DUMPABLE, 0);
    // If a daemon or reader has disconnected, the write fails instead of raising a signal.
    std::signal(SIGPIPE, SIG_IGN);
    return act_and_report(hbctl::parse_arguments(argc, argv));
}
