// The model and the clients as JSON, for `wispctl state`.
#ifndef WISPD_STATE_REPORT_H
#define WISPD_STATE_REPORT_H

#include <string>
#include <vector>

#include "daemon/model/cluster.h"
#include "daemon/publisher/publisher.h"

namespace wispd {

struct Timeline_Status {
    std::size_t events = 0;
    std::size_t played = 0;
};

// {"ok":true,"state":{...}} in one line.
std::string state_line(const Cluster &cluster, const std::vector<Client_Status> &clients,
                       const Timeline_Status &timeline);

} // namespace wispd

#endif
