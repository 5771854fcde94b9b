// SPDX-License-Identifier: Apache-2.0
#include "exporter/http_service.h"

#include <cerrno>
#include <cstring>
#include <httplib.h>
#include <stdexcept>
#include <sys/socket.h>

#include "exporter/render.h"

namespace exporter {
namespace {

constexpr std::size_t THREADS = 8;
// A client that does not finish its request, or does not read, holds one thread for this long.
constexpr time_t CLIENT_SECONDS = 2;
constexpr const char *PLAIN_TEXT = "text/plain; charset=utf-8";

// Prometheus names OpenMetrics in its request. A client that names plain text alone reads the older format.
Format format_for(const std::string &accept) {
    const bool wants_text = accept.find("text/plain") != std::string::npos;
    const bool knows_openmetrics = accept.find("application/openmetrics-text") != std::string::npos;
    return wants_text && !knows_openmetrics ? Format::prometheus_text : Format::openmetrics;
}

const char *content_type(Format format) {
    return format == Format::openmetrics ? OPENMETRICS_TYPE : PROMETHEUS_TEXT_TYPE;
}

// The HTTP library would let a second exporter share the port unnoticed.
void permit_restart(int descriptor) {
    const int yes = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

std::string in_url(const std::string &host) {
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

} // namespace

Http_Service::Http_Service(const Listen_Address &address, std::shared_ptr<const Snapshot_Board> board,
                           std::chrono::milliseconds stale)
    : server_(std::make_unique<httplib::Server>()) {
    server_->new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    server_->set_socket_options(permit_restart);
    server_->set_read_timeout(CLIENT_SECONDS);
    server_->set_write_timeout(CLIENT_SECONDS);
    server_->set_keep_alive_max_count(1); // an idle connection would occupy a thread
    server_->set_payload_max_length(0);
    add_pages(board, stale);
    bind(address);
}

Http_Service::~Http_Service() = default;

void Http_Service::add_pages(const std::shared_ptr<const Snapshot_Board> &board,
                             std::chrono::milliseconds stale) {
    server_->Get("/metrics", [board, stale](const httplib::Request &request, httplib::Response &response) {
        const Format format = format_for(request.get_header_value("Accept"));
        response.set_content(render_metrics(*board->latest(), std::chrono::steady_clock::now(), stale, format),
                             content_type(format));
    });
    server_->Get("/health", [board, stale](const httplib::Request &, httplib::Response &response) {
        constexpr int ok = 200;
        constexpr int service_unavailable = 503;
        const std::shared_ptr<const Snapshot> snapshot = board->latest();
        const auto now = std::chrono::steady_clock::now();
        response.status = is_up(*snapshot, now, stale) ? ok : service_unavailable;
        response.set_content(render_health(*snapshot, now, stale), PLAIN_TEXT);
    });
    server_->set_error_handler([](const httplib::Request &, httplib::Response &response) {
        if (response.body.empty()) {
            response.set_content("hb_exporter serves /metrics and /health\n", PLAIN_TEXT);
        }
    });
}

void Http_Service::bind(const Listen_Address &address) {
    int port = address.port;
    errno = 0;
    if (port == 0) {
        port = server_->bind_to_any_port(address.host);
    } else if (!server_->bind_to_port(address.host, port)) {
        port = -1;
    }
    if (port < 0) {
        const std::string reason = errno == 0 ? "not an address of this host" : std::strerror(errno);
        throw std::runtime_error("cannot listen on " + in_url(address.host) + ":" +
                                 std::to_string(address.port) + ": " + reason +
                                 " (choose another address or port with --listen)");
    }
    url_ = "http://" + in_url(address.host) + ":" + std::to_string(port);
}

void Http_Service::run() {
    server_->listen_after_bind();
}

} // namespace exporter
