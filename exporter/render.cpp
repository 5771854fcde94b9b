// SPDX-License-Identifier: Apache-2.0
#include "exporter/render.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

#include "common/printable.h"

namespace exporter {
namespace {

// What common::Cluster_File has for the engine.
constexpr std::array<const char *, 4> ENGINE_STATES{"none", "connected", "silent", "disconnected"};

enum class Type { gauge, counter, info };

using Labels = std::vector<std::pair<std::string_view, std::string>>;

// Writes families of metrics. A name is given without the suffix that OpenMetrics demands of a counter or an info.
class Writer {
  public:
    explicit Writer(Format format) : format_(format) {}

    void begin(const std::string &name, Type type, const std::string &unit, const std::string &help) {
        sample_name_ = name + suffix(type);
        const bool open = format_ == Format::openmetrics;
        const std::string &family = open ? name : sample_name_;
        text_ += "# HELP " + family + " " + help + "\n# TYPE " + family + " " + type_name(type) + "\n";
        if (open && !unit.empty()) {
            text_ += "# UNIT " + family + " " + unit + "\n";
        }
    }

    void sample(const Labels &labels, const std::string &value) {
        text_ += sample_name_;
        char separator = '{';
        for (const auto &[name, label] : labels) {
            text_ += separator;
            text_ += name;
            text_ += "=\"";
            text_ += escaped(label);
            text_ += '"';
            separator = ',';
        }
        text_ += labels.empty() ? " " : "} ";
        text_ += value;
        text_ += '\n';
    }

    std::string finish() {
        if (format_ == Format::openmetrics) {
            text_ += "# EOF\n";
        }
        return std::move(text_);
    }

  private:
    static const char *suffix(Type type) {
        return type == Type::counter ? "_total" : type == Type::info ? "_info" : "";
    }

    const char *type_name(Type type) const {
        if (type == Type::counter) {
            return "counter";
        }
        return type == Type::info && format_ == Format::openmetrics ? "info" : "gauge";
    }

