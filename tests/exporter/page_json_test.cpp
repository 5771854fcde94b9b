// SPDX-License-Identifier: Apache-2.0
// The texts here are typed by hand: they are what the page's script reads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exporter/page.h"
#include "exporter/page_json.h"

namespace exporter {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::seconds STALE{2};
const Moment NOW{Steady_Time{std::chrono::hours(1)}, Wall_Time(std::chrono::milliseconds(1700000010000))};

Moment later(std::chrono::milliseconds span) {
    return {NOW.steady + span, NOW.wall + span};
}

Snapshot sample() {
    const auto cluster = std::make_shared<Cluster>();
    cluster->local_node = 2;
    cluster->nodes = {1, 2, 7};
    cluster->networks = {{0, "net_a", "ether"}};
    cluster->adapters = {{2, 1, 0, "eth0", "10.1.0.1"}, {5, 2, -1, "eth1", "2001:db8::3"}};
    const auto about = std::make_shared<common::Cluster_File>();
    about->cluster = "</script>";
    about->version = "1.0.0";
    about->started = Wall_Time(std::chrono::seconds(1600000000));
    about->engine = "connected";
    about->nodes = {{1, "alpha"}, {2, "\"b\"\\\xff"}};
    Snapshot snapshot;
    snapshot.cluster = cluster;
    snapshot.about = about;
    snapshot.nodes = {State::up, State::down, State::unknown};
    snapshot.adapters = {State::up, State::down};
    snapshot.connected = true;
    snapshot.nodes_reported = true;
    snapshot.adapters_reported = true;
    snapshot.last_contact = NOW.steady - std::chrono::milliseconds(250);
    snapshot.events = {4, 3};
    snapshot.malformed_events = 11;
    snapshot.reconnects = 12;
    snapshot.sequence_gaps = 13;
    remember(snapshot, {0, Wall_Time(std::chrono::milliseconds(1700000000125)), "death", "node alpha", "F1"});
    remember(snapshot, {0, Wall_Time(std::chrono::milliseconds(1700000000126)), "join", "node alpha", ""});
    return snapshot;
}

TEST(PageJson, HasTheConfigurationWithNames) {
    Snapshot snapshot = sample();
    EXPECT_THAT(
        render_page_cluster(snapshot),
        AllOf(HasSubstr(R"({"cluster":"</script>","local":2,"nodes":[[1,"alpha"],[2,"\"b\")"),
              HasSubstr(R"([7,""]],"networks":[[0,"net_a","ether"]],"adapters":[[2,1,0,"eth0","10.1.0.1"],)"
                        R"([5,2,-1,"eth1","2001:db8::3"]]})"),
              Not(HasSubstr("\xff"))));
    snapshot.about = nullptr;
    EXPECT_THAT(render_page_cluster(snapshot),
                HasSubstr(R"({"cluster":"","local":2,"nodes":[[1,""],[2,""],[7,""]],)"));
}

TEST(PageJson, HasOneLetterForEachStateAndTheNewestEventFirst) {
    EXPECT_EQ(
        render_page_state(sample(), NOW, STALE),
        R"({"exporter":"1.0.0","time":1700000010000,"up":true,"contact":1700000009750,)"
        R"("wispd":{"version":"1.0.0","started":1600000000000,"engine":"connected"},)"
        R"("nodes":"ud?","adapters":"ud","received":7,"malformed":11,"reconnects":12,"gaps":13,"events":[)"
        R"({"number":2,"time":1700000000126,"event":"join","what":"node alpha","failure":""},)"
        R"({"number":1,"time":1700000000125,"event":"death","what":"node alpha","failure":"F1"}]})");
}

TEST(PageJson, HasNoStatesWithoutContact) {
    EXPECT_THAT(
        render_page_state(sample(), later(STALE), STALE),
        AllOf(HasSubstr(R"("up":false,"contact":1700000009750,"wispd":null,"nodes":"???","adapters":"??",)"),
              HasSubstr(R"("what":"node alpha")")));
    EXPECT_THAT(render_page_state(Snapshot{}, NOW, STALE), HasSubstr(R"("up":false,"contact":null,)"));
}

TEST(PageJson, ABeatHasTheTimeAndTheLastContact) {
    EXPECT_EQ(render_page_beat(sample(), NOW), R"({"time":1700000010000,"contact":1700000009750})");
    EXPECT_EQ(render_page_beat(Snapshot{}, NOW), R"({"time":1700000010000,"contact":null})");
}

TEST(Page, HasANonceOfItsOwnAndNoOutsideAssets) {
    const Page one = make_page();
    const Page other = make_page();
    EXPECT_NE(one.security_policy, other.security_policy);
    const std::string before = "script-src 'nonce-";
    const std::size_t at = one.security_policy.find(before);
    ASSERT_NE(at, std::string::npos);
    constexpr std::size_t digits = 32;
    const std::string nonce = one.security_policy.substr(at + before.size(), digits);
    EXPECT_THAT(one.html,
                AllOf(HasSubstr("<script nonce=\"" + nonce + "\">"),
                      HasSubstr("<style nonce=\"" + nonce + "\">"), HasSubstr("data-version=\"1.0.0\"")));
    EXPECT_THAT(one.security_policy, AllOf(HasSubstr("default-src 'none'"), HasSubstr("frame-ancestors 'none'"),
                                           Not(HasSubstr("unsafe"))));
    for (const char *outside :
         {"@NONCE@", "@js@", "@css@", "http://1", "https://", "src=", "@import", "url("}) {
        EXPECT_THAT(one.html, Not(HasSubstr(outside)));
    }
}

} // namespace
} // namespace exporter
