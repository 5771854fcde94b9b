// SPDX-License-Identifier: Apache-2.0
// This machine's interfaces, as the kernel reports them, in the test's own network namespace.
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <sched.h>
#include <thread>

#include <gtest/gtest.h>

#include "cluster/address.h"
#include "engine/corosync/netlink_interfaces.h"
#include "tests/cluster/cluster_test.h"
#include "tests/support/deadline.h"

namespace hb_test {
namespace {

class NetlinkInterfacesTest : public ClusterTest {};

void order(const char *command) {
    ASSERT_EQ(std::system(command), 0) << command;
}

bool wait_carries(wispd::Local_Interfaces &interfaces, const char *address, bool carries) {
    const Hb_IP_address6 wanted = wispd::parse_address(address).value();
    const Deadline deadline;
    while (interfaces.carries(wanted) != carries && !deadline.over()) {
        pollfd waiting{interfaces.descriptor(), POLLIN, 0};
        poll(&waiting, 1, 100);
        interfaces.dispatch();
    }
    return interfaces.carries(wanted) == carries;
}

TEST_F(NetlinkInterfacesTest, ACarrierThatIsLostIsToldEveryTime) {
    std::thread([] { // only this thread is in the other namespace
        ASSERT_EQ(unshare(CLONE_NEWNET), 0);
        const std::unique_ptr<wispd::Local_Interfaces> interfaces = wispd::watch_interfaces();
        order("ip link set lo up");
        order("ip link add veth0 type veth peer name veth1");
        order("ip addr add 10.8.8.8/24 dev veth0");
        order("ip link set veth0 up");
        for (int time = 0; time < 3; ++time) {
            order("ip link set veth1 up");
            EXPECT_TRUE(wait_carries(*interfaces, "10.8.8.8", true)) << time;
            order("ip link set veth1 down");
            EXPECT_TRUE(wait_carries(*interfaces, "10.8.8.8", false)) << time;
        }
    })
        .join();
}

} // namespace
} // namespace hb_test
