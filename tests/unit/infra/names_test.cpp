// SPDX-License-Identifier: Apache-2.0
// Names that clang-tidy does not check. It needs seconds for each file that includes GoogleTest, and it accepts types
// without underscores. CONTRIBUTING.md has the convention.
#include <algorithm>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = HB_SOURCE_DIR;

std::set<std::string> first_groups(const std::string &text, const std::regex &form) {
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

std::set<std::string> types_in(const std::string &source) {
    static const std::regex declaration(
        R"((?:^|\n)[ \t]*(?:class|struct|union|enum class|enum) (\w+)(?: final)?(?: :[^;{}]*)?\s*\{)");
    return first_groups(source, declaration);
}

// GoogleTest joins the names of a fixture and a test with an underscore, so a fixture's name has none.
std::set<std::string> fixtures_in(const std::string &source) {
    static const std::regex use(
        R"((?:TEST_F|TEST_P|TYPED_TEST|INSTANTIATE_TEST_SUITE_P)\((?:\w+,\s*)??(\w+),)");
    static const std::regex fixture(R"((?:class|struct) (\w+)[^;{]*: public testing::)");
    std::set<std::string> found = first_groups(source, use);
    found.merge(first_groups(source, fixture));
    return found;
}

bool is_words_joined_by_underscores(const std::string &name) {
    static const std::regex form(R"([A-Z][A-Z0-9]*[a-z0-9]*(?:_[A-Z0-9][A-Za-z0-9]*)*)");
    return std::regex_match(name, form);
}

std::set<std::string> constants_in(const std::string &source) {
    static const std::regex declaration(
        R"(\n(?:inline |static )*(?:constexpr [\w:<>,\* &]*?[\* &]|const [\w:<>, &]*?[ &])(\w+)(?:\[[^\]]*\])* ?[={])");
    return first_groups("\n" + source, declaration);
}

bool is_in_capitals(const std::string &name) {
    return std::regex_match(name, std::regex("[A-Z][A-Z0-9_]*"));
}

template <typename Rule>
std::vector<std::string> breaking(const std::set<std::string> &names, const std::set<std::string> &exempt,
                                  Rule rule) {
    std::vector<std::string> found;
    std::copy_if(names.begin(), names.end(), std::back_inserter(found),
                 [&](const std::string &name) { return !exempt.contains(name) && !rule(name); });
    return found;
}

struct Source {
    std::string path;
    std::string text; // without comments
};

std::vector<Source> sources_of(const std::vector<std::string> &folders) {
    std::vector<Source> found;
    for (const std::string &folder : folders) {
        for (const std::string &path : source_files(ROOT, folder, {".h", ".cpp"})) {
            found.push_back({path, without_comments(read_source(ROOT + "/" + path))});
        }
    }
    return found;
}

TEST(NameRule, FindsATypeInAnotherStyle) {
    const auto names =
        types_in("class Send_Queue {\nstruct Row {\n  enum class FirstWord { one };\nclass Later;\n");
    EXPECT_THAT(breaking(names, {}, is_words_joined_by_underscores), ElementsAre("FirstWord"));
}

TEST(NameRule, ExemptsFixtures) {
    const auto names =
        fixtures_in("class StormTest : public testing::Test {};\nTEST_F(OtherFixture, Works) {}\n");
    EXPECT_THAT(names, ElementsAre("OtherFixture", "StormTest"));
}

TEST(NameRule, FindsAConstantOfANamespaceInAnotherStyle) {
    const auto names =
        constants_in("constexpr int SIZE = 1;\nconst std::string root = X;\n"
                     "inline constexpr std::array<int, 2> two_words{1, 2};\n    const int local = 3;\n");
    EXPECT_THAT(breaking(names, {}, is_in_capitals), ElementsAre("root", "two_words"));
}

TEST(Names, TypesAreWordsJoinedByUnderscores) {
    const auto sources = sources_of({"common", "host", "cluster", "engine", "daemon", "providers", "tools",
                                     "exporter", "watch", "tests", "bench"});
    ASSERT_GT(sources.size(), 300U);
    std::set<std::string> fixtures;
    for (const Source &source : sources) {
        fixtures.merge(fixtures_in(source.text));
    }
    for (const Source &source : sources) {
        EXPECT_THAT(breaking(types_in(source.text), fixtures, is_words_joined_by_underscores), IsEmpty())
            << source.path;
    }
}

TEST(Names, ConstantsOfTestsAreInCapitals) {
    for (const Source &source : sources_of({"tests", "bench"})) {
        EXPECT_THAT(breaking(constants_in(source.text), {}, is_in_capitals), IsEmpty()) << source.path;
    }
}

TEST(Headers, InternalOnesAreGuardedByPragmaOnce) {
    for (const char *folder : {"lib", "utils", "common", "host", "cluster", "engine", "daemon", "providers",
                               "tools", "exporter", "watch", "tests", "bench", "platform/tr", "platform/mss"}) {
        for (const std::string &path : source_files(ROOT, folder, {".h"})) {
            const std::string text = without_comments(read_source(ROOT + "/" + path));
            EXPECT_EQ(text.find_first_not_of(" \n"), text.find("#pragma once")) << path;
        }
    }
}

} // namespace
