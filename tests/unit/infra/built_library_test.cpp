// SPDX-License-Identifier: Apache-2.0
// The exports and dependencies of the built libhb_client.so.
#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/source_tree.h"

namespace {

using testing::IsEmpty;

using Names = std::set<std::string>;

const std::string ROOT = HB_SOURCE_DIR;

struct Pipe_Closer {
    void operator()(FILE *pipe) const { pclose(pipe); }
};

std::string output_of(const std::string &command) {
    const std::unique_ptr<FILE, Pipe_Closer> pipe(popen(command.c_str(), "r"));
    EXPECT_TRUE(pipe) << command;
    std::string out;
    std::array<char, 4096> block;
    while (pipe) {
        const std::size_t n = fread(block.data(), 1, block.size(), pipe.get());
        if (n == 0) {
            break;
        }
        out.append(block.data(), n);
    }
    return out;
}

Names exported_symbols() {
    Names names;
    for (const std::string &line : lines_of(output_of(HB_NM " -D --defined-only --format=posix " HB_LIBRARY))) {
        names.insert(line.substr(0, line.find(' ')));
    }
    return names;
}

Names listed_symbols() {
    const auto lines = lines_of(read_source(ROOT + "/packaging/abi/libhb_client.symbols"));
    return {lines.begin(), lines.end()};
}

// The symbols of the package, each with the version of the package that brought it.
Names packaged_symbols() {
    static const std::regex line_form(R"( (\w+)@Base \d+\.\d+\.\d+)");
    Names names;
    for (const std::string &line : lines_of(read_source(ROOT + "/debian/symbols/libhb_client"))) {
        std::smatch match;
        EXPECT_TRUE(std::regex_match(line, match, line_form)) << line;
        names.insert(match[1]);
    }
    return names;
}

Names dynamic_entries(const std::string &tag) {
    const std::regex entry("\\(" + tag + "\\).*\\[(.*)\\]");
    Names names;
    for (const std::string &line : lines_of(output_of(HB_READELF " -d " HB_LIBRARY))) {
        std::smatch match;
        if (std::regex_search(line, match, entry)) {
            names.insert(match[1]);
        }
    }
    return names;
}

Names without(Names names, const Names &taken) {
    for (const std::string &name : taken) {
        names.erase(name);
    }
    return names;
}

TEST(BuiltLibrary, ExportsTheListedNamesAndNothingElse) {
    ASSERT_GE(listed_symbols().size(), 100U);
    EXPECT_EQ(exported_symbols(), listed_symbols());
}

TEST(BuiltLibrary, ExportsWhatItsPackageLists) {
    EXPECT_EQ(exported_symbols(), packaged_symbols());
}

TEST(BuiltLibrary, ExportsWhatTheHeaderDeclares) {
    const std::string header = without_comments(read_source(ROOT + "/include/hb_client.h"));
    static const std::regex declaration(R"(HB_API\s[^;()]*\b(\w+)\()");
    Names declared;
    for (std::sregex_iterator match(header.begin(), header.end(), declaration), end; match != end; ++match) {
        declared.insert((*match)[1]);
    }
    declared.erase("__attribute__"); // the definition of HB_API itself
    EXPECT_EQ(exported_symbols(), declared);
}

// The symbols that the library does not define, without the versions that the linker adds.
Names undefined_symbols() {
    Names names;
    for (const std::string &line :
         lines_of(output_of(HB_NM " -D --undefined-only --format=posix " HB_LIBRARY))) {
        names.insert(line.substr(0, line.find_first_of(" @")));
    }
    return names;
}

// A security library from another vendor needs no more functions than these.
TEST(BuiltLibrary, NeedsTwoCallsOfTheSecurityLibrary) {
    Names security;
    for (const std::string &name : undefined_symbols()) {
        if (name.starts_with("sec_") || name.starts_with("mss_") || name.starts_with("qz_mss")) {
            security.insert(name);
        }
    }
    EXPECT_EQ(security, (Names{"sec_release_typed_key", "sec_unmarshal_typed_key"}));
}

TEST(BuiltLibrary, HasItsPlainSoname) {
    EXPECT_EQ(dynamic_entries("SONAME"), Names{"libhb_client.so"});
}

TEST(BuiltLibrary, NeedsThePlatformAndTheLanguagesLibrariesOnly) {
    Names allowed{"libqz_tr.so", "libqz_mss.so",  "libqz_ffdc.so",  "libqz_mox.so",  "libc.so.6",
                  "libm.so.6",   "libgcc_s.so.1", "libstdc++.so.6", "ld-linux.so.2", "ld-linux-x86-64.so.2"};
    if (*HB_SANITIZE != '\0') {
        allowed.insert({"libasan.so.8", "libubsan.so.1", "libtsan.so.2", "libtsan.so.0"});
    }
    const Names needed = dynamic_entries("NEEDED");
    EXPECT_THAT(without(needed, allowed), IsEmpty());
    EXPECT_TRUE(needed.contains("libc.so.6"));
}

TEST(BuiltLibrary, HasNoExecutableStackAndNoTextRelocations) {
    const std::string dynamic = output_of(HB_READELF " -d " HB_LIBRARY);
    EXPECT_EQ(dynamic.find("TEXTREL"), std::string::npos);
    for (const std::string &line : lines_of(output_of(HB_READELF " -lW " HB_LIBRARY))) {
        if (line.find("GNU_STACK") != std::string::npos) {
            EXPECT_EQ(line.find("RWE"), std::string::npos) << line;
        }
    }
}

} // namespace
