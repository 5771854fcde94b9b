// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "daemon/state_report.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using namespace std::chrono_literals;
using nlohmann::json;

class WispdStateReport : public testing::Test {
  protected:
    json state() {
        const wispd::Routes routes = compute_routes(cluster_);
        const json answer = json::parse(wispd::state_line({{"1.2.3", 90500ms, "warning"},
                                                           cluster_,
                                                           control_,
                                                           routes,
                                                           9,
                                                           true,
                                                           keyring_,
                                                           clients_,
                                                           users_,
                                                           {},
                                                           engine_,
                                                           engine_type_,
                                                           false,
                                                           now_}));
        EXPECT_EQ(answer["ok"], true);
        return answer["state"];
    }

    void ask(Hb_Client_Request kind, int64_t number, int32_t seconds = 0, const char *interface = "") {
        control_.heed(control_.act({kind, number, {}, seconds, interface}, now_).changes);
    }

    wispd::Time now_{1000s};
    wispd::Cluster cluster_{wispd_test::three_nodes()};
    wispd::Node_Control control_{cluster_, {2s, 60}};
    wispd::Keyring keyring_{{true, SEC_KEY_TYPE_AES_CMAC, 16, {}}};
    std::vector<wispd::Client_Status> clients_;
    std::map<uid_t, wispd::User_Status> users_;
    const wispd::Engine_Status *engine_ = nullptr;
    const char *engine_type_ = "corosync";
};

TEST_F(WispdStateReport, ShowsSuspicionsAndGrace) {
    EXPECT_EQ(state()["suspicions"], json::array());
    EXPECT_EQ(state()["graces"], json::array());
    ask(HB_NODE_MAY_BE_DOWN, 3);
    ask(HB_ADAPTER_MAY_BE_DOWN, 4);
    ask(HB_ADAPTER_GRACE_REQ, 0, 5);
    now_ += 500ms;
    EXPECT_EQ(state()["suspicions"], json::parse(R"([{"node":3,"seconds_left":1.5},
                                                     {"adapter":4,"seconds_left":1.5}])"));
    EXPECT_EQ(state()["graces"], json::parse(R"([{"adapter":2,"seconds_left":4.5}])"));
    now_ += 5s;
    EXPECT_EQ(state()["graces"], json::array());
    EXPECT_EQ(state()["suspicions"][0], json::parse(R"({"node":3,"seconds_left":0.0})"));
}

TEST_F(WispdStateReport, ShowsWhatHoldsAnAdapterDown) {
    ask(HB_DISABLE_ADAPTER, 0);
    ask(HB_IFCONFIG_DOWN, 1);
    const json adapters = state()["nodes"][0]["adapters"];
    EXPECT_EQ(adapters[0]["disabled"], true);
    EXPECT_FALSE(adapters[0].contains("interface"));
    EXPECT_EQ(adapters[1]["interface"], "down");
    ask(HB_UNCONFIGURE_ADAPTER, 0);
    EXPECT_EQ(state()["nodes"][0]["adapters"][0]["address"], "none");
}

TEST_F(WispdStateReport, ShowsManualControlAndStaleMessages) {
    EXPECT_EQ(state()["manual_control"], json::parse(R"({"all":false,"interfaces":[]})"));
    ask(HB_ENABLE_MANUAL_CONTROL_NIMS, -1, 0, "eth0");
    EXPECT_EQ(state()["manual_control"], json::parse(R"({"all":false,"interfaces":["eth0"]})"));
    ask(HB_ENABLE_MANUAL_CONTROL_NIMS, -1);
    ask(HB_DISABLE_MANUAL_CONTROL_NIMS, -1, 0, "eth1");
    EXPECT_EQ(state()["manual_control"], json::parse(R"({"all":true,"except":["eth1"]})"));
    EXPECT_EQ(state()["discard_stale_messages"], false);
    ask(HB_DISCARD_STALE_MESSAGES, -1);
    EXPECT_EQ(state()["discard_stale_messages"], true);
}

TEST_F(WispdStateReport, ShowsRoutes) {
    cluster_.node_down(2);
    EXPECT_EQ(state()["routes"], json::parse(R"([{"node":1,"ip":true,"hops":["10.1.0.1"]},
                                                 {"node":3,"ip":true,"hops":["10.1.0.1","10.1.0.3"]}])"));
    EXPECT_EQ(state()["route_sequence"], 9);
    EXPECT_EQ(state()["routes_current"], true);
}

TEST_F(WispdStateReport, ShowsHowManyKeysThereAreAndNoneOfThem) {
    keyring_.rotate();
    keyring_.rotate();
    EXPECT_EQ(state()["security"], json::parse(R"({"enabled":true,"generation":5,"key_type":"aes-cmac",
                                                   "key_length":16,"keys":3,"cached_keys":1})"));
}

TEST_F(WispdStateReport, ShowsClientsHeartbeatsAndRights) {
    clients_.push_back({1, 4711, 501, 7, 0, false, 4294967295u, {}});
    clients_.push_back({2, 4712, 0, 0, 0, true, {}, {}});
    EXPECT_EQ(state()["clients"][0]["heartbeat"], 4294967295u);
    EXPECT_EQ(state()["clients"][0]["may_act"], false);
    EXPECT_FALSE(state()["clients"][1].contains("heartbeat"));
    EXPECT_EQ(state()["clients"][1]["may_act"], true);
}

TEST_F(WispdStateReport, ShowsWhatEachUserHolds) {
    EXPECT_EQ(state()["users"], json::array());
    users_[501] = {{2, 7, 4096}, 1};
    EXPECT_EQ(state()["users"],
              json::parse(R"([{"uid":501,"connections":2,"subscriptions":7,"queued_bytes":4096,
                                                 "control_connections":1}])"));
}

TEST_F(WispdStateReport, ShowsTheDaemonItself) {
    EXPECT_EQ(state()["version"], "1.2.3");
    EXPECT_EQ(state()["uptime_seconds"], 90.5);
    EXPECT_EQ(state()["log_level"], "warning");
}

TEST_F(WispdStateReport, SaysWhereTheClusterComesFrom) {
    EXPECT_EQ(state()["source"], json({{"type", "file"}}));
    wispd::Engine_Status status;
    status.connected = true;
    engine_ = &status;
    EXPECT_EQ(state()["source"],
              json({{"type", "corosync"}, {"engine", "connected"}, {"awaited_nodes", json::array()}}));
    status.silent = true;
    EXPECT_EQ(state()["source"]["engine"], "silent");
    status = {};
    status.trouble = "it ended";
    status.attempts = 3;
    status.refused = "no number";
    status.awaited = {2, 3};
    EXPECT_EQ(state()["source"], json({{"type", "corosync"},
                                       {"engine", "disconnected"},
                                       {"trouble", "it ended"},
                                       {"attempts", 3},
                                       {"refused_configuration", "no number"},
                                       {"awaited_nodes", {2, 3}}}));
}

} // namespace
