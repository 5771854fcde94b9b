#include "daemon/change_log.h"

#include "cluster/address.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

namespace {

void log_adapters(const char *what, const std::vector<Adapter_Member> &members, const std::string &tail) {
    std::vector<int64_t> numbers;
    for (const Adapter_Member &member : members) {
        numbers.push_back(member.number);
    }
    if (!numbers.empty()) {
        log_info(list_of(what, numbers) + tail);
    }
}

void log_nodes(const char *what, const std::vector<Hb_Node_Number> &members, const std::string &tail) {
    if (!members.empty()) {
        log_info(list_of(what, {members.begin(), members.end()}) + tail);
    }
}

} // namespace

void log_changes(const Changes &changes, const std::string &failure_id, const Cluster &cluster) {
    const std::string tail = text(", failure id ", failure_id);
    log_adapters("adapters died", changes.adapter_deaths, tail);
    log_nodes("nodes died", changes.node_deaths, tail);
    if (changes.configuration_updated) {
        log_info(text("configuration ", cluster.configuration_sequence(), ": ", cluster.configured_adapters(),
                      " adapters"));
    }
    log_adapters("adapters joined", changes.adapter_joins, "");
    log_nodes("nodes joined", changes.node_joins, "");
    if (changes.heartbeat) {
        log_info(text("heartbeat settings: threshold ", changes.heartbeat->threshold_seconds, " s ",
                      changes.heartbeat->threshold_microseconds, " us, ",
                      changes.heartbeat->enabled ? "enabled" : "disabled"));
    }
    if (changes.foreign_instance) {
        log_info(text("foreign instance ", changes.foreign_instance->instance, " reported from ",
                      address_text(changes.foreign_instance->sender)));
    }
    if (!changes.failure_report.empty()) {
        log_info(text("failure reported: ", changes.failure_report));
    }
}

} // namespace wispd
