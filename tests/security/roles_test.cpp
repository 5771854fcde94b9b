// SPDX-License-Identifier: Apache-2.0
// Each role has exactly the rights that the other tests assume.
#include "tests/security/roles.h"

namespace hb_test {
namespace {

TEST(Roles, HaveTheirUserAndGroups) {
    HB_NEEDS_ROLES();
    const Public_Programs programs(programs_of_this_build());
    EXPECT_EQ("65534\n", programs.run(Role::outsider, {"id", "-u"}).output);
    EXPECT_EQ("65534\n", programs.run(Role::outsider, {"id", "-G"}).output);
    EXPECT_EQ("64001 64101\n", programs.run(Role::client, {"id", "-G"}).output);
    EXPECT_EQ("64003 64101 64102\n", programs.run(Role::actor, {"id", "-G"}).output);
    EXPECT_EQ("64004 64101 64102 64103\n", programs.run(Role::administrator, {"id", "-G"}).output);
    EXPECT_EQ("0\n", programs.run(Role::root, {"id", "-u"}).output);
}

TEST(Roles, CanRunTheProgramsOfTheBuild) {
    HB_NEEDS_ROLES();
    const Public_Programs programs(programs_of_this_build());
    EXPECT_EQ(2, programs.run(Role::outsider, {"hb_attack"}).exit_status);
    EXPECT_EQ(0, programs.run(Role::outsider, {"hbctl", "--version"}).exit_status);
}

} // namespace
} // namespace hb_test
