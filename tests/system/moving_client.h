// SPDX-License-Identifier: Apache-2.0
// A client that can leave its daemon for the cluster service. Both play the same cluster, and the test reports
// each change to each of them separately.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/system/client.h"
#include "tests/system/daemon.h"
#include "tests/system/setup.h"

namespace hb_test {

// Nodes 1 to 6 with two adapters each, with the same numbers in the daemon and the service. Node 1 is the local
// node. The daemon ends shortly after it was asked to.
std::string moving_cluster_file();

class Moving_Client {
  public:
    // Starts the daemon, and the client with subscriptions n to all nodes and a to all adapters. The client
    // reads events only on command.
    explicit Moving_Client(const Setup &setup, const std::string &service_file = moving_cluster_file());

    testing::AssertionResult daemon_is_told(const std::string &json) { return daemon_.tells(json); }
    testing::AssertionResult service_is_told(const std::string &json) const;
    // Reads that many events and returns them in the model's form.
    std::vector<std::string> take(std::size_t count);
    // Reads everything that has arrived.
    std::vector<std::string> drain();

    Daemon &daemon() { return daemon_; }
    Client &client() { return *client_; }

  private:
    std::string service_socket() const { return directory_.file("service"); }

    Daemon daemon_;
    Temp_Dir directory_;
    std::unique_ptr<Client> client_;
};

} // namespace hb_test
