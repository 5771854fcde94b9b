// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "host/peer.h"
#include "tests/support/unique_fd.h"

namespace {

using wispd::is_authorised;
using wispd::is_trusted;
using wispd::Peer;

constexpr gid_t NO_GROUP = static_cast<gid_t>(-1);

TEST(WispdPeer, IsWhoConnected) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const hb_test::Unique_Fd one(ends[0]);
    const hb_test::Unique_Fd other(ends[1]);
    Peer peer = wispd::peer_of(one.get());
    EXPECT_EQ(peer.pid, getpid());
    EXPECT_EQ(peer.uid, geteuid());
    EXPECT_EQ(peer.gid, getegid());
    std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(groups.size()), groups.data());
    std::sort(groups.begin(), groups.end());
    std::sort(peer.groups.begin(), peer.groups.end());
    EXPECT_EQ(peer.groups, groups);
}

TEST(WispdPeer, WhoIsUnknownMayDoNothing) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const hb_test::Unique_Fd one(ends[0]);
    const hb_test::Unique_Fd other(ends[1]);
    EXPECT_FALSE(is_authorised(wispd::peer_of(one.get()), static_cast<uid_t>(-1), NO_GROUP));
}

TEST(WispdPeer, RootAndTheDaemonsOwnUserAreAuthorisedWithoutAGroup) {
    EXPECT_TRUE(is_authorised({1, 0, 0, {}}, 500, NO_GROUP));
    EXPECT_TRUE(is_authorised({1, 500, 500, {}}, 500, NO_GROUP));
    EXPECT_FALSE(is_authorised({1, 501, 500, {500}}, 500, NO_GROUP));
}

TEST(WispdPeer, MembersOfTheGroupAreAuthorised) {
    EXPECT_TRUE(is_authorised({1, 501, 77, {}}, 500, 77));
    EXPECT_TRUE(is_authorised({1, 501, 501, {4, 77, 9}}, 500, 77));
    EXPECT_FALSE(is_authorised({1, 501, 501, {4, 9}}, 500, 77));
}

TEST(WispdPeer, MembershipOfNoGroupMakesTrusted) {
    EXPECT_TRUE(is_trusted({1, 0, 0, {}}, 500));
    EXPECT_TRUE(is_trusted({1, 500, 500, {}}, 500));
    EXPECT_FALSE(is_trusted({1, 501, 0, {0, 500}}, 500));
    EXPECT_FALSE(is_trusted({1, static_cast<uid_t>(-1), 0, {}}, static_cast<uid_t>(-1)));
}

} // namespace
