// SPDX-License-Identifier: Apache-2.0
// hb_exporter: the state of the cluster as a live page and as metrics, over HTTP or in a file.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <sys/auxv.h>
#include <thread>

#include "common/printable.h"
#include "exporter/arguments.h"
#include "exporter/follower.h"
#include "exporter/http_service.h"
#include "exporter/log.h"
#include "exporter/text_file.h"

namespace {

using exporter::Arguments;
using exporter::Snapshot_Board;

// Ends the process while other threads run. One of them may be inside a call that waits for a stopped wispd, so
// nothing can be destroyed first.
[[noreturn]] void end_now(int status) {
    std::fflush(nullptr);
    std::_Exit(status);
}

void use_socket(const std::string &path) {
    if (getauxval(AT_SECURE) != 0) {
        throw std::runtime_error("--socket cannot be used when hb_exporter has more rights than its caller");
    }
    setenv("HB_SERVER_SOCKET", path.c_str(), 1);
    unsetenv("HA_DOMAIN_NAME");
    unsetenv("HA_SYSPAR_NAME");
}

// Every thread blocks these signals, and the main thread waits for them.
sigset_t block_end_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

template <typename Work> void start_thread(std::shared_ptr<Work> work) {
    std::thread([work] {
        try {
            work->run();
            exporter::log_line("stopped serving");
        } catch (const std::exception &failure) {
            exporter::log_line(failure.what());
        }
        end_now(exporter::STATUS_FAILURE);
    }).detach();
}

std::shared_ptr<exporter::Text_File> start_text_file(const Arguments &arguments,
                                                     const std::shared_ptr<Snapshot_Board> &board) {
    const auto file =
        std::make_shared<exporter::Text_File>(arguments.text_file, board, arguments.stale, arguments.interval);
    start_thread(file);
    exporter::log_line("writing " + arguments.text_file);
    return file;
}

void start_http(const Arguments &arguments, const std::shared_ptr<Snapshot_Board> &board) {
    const auto service = std::make_shared<exporter::Http_Service>(arguments.listen, board, arguments.stale);
    start_thread(service);
    exporter::log_line("serving " + service->url() + "/, /metrics and /health");
}

[[noreturn]] void run(const Arguments &arguments) {
    if (arguments.socket) {
        use_socket(*arguments.socket);
    }
    const sigset_t end_signals = block_end_signals();
    const auto board = std::make_shared<Snapshot_Board>();
    std::shared_ptr<exporter::Text_File> file;
    if (arguments.text_file.empty()) {
        start_http(arguments, board);
    } else {
        file = start_text_file(arguments, board);
    }
    start_thread(std::make_shared<exporter::Follower>(board, arguments.stale));
    int signal = 0;
    sigwait(&end_signals, &signal);
    if (file) {
        file->remove();
    }
    end_now(exporter::STATUS_SUCCESS);
}

} // namespace

int main(int argc, char **argv) {
    std::signal(SIGPIPE, SIG_IGN); // a write to a client or daemon that disconnected fails instead
    const exporter::Parsed parsed = exporter::parse_arguments(argc, argv);
    std::fputs(terminal::printable_lines(parsed.complaint).c_str(), stderr);
    std::fputs(parsed.output.c_str(), stdout);
    if (!parsed.arguments) {
        return parsed.exit_status;
    }
    try {
        run(*parsed.arguments);
    } catch (const std::exception &failure) {
        exporter::log_line(failure.what());
        return exporter::STATUS_FAILURE;
    }
}
