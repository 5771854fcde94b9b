// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/hbctl/top/sample_model.h"

#include "hb_client.h"

namespace hbctl_test {

using namespace hbctl;

Moment moment(std::chrono::milliseconds later) {
    return {Wall_Time(std::chrono::seconds(1'700'000'000)) + later,
            std::chrono::steady_clock::time_point(std::chrono::hours(1)) + later};
}

Picture picture_of(const Sample &sample) {
    Picture picture;
    picture.local_node = 1;
    for (int network = 0; network < sample.networks; ++network) {
        picture.networks.push_back({network, "net_" + std::to_string(network), "ether", {}});
    }
    for (int node = 1; node <= sample.nodes; ++node) {
        picture.nodes.push_back({node, node == 1, Liveness::up, {}});
        for (int network = 0; network < sample.networks; ++network) {
            const auto adapter = static_cast<std::uint32_t>(node * 48 + network);
            const std::string address = "10." + std::to_string(network) + "." + std::to_string(node / 256) +
                                        "." + std::to_string(node % 256);
            picture.nodes.back().adapters.push_back(adapter);
            picture.networks[static_cast<std::size_t>(network)].adapters.push_back(adapter);
            picture.adapters.push_back({adapter, node, network, address, "eth0", Liveness::up});
        }
    }
    picture.index();
    return picture;
}

Top_Model model_of(const Sample &sample) {
    Top_Model model("/run/wispd/socket");
    Daemon_Facts facts;
    if (sample.named) {
        facts.cluster = "sample";
        facts.version = "1.0.0";
        facts.engine = "connected";
        facts.started = moment().wall - std::chrono::hours(50);
        for (int node = 1; node <= sample.nodes; ++node) {
            facts.nodes[node] = "node-" + std::to_string(node);
        }
    }
    model.describe(facts);
    model.connect(picture_of(sample), moment());
    return model;
}

void let_die(int node, const Sample &sample, Top_Model &model) {
    Event_Record event;
    event.kind = HB_EVENT_DEATH;
    event.time = moment().wall;
    event.member_kind = Member_Kind::adapters;
    for (int network = 0; network < sample.networks; ++network) {
        const Adapter_Row *adapter = model.picture().adapter(static_cast<std::uint32_t>(node * 48 + network));
        event.adapters.push_back({adapter->number, 1, false, node, network, "net_" + std::to_string(network),
                                  adapter->address, adapter->type});
    }
    model.add(event, {}, moment());
    Event_Record death;
    death.kind = HB_EVENT_DEATH;
    death.time = moment().wall;
    death.member_kind = Member_Kind::nodes;
    death.nodes = {{node, {"10.0.0." + std::to_string(node)}}};
    death.ffdc_id = "20261122T072446Z-00006a0e-0011223344556677";
    model.add(death, {}, moment());
}

} // namespace hbctl_test
