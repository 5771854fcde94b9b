// SPDX-License-Identifier: Apache-2.0
// Migrates this process from the daemon to the operating system's cluster service.
#pragma once

#include <optional>
#include <string>

namespace hbctl {

enum class Obstacle { none, service, handlers, local_node, nodes, memory };

struct Preparation {
    Obstacle obstacle = Obstacle::none;
    std::optional<int> error; // the library's number, if it sets one

    bool succeeded() const { return obstacle == Obstacle::none; }
};

// Prepares the migration of the open library. Aborts a preparation that failed.
Preparation prepare_migration();

// Returns why it failed, in words and with the number.
std::string obstacle_text(const Preparation &preparation);

} // namespace hbctl
