// SPDX-License-Identifier: Apache-2.0
// The library as a file: its exports and its dependencies.
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::IsSubsetOf;

std::string output_of(const char *command) {
    const std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command, "r"), pclose);
    std::string output;
    char part[4096];
    while (const std::size_t got = pipe ? std::fread(part, 1, sizeof part, pipe.get()) : 0) {
        output.append(part, got);
    }
    return output;
}

std::set<std::string> first_groups(const std::string &text, const char *pattern) {
    const std::regex expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

TEST(SecurityLibrary, ExportsItsFiveCallsAndNothingElse) {
    const std::string symbols = output_of(HB_NM " -D --defined-only " QZ_MSS_LIBRARY);
    const std::set<std::string> expected = {"sec_generate_typed_key", "sec_marshal_typed_key",
                                            "sec_release_typed_key", "sec_unmarshal_typed_key", "sec_wipe"};
    EXPECT_EQ(first_groups(symbols, R"( [A-Za-z] (\S+))"), expected);
}

TEST(SecurityLibrary, NeedsTheLanguagesLibrariesOnly) {
    std::set<std::string> allowed = {"libstdc++.so.6", "libm.so.6",     "libgcc_s.so.1",
                                     "libc.so.6",      "ld-linux.so.2", "ld-linux-x86-64.so.2"};
    if (*HB_SANITIZE != '\0') {
        allowed.insert({"libasan.so.8", "libubsan.so.1", "libtsan.so.2"});
    }
    const std::set<std::string> needed =
        first_groups(output_of(HB_READELF " -d " QZ_MSS_LIBRARY), R"(\(NEEDED\).*\[(.+)\])");
    EXPECT_THAT(needed, IsSubsetOf(allowed));
    EXPECT_TRUE(needed.contains("libc.so.6"));
}

} // namespace
