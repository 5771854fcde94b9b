// SPDX-License-Identifier: Apache-2.0
// The accounts that attacks run as, and the programs in a place where these accounts can run them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// An outsider is in none of wispd's groups. A client is in [daemon] group, an actor also in act_group, and an
// administrator also in control_group. No account on a Debian system has these ids.
enum class Role { root, outsider, client, other_client, actor, administrator };

inline constexpr int OUTSIDER_USER = 65534;
inline constexpr int CLIENT_USER = 64001;
inline constexpr int OTHER_CLIENT_USER = 64002;
inline constexpr int ACTOR_USER = 64003;
inline constexpr int ADMINISTRATOR_USER = 64004;
inline constexpr int CLIENT_GROUP = 64101;
inline constexpr int ACT_GROUP = 64102;
inline constexpr int CONTROL_GROUP = 64103;

int user_of(Role role);

struct Ended {
    int exit_status = -1; // -1: it did not end by itself
    std::string output;
    std::string errors;
};
void PrintTo(const Ended &ended, std::ostream *out);

// Copies of a build's programs and libraries that every user may run; the build directory may be closed to
// others.
class Public_Programs {
  public:
    explicit Public_Programs(const Programs &programs);

    // words[0] is a program of the build, or any program in PATH.
    std::unique_ptr<Child_Process> start(Role role, const std::vector<std::string> &words) const;
    // Runs it to its end, with nothing on its standard input.
    Ended run(Role role, const std::vector<std::string> &words) const;
    std::string path(const std::string &name) const { return directory_.file(name); }

  private:
    Temp_Dir directory_;
};

// Returns why attacks from other accounts are impossible here; empty if they are possible.
std::string why_no_roles();

} // namespace hb_test

// For SetUp or the start of a test: skips the test where other accounts cannot be used.
#define HB_NEEDS_ROLES()                                                                                       \
    do {                                                                                                       \
        if (const std::string why = hb_test::why_no_roles(); !why.empty()) {                                   \
            GTEST_SKIP() << why;                                                                               \
        }                                                                                                      \
    } while (false)