    const Format format_;
    std::string sample_name_;
    std::string text_;
};

std::string decimal(double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.3f", value);
    return text.data();
}

double seconds(std::chrono::duration<double> span) {
    return span.count();
}

double contact_age(const Snapshot &snapshot, Steady_Time now) {
    return std::max(0.0, seconds(now - *snapshot.last_contact));
}

void write_contact(Writer &writer, const Snapshot &snapshot, Steady_Time now, bool up) {
    writer.begin("hb_up", Type::gauge, "", "Whether wispd answers and has reported the cluster: 1 yes, 0 no.");
    writer.sample({}, up ? "1" : "0");
    if (snapshot.last_contact) {
        writer.begin("hb_daemon_contact_seconds", Type::gauge, "seconds",
                     "Time since wispd last sent anything.");
        writer.sample({}, decimal(contact_age(snapshot, now)));
    }
}

Labels with_name(Labels labels, const std::string &name) {
    if (!name.empty()) {
        labels.emplace_back("name", name);
    }
    return labels;
}

void write_nodes(Writer &writer, const Snapshot &snapshot) {
    const std::vector<int> &nodes = snapshot.cluster->nodes;
    writer.begin("hb_nodes_configured", Type::gauge, "", "How many nodes the cluster's configuration has.");
    writer.sample({}, std::to_string(nodes.size()));
    writer.begin("hb_node_up", Type::gauge, "", "State of each configured node: 1 up, 0 down.");
    for (std::size_t at = 0; at < nodes.size(); ++at) {
        if (snapshot.nodes[at] != State::unknown) {
            writer.sample(with_name({{"node", std::to_string(nodes[at])}}, node_name(snapshot, nodes[at])),
                          snapshot.nodes[at] == State::up ? "1" : "0");
        }
    }
}

void write_adapters(Writer &writer, const Snapshot &snapshot) {
    const std::vector<Adapter> &adapters = snapshot.cluster->adapters;
    writer.begin("hb_adapter_up", Type::gauge, "", "State of each configured adapter: 1 up, 0 down.");
    for (std::size_t at = 0; at < adapters.size(); ++at) {
        const Adapter &adapter = adapters[at];
        if (snapshot.adapters[at] != State::unknown) {
            writer.sample(with_name({{"adapter", std::to_string(adapter.number)},
                                     {"node", std::to_string(adapter.node)},
                                     {"network", adapter.network < 0 ? "" : std::to_string(adapter.network)},
                                     {"type", adapter.type},
                                     {"address", adapter.address}},
                                    adapter_name(snapshot, adapter)),
                          snapshot.adapters[at] == State::up ? "1" : "0");
        }
    }
}

void write_networks(Writer &writer, const Snapshot &snapshot) {
    writer.begin("hb_network", Type::info, "", "Name and type of each configured network.");
    for (const Network &network : snapshot.cluster->networks) {
        writer.sample(
            {{"network", std::to_string(network.number)}, {"name", network.name}, {"type", network.type}}, "1");
    }
}

void write_daemon(Writer &writer, const Snapshot &snapshot) {
    if (!snapshot.about) {
        return;
    }
    const common::Cluster_File &about = *snapshot.about;
    writer.begin("hb_engine_state", Type::gauge, "",
                 "State of the engine that wispd follows: 1 for the present state, 0 for the others.");
    for (const char *state : ENGINE_STATES) {
        writer.sample({{"state", state}}, about.engine == state ? "1" : "0");
    }
    if (!about.held_deaths.empty()) {
        writer.begin("hb_deaths_held", Type::counter, "",
                     "Deaths of adapters that wispd held back for settle_milliseconds, by node.");
        for (const auto &[node, deaths] : about.held_deaths) {
            writer.sample({{"node", std::to_string(node)}}, std::to_string(deaths.held));
        }
        writer.begin("hb_deaths_withdrawn", Type::counter, "",
                     "Held deaths that were never reported, because the adapter was alive again, by node.");
        for (const auto &[node, deaths] : about.held_deaths) {
            writer.sample({{"node", std::to_string(node)}}, std::to_string(deaths.withdrawn));
        }
    }
    if (!about.engine_name.empty()) {
        writer.begin("hb_members_rejected", Type::counter, "",
                     "Members of the engine that wispd rejected, because they have no usable node number.");
        writer.sample({}, std::to_string(about.rejected_members));
    }
    writer.begin("hb_wispd", Type::info, "", "Version of wispd, and the name of its cluster.");
    writer.sample(
        {{"version", terminal::printable(about.version)}, {"cluster", terminal::printable(about.cluster)}},
        "1");
    writer.begin("hb_wispd_start_timestamp_seconds", Type::gauge, "seconds",
                 "When wispd started, in seconds since 1970.");
    writer.sample({}, decimal(seconds(about.started.time_since_epoch())));
}

void write_counters(Writer &writer, const Snapshot &snapshot) {
    writer.begin("hb_events", Type::counter, "", "Events received from wispd, by kind.");
    for (std::size_t kind = 0; kind < EVENT_KINDS; ++kind) {
        writer.sample({{"event", event_word(static_cast<Event_Kind>(kind))}},
                      std::to_string(snapshot.events[kind]));
    }
    writer.begin("hb_malformed_events", Type::counter, "",
                 "Events dropped because their contents were invalid.");
    writer.sample({}, std::to_string(snapshot.malformed_events));
    writer.begin("hb_reconnects", Type::counter, "", "Connections to wispd after the first one.");
    writer.sample({}, std::to_string(snapshot.reconnects));
    writer.begin("hb_sequence_gaps", Type::counter, "", "How often events were missing before a received one.");
    writer.sample({}, std::to_string(snapshot.sequence_gaps));
}

void write_last_event(Writer &writer, const Snapshot &snapshot, Steady_Time now) {
    if (snapshot.last_event && snapshot.last_event_mark) {
        writer.begin("hb_last_event_seconds", Type::gauge, "seconds", "Time since the last event arrived.");
        writer.sample({}, decimal(std::max(0.0, seconds(now - *snapshot.last_event_mark))));
        writer.begin("hb_last_event_timestamp_seconds", Type::gauge, "seconds",
                     "When the last event arrived, in seconds since 1970.");
        writer.sample({}, decimal(seconds(snapshot.last_event->time_since_epoch())));
    }
}

} // namespace

std::string escaped(const std::string &value) {
    std::string text;
    for (const char c : value) {
        if (c == '\n') {
            text += "\\n";
            continue;
        }
        if (c == '\\' || c == '"') {
            text += '\\';
        }
        text += c;
    }
    return text;
}

std::string render_metrics(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale,
                           Format format) {
    Writer writer(format);
    const bool up = is_up(snapshot, now, stale);
    write_contact(writer, snapshot, now, up);
    if (up) {
        write_nodes(writer, snapshot);
        write_adapters(writer, snapshot);
        write_networks(writer, snapshot);
        write_daemon(writer, snapshot);
    }
    write_counters(writer, snapshot);
    write_last_event(writer, snapshot, now);
    writer.begin("hb_exporter_build", Type::info, "", "Version of hb_exporter.");
    writer.sample({{"version", HB_EXPORTER_VERSION}}, "1");
    return writer.finish();
}

std::string render_health(const Snapshot &snapshot, Steady_Time now, std::chrono::milliseconds stale) {
    if (is_up(snapshot, now, stale)) {
        const auto nodes_up = std::count(snapshot.nodes.begin(), snapshot.nodes.end(), State::up);
        return "ok: wispd answers, " + std::to_string(nodes_up) + " of " +
               std::to_string(snapshot.nodes.size()) + " nodes are up\n";
    }
    if (!snapshot.last_contact) {
        return "no contact with wispd so far\n";
    }
    std::array<char, 64> age{};
    std::snprintf(age.data(), age.size(), "%.1f", contact_age(snapshot, now));
    return std::string("no contact with wispd: it last answered ") + age.data() + " s ago\n";
}

} // namespace exporter
