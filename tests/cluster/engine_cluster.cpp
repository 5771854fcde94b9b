// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/engine_cluster.h"

namespace hb_test {

Engine_Cluster::Engine_Cluster(int hosts, int links, const Engine_Patience &patience,
                               const Engine_Settings &settings)
    : hosts_(hosts, links, settings), patience_(patience) {
    for (int host = 1; host <= hosts; ++host) {
        wispds_.push_back(std::make_unique<Wispd_On_Host>(hosts_, host, engine_cluster_file(patience)));
    }
}

bool Engine_Cluster::start(const Deadline &deadline) {
    hosts_.start_all();
    if (!hosts_.wait_quorum(deadline)) {
        return false;
    }
    for (int host = 1; host <= hosts_.count(); ++host) {
        observers_.push_back(std::make_unique<Observer_On_Host>(hosts_, host));
        if (!wispd(host).start(deadline)) {
            return false;
        }
        clients_.push_back(std::make_unique<Client_On_Host>(hosts_, host));
    }
    return wait_all_up(deadline);
}

bool Engine_Cluster::collect() {
    bool any = false;
    for (const auto &observer : observers_) {
        const std::size_t before = observer->lines().size();
        observer->collect();
        any = any || observer->lines().size() != before;
    }
    for (const auto &client : clients_) {
        const std::size_t before = client->told().size();
        client->collect();
        any = any || client->told().size() != before;
    }
    return any;
}

bool Engine_Cluster::agrees(int host) {
    const Witness &witness = observer(host).witness();
    const Told_Table &table = client(host).table();
    return table.connected() && witness.engine_runs() && table.nodes() == witness.nodes() &&
           table.adapters() == witness.adapters() && table.configured_nodes() == witness.configured_nodes();
}

bool Engine_Cluster::wait_agreement(const Deadline &deadline) {
    return wait_until(
        [&] {
            collect();
            for (int host = 1; host <= clients(); ++host) {
                if (hosts_.running(host) && !agrees(host)) {
                    return false;
                }
            }
            return true;
        },
        deadline);
}

bool Engine_Cluster::wait_all_up(const Deadline &deadline) {
    const auto has_all = [&](int host) {
        const Told_Table &table = client(host).table();
        return table.connected() && table.nodes().size() == hosts_.nodes().size() &&
               table.adapters().size() == hosts_.nodes().size() * static_cast<std::size_t>(hosts_.links()) &&
               agrees(host);
    };
    return wait_until(
        [&] {
            collect();
            for (int host = 1; host <= hosts_.count(); ++host) {
                if (!has_all(host)) {
                    return false;
                }
            }
            return true;
        },
        deadline);
}

Patience Engine_Cluster::model_patience() const {
    Patience patience;
    patience.grace = patience_.grace_seconds;
    return patience;
}

std::vector<std::string> Engine_Cluster::complaints(const Patience &patience) {
    collect();
    std::vector<std::string> all;
    for (int host = 1; host <= static_cast<int>(clients_.size()); ++host) {
        const std::string who = "host " + std::to_string(host) + ": ";
        for (const std::string &objection : client(host).table().objections()) {
            all.push_back(who + objection);
        }
        for (const std::string &fault :
             explain(client(host).told(), observer(host).witness(), patience).faults) {
            all.push_back(who + fault);
        }
    }
    return all;
}

std::string Engine_Cluster::account() {
    collect();
    std::string text = hosts_.account();
    for (int host = 1; host <= static_cast<int>(clients_.size()); ++host) {
        const Witness &witness = observer(host).witness();
        text += "observer of host " + std::to_string(host) + ": nodes " + text_of(witness.nodes()) +
                ", adapters " + text_of(witness.adapters()) + (witness.engine_runs() ? "" : ", no engine") +
                "\n";
        text += client(host).account() + "\n";
    }
    return text;
}

} // namespace hb_test
