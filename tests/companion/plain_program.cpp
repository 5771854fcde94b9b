// SPDX-License-Identifier: Apache-2.0
// A C++17 program that is compiled without exceptions and without run-time types. plain_program_test.cpp runs it.
//
//   plain_program daemon    prints the events that it receives from the daemon, one in each line
//   plain_program service   the same, from the cluster service
//   plain_program move      prints what a watcher reports of nodes, and moves it to the cluster service after the first `current`
//   plain_program abort     asks a failed result for its value
#include <cstdio>
#include <cstring>
#include <string>

#include "hb_client.hpp"

#if defined(__cpp_exceptions) || defined(__cpp_rtti)
#error "this program shows that the headers need neither"
#endif
#if __cplusplus > 201703L
#error "this program shows that the headers need C++17 only"
#endif

namespace {

std::string text_of(const hb::event_nodes &nodes) {
    std::string text;
    for (const hb::node_number node : nodes) {
        text += " " + std::to_string(node);
    }
    return text;
}

std::string text_of(const hb::event_adapters &adapters) {
    std::string text;
    for (const hb::adapter_member member : adapters) {
        text += " " + std::to_string(member.adapter);
    }
    return text;
}

std::string line_of(const hb::event &event) {
    namespace events = hb::events;
    return std::visit(
        hb::overload{[](const events::node_death &e) { return "nodes died" + text_of(e.nodes()); },
                     [](const events::node_join &e) { return "nodes joined" + text_of(e.nodes()); },
                     [](const events::node_group &e) { return "nodes up" + text_of(e.nodes()); },
                     [](const events::adapter_death &e) { return "adapters died" + text_of(e.adapters()); },
                     [](const events::adapter_join &e) { return "adapters joined" + text_of(e.adapters()); },
                     [](const events::adapter_group &e) { return "adapters up" + text_of(e.adapters()); },
                     [](const events::configuration_changed &) { return std::string("configuration"); },
                     [](const events::nothing &) { return std::string(); },
                     [](const auto &e) { return "another event " + std::string(e.subscription()); }},
        event);
}

hb::result<void> subscribe(hb::session &session) {
    constexpr auto mask = hb::event_mask::death | hb::event_mask::join | hb::event_mask::group;
    return hb::subscription::all_nodes(session)
        .and_then([&](const hb::subscription &all) { return session.subscribe("nodes", all, mask); })
        .and_then([&] { return hb::subscription::all_adapters(session); })
        .and_then([&](const hb::subscription &all) { return session.subscribe("adapters", all, mask); });
}

hb::error print_events(hb::session &session) {
    hb::result<hb::event_source> source =
        subscribe(session).and_then([&] { return hb::event_source::open(session); });
    if (!source) {
        return source.error();
    }
    std::printf("watching %zu descriptors\n", source->descriptors().size());
    for (;;) {
        const hb::result<hb::event> event = source->wait();
        if (!event) {
            return event.error();
        }
        const std::string line = line_of(*event);
        if (!line.empty()) {
            std::puts(line.c_str());
        }
    }
}

std::string line_of(const hb::report &report) {
    namespace reports = hb::reports;
    return std::visit(
        hb::overload{[](const reports::current &) { return std::string("current"); },
                     [](const reports::unreachable &r) { return std::string(r.reason.name()); },
                     [](const reports::node_joined &r) { return "node " + std::to_string(r.node) + " joined"; },
                     [](const reports::node_died &r) { return "node " + std::to_string(r.node) + " died"; },
                     [](const auto &) { return std::string(); }},
        report);
}

hb::error print_reports() {
    hb::watch_options options;
    options.adapters = false;
    hb::result<hb::watcher> watcher = hb::watcher::open(options);
    if (!watcher) {
        return watcher.error();
    }
    bool is_moved = false;
    for (;;) {
        const hb::result<hb::report> report = watcher->wait();
        if (!report) {
            return report.error();
        }
        const std::string line = line_of(*report);
        if (!line.empty()) {
            std::puts(line.c_str());
        }
        if (std::holds_alternative<hb::reports::current>(*report) && !is_moved) {
            is_moved = true;
            const hb::result<void> moved = watcher->migrate();
            std::puts(moved ? "moved" : moved.error().name());
            const hb::result<void> again = watcher->follow_service();
            std::puts(again ? "moved again" : again.error().name());
        }
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    if (std::strcmp(argv[1], "abort") == 0) {
        hb::result<int>(hb::error(HB_ERROR_NO_ROUTE)).value();
        return 0;
    }
    if (std::strcmp(argv[1], "move") == 0) {
        std::printf("%s\n", print_reports().name());
        return 1;
    }
    hb::result<hb::session> session =
        std::strcmp(argv[1], "service") == 0 ? hb::session::open_on_service() : hb::session::open();
    const hb::error reason = session ? print_events(*session) : session.error();
    std::printf("%s\n", reason.name());
    return 1;
}
