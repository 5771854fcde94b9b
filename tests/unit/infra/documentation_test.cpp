// What the documents say about the tree is so.
#include <algorithm>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/infra/source_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string root = HB_SOURCE_DIR;

// Every match's first group and its second.
std::map<std::string, std::string> pairs_in(const std::string &text, const std::regex &form) {
    std::map<std::string, std::string> pairs;
    for (std::sregex_iterator match(text.begin(), text.end(), form), end; match != end; ++match) {
        pairs[(*match)[1]] = (*match)[2];
    }
    return pairs;
}

// The codes of an enumeration of the wire header, each with its name.
std::map<std::string, std::string> codes_of(const std::string &enumeration) {
    const std::string header = read_source(root + "/lib/hb_wire.h");
    const auto start = header.find("enum " + enumeration);
    EXPECT_NE(start, std::string::npos) << enumeration;
    const std::string body = header.substr(start, header.find("};", start) - start);
    std::map<std::string, std::string> codes;
    for (const auto &[name, code] : pairs_in(body, std::regex(R"((HB_\w+) = (\d+))"))) {
        EXPECT_TRUE(codes.emplace(code, name).second) << code << " has two names";
    }
    return codes;
}

std::map<std::string, std::string> documented_codes(bool is_request) {
    auto codes =
        pairs_in(read_source(root + "/docs/protocol.md"), std::regex(R"(\n\| (\d+) \| `(HB_\w+)` \|)"));
    std::erase_if(codes, [&](const auto &row) { return (row.first.size() == 3) != is_request; });
    return codes;
}

TEST(Protocol, ItsTablesHaveEveryRequestAndEveryReplyByItsName) {
    EXPECT_EQ(27U, documented_codes(true).size());
    EXPECT_EQ(codes_of("Hb_Client_Request"), documented_codes(true));
    EXPECT_EQ(16U, documented_codes(false).size());
    EXPECT_EQ(codes_of("Hb_Client_Reply"), documented_codes(false));
}

} // namespace
