// SPDX-License-Identifier: Apache-2.0
// A user that uses up its whole share takes nothing from other users or root.
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/security/guarded_daemon.h"

namespace hb_test {
namespace {

using nlohmann::json;
using testing::HasSubstr;

class Quota : public testing::Test {
  protected:
    void SetUp() override { HB_NEEDS_ROLES(); }
    void TearDown() override {
        if (guarded_) {
            EXPECT_TRUE(guarded_->daemon().stop());
        }
    }

    void start(const std::string &settings) {
        guarded_ = std::make_unique<Guarded_Daemon>(groups_of_roles() + settings);
        ASSERT_TRUE(guarded_->start());
    }
    // Returns its first line. The attack keeps what it got until release().
    std::string attack(Role role, std::vector<std::string> words) {
        words.insert(words.begin(), "hb_attack");
        attacks_.push_back(guarded_->programs().start(role, words));
        return attacks_.back()->read_line().value_or("nothing");
    }
    void release() {
        for (const auto &attack : attacks_) {
            attack->close_input();
            EXPECT_TRUE(attack->wait());
        }
        attacks_.clear();
    }
    std::string socket() { return guarded_->daemon().socket(); }
    std::string control() { return guarded_->daemon().control(); }
    // What `wispctl state` shows about a user; null if it holds nothing.
    json holding(Role role) {
        const json users = guarded_->state().at("users");
        for (const json &user : users) {
            if (user.at("uid") == user_of(role)) {
                return user;
            }
        }
        return nullptr;
    }
    bool can_ask(Role role) { return guarded_->hbctl(role, {"status"}).exit_status == 0; }

    std::unique_ptr<Guarded_Daemon> guarded_;
    std::vector<std::unique_ptr<Child_Process>> attacks_;
};

TEST_F(Quota, ConnectionsOfAUserAreBounded) {
    start("user_connections = 20\n");
    EXPECT_EQ(attack(Role::client, {"hold-connections", socket(), "100"}), "holds 20 of 100 connections");
    EXPECT_EQ(holding(Role::client).at("connections"), 20);
    const Ended rejected = guarded_->hbctl(Role::client, {"status"});
    EXPECT_EQ(rejected.exit_status, 1);
    EXPECT_THAT(rejected.errors, HasSubstr("rejected this user's connection (see its log)"));
    EXPECT_TRUE(guarded_->daemon().wait_logged(
        "uid 64001 rejected: its user has 20 connections, the limit (user_connections)"));
    EXPECT_TRUE(can_ask(Role::other_client));
    EXPECT_TRUE(can_ask(Role::root));
    release();
    EXPECT_TRUE(wait_until([&] { return holding(Role::client) == nullptr; }));
    EXPECT_TRUE(can_ask(Role::client));
}

TEST_F(Quota, SomeConnectionsAreReservedForRoot) {
    start("user_connections = 1000\nmax_connections = 32\n");
    EXPECT_EQ(attack(Role::client, {"hold-connections", socket(), "100"}), "holds 16 of 100 connections");
    EXPECT_FALSE(can_ask(Role::other_client));
    EXPECT_TRUE(can_ask(Role::root));
}

// The limit of this process, which wispd inherits.
class Descriptor_Limit {
  public:
    explicit Descriptor_Limit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit lowered{limit, limit};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &lowered), 0);
    }
    Descriptor_Limit(const Descriptor_Limit &) = delete;
    Descriptor_Limit &operator=(const Descriptor_Limit &) = delete;
    ~Descriptor_Limit() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
};

TEST_F(Quota, SomeDescriptorsAreReservedForRootAndControl) {
    {
        const Descriptor_Limit limit(400);
        start("user_connections = 1000\n");
    }
    EXPECT_TRUE(guarded_->daemon().wait_logged("the descriptor limit permits 272 connections"));
    EXPECT_EQ(attack(Role::client, {"hold-connections", socket(), "300"}), "holds 256 of 300 connections");
    EXPECT_TRUE(can_ask(Role::root));
    EXPECT_EQ(guarded_->wispctl(Role::root, {"node-down", "3"}).exit_status, 0);
    EXPECT_THAT(guarded_->daemon().log(), testing::Not(HasSubstr("cannot accept a client")));
}

TEST_F(Quota, SubscriptionsOfAUserAreBounded) {
    start("user_subscriptions = 100\n");
    EXPECT_EQ(attack(Role::client, {"hold-subscriptions", socket(), "4", "40"}),
              "holds 80 of 160 subscriptions");
    EXPECT_EQ(holding(Role::client).at("subscriptions"), 80);
    EXPECT_TRUE(
        guarded_->daemon().wait_logged("its user has 100 subscriptions, the limit (user_subscriptions)"));
    EXPECT_EQ(attack(Role::other_client, {"hold-subscriptions", socket(), "1", "40"}),
              "holds 40 of 40 subscriptions");
}

TEST_F(Quota, QueuedBytesOfAUserAreBounded) {
    start("user_queue_bytes = 1000000\n");
    const std::string held = attack(Role::client, {"fill-queues", socket(), "8", "4000"});
    EXPECT_THAT(held, HasSubstr(" of 8 connections that do not read"));
    EXPECT_NE(held.front(), '8') << held;
    EXPECT_EQ(held.substr(0, 6), "holds ");
    const json user = holding(Role::client);
    EXPECT_LE(user.value("queued_bytes", 0), 1000000);
    EXPECT_TRUE(guarded_->daemon().wait_logged("user_queue_bytes permits 1000000"));
    EXPECT_TRUE(can_ask(Role::other_client));
    EXPECT_TRUE(can_ask(Role::root));
}

TEST_F(Quota, ControlConnectionsOfAUserAreBoundedAndSomeAreReservedForRoot) {
    start("");
    EXPECT_EQ(attack(Role::administrator, {"hold-control", control(), "100"}),
              "holds 16 of 100 control connections");
    EXPECT_EQ(holding(Role::administrator).at("control_connections"), 16);
    const Ended refused = guarded_->wispctl(Role::administrator, {"state"});
    EXPECT_EQ(refused.exit_status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("this user has 16 control connections already"));
    EXPECT_EQ(guarded_->wispctl(Role::root, {"state"}).exit_status, 0);
}

TEST_F(Quota, IdleControlConnectionsExpire) {
    start("control_idle_seconds = 1\n");
    EXPECT_EQ(attack(Role::administrator, {"hold-control", control(), "10"}),
              "holds 10 of 10 control connections");
    EXPECT_TRUE(wait_until([&] { return holding(Role::administrator) == nullptr; }));
    EXPECT_EQ(guarded_->wispctl(Role::administrator, {"state"}).exit_status, 0);
}

// Each of these requests is expensive for wispd in a full cluster, and the attack never pauses.
TEST_F(Quota, TimeIsLeftToRootWhileAUserAsksWithoutEnd) {
    guarded_ = std::make_unique<Guarded_Daemon>();
    guarded_->daemon().write_configuration(full_cluster_file() + "\n[daemon]\n" + groups_of_roles());
    ASSERT_TRUE(guarded_->start());
    EXPECT_EQ("flooding", attack(Role::actor, {"flood", guarded_->daemon().socket(), "64"}));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, guarded_->hbctl(Role::root, {"nodes", "--timeout", "60"}).exit_status);
    }
    release();
}

} // namespace
} // namespace hb_test
