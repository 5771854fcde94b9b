// SPDX-License-Identifier: Apache-2.0
// A small cluster in the configuration table, as if the library had been opened.
//
//   nodes 0 to 3, three adapter slots each; node 1 has adapters 3 and 4, node 3 has adapter 9
//   network 0 "net_a" (ether), network 1 "net_b" (ib), network 2 not configured
//   delivered in the order 9, 4, 3; adapters 4 and 3 have the same address
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hb_client.h"
#include "tests/support/environment_guard.h"
#include "tests/support/temp_dir.h"

// 16 bytes in memory order.
Hb_IP_address6 address_of(const std::vector<unsigned> &bytes);
Hb_IP_address6 mapped(unsigned a, unsigned b, unsigned c, unsigned d);

class Cluster_Test : public testing::Test {
  protected:
    Cluster_Test();
    ~Cluster_Test() override;

    // Appends an adapter to the table; the networks do not change.
    static void add_adapter(Hb_Adapter_Number number, Hb_Network_Number network, const Hb_IP_address6 &address,
                            const std::string &type, Hb_Entity_State state);
    // The state before opening: the table is empty, and no daemon can be reached.
    void close_library();

  private:
    hb_test::Temp_Dir directory_;
    std::unique_ptr<hb_test::Environment_Guard> no_daemon_;
};
