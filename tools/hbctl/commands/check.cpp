// SPDX-License-Identifier: Apache-2.0
#include "common/no_answer.h"
#include "common/socket_path.h"
#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/live_picture.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

int report(Health health, const std::string &line) {
    put_line(line);
    return static_cast<int>(health);
}

// A monitoring system reads standard output only.
Ending silence_as_critical(const Arguments &arguments) {
    const std::string line = common::no_answer_line(common::socket_path_from_environment(), arguments.patience);
    return {health_text(Health::critical, line), static_cast<int>(Health::critical), STDOUT_FILENO};
}

} // namespace

int check(const Arguments &arguments) {
    try {
        const Counts counts = ask_daemon(arguments, silence_as_critical(arguments),
                                         [] { return count(read_live_picture().picture); });
        return report(judge(counts, arguments.thresholds), health_text(counts, arguments.thresholds));
    } catch (const Daemon_Absent &failure) {
        return report(Health::critical, health_text(Health::critical, failure.what()));
    } catch (const Request_Failed &failure) {
        const Health health = means_loss(failure.number()) ? Health::critical : Health::unknown;
        return report(health, health_text(health, failure.what()));
    }
}

} // namespace hbctl
