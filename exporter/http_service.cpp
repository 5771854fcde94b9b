// SPDX-License-Identifier: Apache-2.0
#include "exporter/http_service.h"

#include <cerrno>
#include <cstring>
#include <httplib.h>
#include <stdexcept>
#include <sys/socket.h>

#include "exporter/bounded_server.h"
#include "exporter/event_stream.h"
#include "exporter/page.h"
#include "exporter/render.h"
#include "exporter/request_guard.h"

namespace exporter {
namespace {

// Each viewer of the page occupies a thread. The others answer scrapes, also while many clients connect and send
// nothing, as browsers do in advance.
constexpr int MOST_VIEWERS = 64;
constexpr std::size_t THREADS = MOST_VIEWERS + 64;
// A client that does not send its whole request, or does not read, holds one thread for this long.
constexpr time_t CLIENT_SECONDS = 2;
// The same for one that has not begun.
constexpr time_t IDLE_SECONDS = 1;
constexpr const char *PLAIN_TEXT = "text/plain; charset=utf-8";

enum Status : int { OK = 200, FORBIDDEN = 403, METHOD_NOT_ALLOWED = 405, SERVICE_UNAVAILABLE = 503 };

// These hold for every answer. Nothing is kept: an old state must not look like a present one.
const httplib::Headers &headers_of_all() {
    static const httplib::Headers headers{{"Cache-Control", "no-store"},
                                          {"Cross-Origin-Resource-Policy", "same-origin"},
                                          {"Referrer-Policy", "no-referrer"},
                                          {"X-Content-Type-Options", "nosniff"}};
    return headers;
}

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
    : server_(std::make_unique<Bounded_Server>()) {
    server_->new_task_queue = [] { return new httplib::ThreadPool(THREADS); };
    server_->set_socket_options(permit_restart);
    server_->set_read_timeout(CLIENT_SECONDS);
    server_->set_write_timeout(CLIENT_SECONDS);
    server_->set_keep_alive_max_count(1); // an idle connection would occupy a thread
    server_->set_keep_alive_timeout(IDLE_SECONDS);
    server_->set_payload_max_length(0);
    server_->set_tcp_nodelay(true);
    server_->set_default_headers(headers_of_all());
    add_guard(is_loopback_address(address.host));
    add_reports(board, stale);
    add_page(board, stale);
    bind(address);
}

Http_Service::~Http_Service() = default;

void Http_Service::add_guard(bool only_this_machine) {
    server_->set_pre_routing_handler([only_this_machine](const httplib::Request &request,
                                                         httplib::Response &response) {
        // The library would answer one short request with thousands of copies of the page. The request itself is not
        // const, and the standard lets a server ignore ranges.
        const_cast<httplib::Request &>(request).ranges.clear();
        if (request.method != "GET" && request.method != "HEAD") {
            response.status = METHOD_NOT_ALLOWED;
            response.set_header("Allow", "GET, HEAD");
            response.set_content("hb_exporter is read only: it answers GET and HEAD\n", PLAIN_TEXT);
            return httplib::Server::HandlerResponse::Handled;
        }
        if (only_this_machine && request.has_header("Host") &&
            !names_loopback(request.get_header_value("Host"))) {
            response.status = FORBIDDEN;
            response.set_content("hb_exporter serves this machine alone: use the name localhost\n", PLAIN_TEXT);
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
}

void Http_Service::add_reports(const std::shared_ptr<const Snapshot_Board> &board,
                               std::chrono::milliseconds stale) {
    server_->Get("/metrics", [board, stale](const httplib::Request &request, httplib::Response &response) {
        const Format format = format_for(request.get_header_value("Accept"));
        response.set_content(render_metrics(*board->latest(), std::chrono::steady_clock::now(), stale, format),
                             content_type(format));
    });
    server_->Get("/health", [board, stale](const httplib::Request &, httplib::Response &response) {
        const std::shared_ptr<const Snapshot> snapshot = board->latest();
        const auto now = std::chrono::steady_clock::now();
        response.status = is_up(*snapshot, now, stale) ? OK : SERVICE_UNAVAILABLE;
        response.set_content(render_health(*snapshot, now, stale), PLAIN_TEXT);
    });
    server_->set_error_handler([](const httplib::Request &, httplib::Response &response) {
        if (response.body.empty()) {
            response.set_content("hb_exporter serves the live page at /, /metrics and /health\n", PLAIN_TEXT);
        }
    });
}

void Http_Service::add_page(const std::shared_ptr<const Snapshot_Board> &board,
                            std::chrono::milliseconds stale) {
    server_->Get("/", [](const httplib::Request &, httplib::Response &response) {
        const Page page = make_page();
        response.set_header("Content-Security-Policy", page.security_policy);
        response.set_content(page.html, "text/html; charset=utf-8");
    });
    const auto feed = std::make_shared<Page_Feed>(board, stale);
    const auto limit = std::make_shared<Viewer_Limit>(MOST_VIEWERS);
    server_->Get("/events", [feed, limit](const httplib::Request &request, httplib::Response &response) {
        const std::shared_ptr<void> place = limit->enter();
        if (!place) {
            response.status = SERVICE_UNAVAILABLE;
            response.set_header("Retry-After", "2");
            response.set_content("too many viewers of the page are connected\n", PLAIN_TEXT);
            return;
        }
        if (request.method == "HEAD") {
            response.set_content("", "text/event-stream");
            return;
        }
        const auto stream = std::make_shared<Event_Stream>(feed, place);
        response.set_chunked_content_provider("text/event-stream",
                                              [stream](std::size_t, httplib::DataSink &sink) {
                                                  return stream->proceed([&sink](const std::string &text) {
                                                      return sink.write(text.data(), text.size());
                                                  });
                                              });
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
    if (port >= 0 && !server_->let_bursts_wait()) {
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
