// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <sys/auxv.h>
#include <unistd.h>

#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/report/archive.h"
#include "tools/hbctl/report/collection.h"
#include "tools/hbctl/report/command_runner.h"
#include "tools/hbctl/report/report_result.h"
#include "tools/hbctl/report/system_facts.h"
#include "tools/hbctl/stop_signal.h"

namespace hbctl {
namespace {

constexpr std::chrono::minutes TIME_TO_PACK{2};

// "hb-report-alpha-20261122T120000Z"
std::string report_name() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y%m%dT%H%M%SZ", &parts);
    return "hb-report-" + host_name() + "-" + date.data();
}

void pack(const Collection_Directory &directory, const std::string &name, int output, int stop) {
    const std::string tar = find_program("tar");
    if (tar.empty() || find_program("gzip").empty()) {
        throw std::runtime_error("cannot make the archive: tar or gzip is not installed");
    }
    Command command;
    command.words = {tar,         "--create",  "--gzip",          "--directory",      directory.parent(),
                     "--owner=0", "--group=0", "--numeric-owner", "--mode=u=rwX,go=", "--sort=name",
                     "--",        name};
    command.output = output;
    const Outcome outcome = run_commands({command}, TIME_TO_PACK, stop).front();
    if (!outcome.failure.empty()) {
        throw std::runtime_error("cannot make the archive: " + outcome.failure);
    }
}

Report_Result make_report(const Arguments &arguments, int stop) {
    const std::string name = report_name();
    Report_Result result;
    result.file = arguments.output.value_or(name + ".tar.gz");
    Complete_File file(result.file);
    const Collection_Directory directory(name);
    const std::vector<Report_Part> parts = collect_report(arguments.patience, stop);
    directory.write("summary.txt", summary_of(parts, name, arguments.patience));
    for (const Report_Part &part : parts) {
        if (!part.text.empty()) {
            directory.write(part.file, part.text);
        }
    }
    pack(directory, name, file.descriptor(), stop);
    file.complete();
    result.parts = parts.size();
    result.failed = static_cast<std::size_t>(std::count_if(
        parts.begin(), parts.end(), [](const Report_Part &part) { return !part.failure.empty(); }));
    return result;
}

} // namespace

int report(const Arguments &arguments) {
    // It runs programs that PATH names.
    if (getauxval(AT_SECURE) != 0) {
        throw std::runtime_error("report cannot be used when hbctl has more rights than its caller");
    }
    // The caller may ignore SIGCHLD. The system then forgets how a program ended, and a cut archive looks complete.
    std::signal(SIGCHLD, SIG_DFL);
    int signal = 0;
    {
        const Stop_Signal stop;
        try {
            const Report_Result result = make_report(arguments, stop.descriptor());
            put_line(arguments.json ? report_json(result)
                                    : result.file + ": " + std::to_string(result.parts) + " parts, " +
                                          std::to_string(result.failed) + " failed (summary.txt states why)");
            return STATUS_SUCCESS;
        } catch (const Interrupted &) {
            signal = stop.signal();
        }
    }
    // Everything is removed, and the signal has its ordinary effect again.
    std::raise(signal);
    return STATUS_FAILURE;
}

} // namespace hbctl
