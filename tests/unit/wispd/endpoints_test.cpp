// SPDX-License-Identifier: Apache-2.0
#include <sys/socket.h>
#include <sys/un.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "daemon/publisher/endpoints.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using wispd::Delivery;
using wispd::Endpoints;
using wispd::Multicast;

class WispdEndpoints : public testing::Test {
  protected:
    hb_test::Unique_Fd receiver(const std::string &path) {
        hb_test::Unique_Fd made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        return made;
    }

    static std::string next(const hb_test::Unique_Fd &from) {
        char buffer[16384];
        const ssize_t count = recv(from.get(), buffer, sizeof buffer, 0);
        return count < 0 ? "nothing" : std::string(buffer, static_cast<std::size_t>(count));
    }

    static Multicast multicast(std::vector<int> nodes, const std::string &payload) {
        return {9000, 20, false, std::move(nodes), {payload.begin(), payload.end()}};
    }

    hb_test::Temp_Dir directory_;
    wispd::Cluster cluster_{wispd_test::three_nodes()};
};

TEST_F(WispdEndpoints, EachListedNodeGetsOneDatagram) {
    const hb_test::Unique_Fd two = receiver(directory_.file("2"));
    const hb_test::Unique_Fd three = receiver(directory_.file("3"));
    const Endpoints endpoints({{2, 9000, directory_.file("2")}, {3, 9000, directory_.file("3")}});
    const Delivery delivery = endpoints.deliver(multicast({2, 3}, "ping"), compute_routes(cluster_));
    EXPECT_THAT(delivery.delivered, ElementsAre(2, 3));
    EXPECT_EQ(next(two), "ping");
    EXPECT_EQ(next(two), "nothing");
    EXPECT_EQ(next(three), "ping");
}

TEST_F(WispdEndpoints, EmptyAndLargePayloadsArriveWhole) {
    const hb_test::Unique_Fd two = receiver(directory_.file("2"));
    const Endpoints endpoints({{2, 9000, directory_.file("2")}});
    endpoints.deliver(multicast({2}, ""), compute_routes(cluster_));
    EXPECT_EQ(next(two), "");
    endpoints.deliver(multicast({2}, std::string(10000, 'x')), compute_routes(cluster_));
    EXPECT_EQ(next(two), std::string(10000, 'x'));
}

TEST_F(WispdEndpoints, WhoCannotBeReachedIsTold) {
    const hb_test::Unique_Fd two = receiver(directory_.file("2"));
    const Endpoints endpoints({{2, 9001, directory_.file("2")}, {1, 9000, directory_.file("absent")}});
    cluster_.node_down(3);
    const Delivery delivery =
        endpoints.deliver(multicast({1, 2, 3, 7, 8, -1, 2000000000}, "x"), compute_routes(cluster_));
    EXPECT_THAT(delivery.delivered, IsEmpty());
    EXPECT_THAT(delivery.no_endpoint, ElementsAre(2));
    EXPECT_THAT(delivery.no_route, ElementsAre(3, 7, 8, -1, 2000000000));
    ASSERT_EQ(delivery.failed.size(), 1u);
    EXPECT_EQ(delivery.failed[0].first, 1);
    EXPECT_THAT(delivery.failed[0].second, HasSubstr("No such file"));
    EXPECT_EQ(next(two), "nothing");
}

TEST_F(WispdEndpoints, ReceiverThatDoesNotReadHoldsNobodyUp) {
    const hb_test::Unique_Fd two = receiver(directory_.file("2"));
    const Endpoints endpoints({{2, 9000, directory_.file("2")}});
    const wispd::Routes routes = compute_routes(cluster_);
    Delivery last;
    for (int i = 0; i < 100000 && last.failed.empty(); ++i) {
        last = endpoints.deliver(multicast({2}, std::string(1000, 'x')), routes);
    }
    EXPECT_EQ(last.failed.size(), 1u);
}

} // namespace
