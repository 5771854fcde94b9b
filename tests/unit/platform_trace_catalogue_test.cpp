// SPDX-License-Identifier: Apache-2.0
// The catalogue's format. Also checks that the installed catalogue has the client library's record numbers.
#include <map>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue.h"
#include "platform_child.h"

using qz_tr::Catalogue;
using qz_tr::Catalogue_Fault;
using qz_tr::parse_catalogue;
using testing::HasSubstr;

namespace {

TEST(TraceCatalogue, FindsMessagesByComponentAndNumber) {
    std::vector<Catalogue_Fault> faults;
    const Catalogue catalogue = parse_catalogue("# comment\n"
                                                "\n"
                                                "[_HBC]\n"
                                                "27 Info   woken  by {1} \r\n"
                                                "  5 Errors\tfive\n"
                                                "[other]\n"
                                                "5 Debug other five\n"
                                                "[ _HBC ]\n"
                                                "6 Info six",
                                                faults);
    EXPECT_TRUE(faults.empty());
    ASSERT_NE(catalogue.find("_HBC", 27), nullptr);
    EXPECT_EQ(catalogue.find("_HBC", 27)->category, "Info");
    EXPECT_EQ(catalogue.find("_HBC", 27)->text, "woken  by {1}");
    EXPECT_EQ(catalogue.find("_HBC", 5)->text, "five");
    EXPECT_EQ(catalogue.find("_HBC", 6)->text, "six");
    EXPECT_EQ(catalogue.find("other", 5)->text, "other five");
    EXPECT_EQ(catalogue.find("other", 27), nullptr);
    EXPECT_EQ(catalogue.find("_HBC", 7), nullptr);
    EXPECT_EQ(catalogue.find("none", 5), nullptr);
}

struct Faulty_Line {
    const char *line;
    const char *what;
};

TEST(TraceCatalogue, FaultyLinesAreNamedAndTheRestIsUsed) {
    const Faulty_Line cases[] = {
        {"x Info text", "\"x\" is not a record number from 1 to 4294967295; write NUMBER CATEGORY TEXT"},
        {"0 Info text", "\"0\" is not a record number"},
        {"-1 Info text", "\"-1\" is not a record number"},
        {"4294967296 Info text", "\"4294967296\" is not a record number"},
        {"3", "record 3 has no category; write NUMBER CATEGORY TEXT"},
        {"3 Info", "record 3 has no text"},
        {"3 Info a {b}", "record 3 has a brace that does not begin a placeholder"},
        {"3 Info a\x01", "record 3 has a control character in its text"},
        {"1 Info again", "record 1 has a text already; the first one is used"},
    };
    for (const Faulty_Line &c : cases) {
        std::vector<Catalogue_Fault> faults;
        const Catalogue catalogue =
            parse_catalogue(std::string("[_HBC]\n1 Info one\n") + c.line + "\n9 Info nine\n", faults);
        ASSERT_EQ(faults.size(), 1u) << c.line;
        EXPECT_EQ(faults[0].line, 3u) << c.line;
        EXPECT_THAT(faults[0].what, HasSubstr(c.what));
        EXPECT_EQ(catalogue.find("_HBC", 1)->text, "one");
        EXPECT_EQ(catalogue.find("_HBC", 9)->text, "nine");
        EXPECT_EQ(catalogue.find("_HBC", 3), nullptr);
    }
}

TEST(TraceCatalogue, MessagesWithoutAComponentAreFaults) {
    std::vector<Catalogue_Fault> faults;
    parse_catalogue("1 Info one\n[_HBC]\n2 Info two\n", faults);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].line, 1u);
    EXPECT_EQ(faults[0].what, "record 1 is before the first [COMPONENT] line");
}

TEST(TraceCatalogue, AFaultyComponentLineIsOneFaultAndItsMessagesGoNowhere) {
    for (const char *line : {"[_HBC", "[]", "[ ]", "["}) {
        std::vector<Catalogue_Fault> faults;
        const Catalogue catalogue =
            parse_catalogue(std::string("[one]\n1 Info one\n") + line + "\n2 Info two\n3 Info three\n", faults);
        ASSERT_EQ(faults.size(), 1u) << line;
        EXPECT_EQ(faults[0].line, 3u) << line;
        EXPECT_EQ(faults[0].what, "names no component; write [COMPONENT], for example [_HBC]");
        EXPECT_EQ(catalogue.find("one", 2), nullptr) << line;
    }
}

// Number and name of each enumerator of the header.
std::map<uint32_t, std::string> record_numbers() {
    std::map<uint32_t, std::string> numbers;
    const std::string header = contents(TRACE_IDS_HEADER);
    const std::regex enumerator("\\b(HB_TR_[A-Z0-9_]+)\\s*=\\s*([0-9]+)");
    for (std::sregex_iterator at(header.begin(), header.end(), enumerator), end; at != end; ++at) {
        const auto number = static_cast<uint32_t>(std::stoul((*at)[2]));
        EXPECT_EQ(numbers.count(number), 0u)
            << (*at)[1] << " and " << numbers[number] << " are both " << number;
        numbers[number] = (*at)[1];
    }
    return numbers;
}

TEST(TraceCatalogue, TheClientLibrarysCatalogueAndItsRecordNumbersAgree) {
    std::vector<Catalogue_Fault> faults;
    const Catalogue catalogue = parse_catalogue(contents(TRACE_CATALOGUE), faults);
    for (const Catalogue_Fault &fault : faults) {
        ADD_FAILURE() << TRACE_CATALOGUE << ":" << fault.line << ": " << fault.what;
    }
    const std::map<uint32_t, std::string> numbers = record_numbers();
    ASSERT_FALSE(numbers.empty());
    for (const auto &[number, name] : numbers) {
        EXPECT_NE(catalogue.find("_HBC", number), nullptr) << name << " = " << number << " has no text";
        EXPECT_TRUE(number >= 1 && number <= 243) << name << " = " << number;
    }
    ASSERT_EQ(catalogue.components.size(), 1u);
    for (const qz_tr::Message &message : catalogue.components[0].messages) {
        EXPECT_EQ(numbers.count(message.id), 1u) << "text of " << message.id << " belongs to no record";
        EXPECT_TRUE(message.category == "Errors" || message.category == "Info" || message.category == "Debug")
            << message.id << " " << message.category;
    }
}

} // namespace
