#include "tools/hbctl/error_text.h"
#include "tools/hbctl/request.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

using hbctl::error_text;

namespace {

const std::string unknown = "no meaning is known for this number";

// The numbers of the header's list: "12", "19, 20", "31-36", and behind a text "18  ...  21  ...". The last line of
// the list names those that are not given.
std::set<int> numbers_in_header() {
    std::ifstream file(HB_SOURCE_DIR "/include/hb_client.h");
    std::set<int> numbers;
    bool inside = false;
    for (std::string line; std::getline(file, line);) {
        if (line == " * ERROR NUMBERS") {
            inside = true;
        } else if (inside &&
                   (line == " */" || line.find(" are kept for other transports") != std::string::npos)) {
            break;
        } else if (inside) {
            static const std::regex head(R"((?:^ \*  ? ? ? ?|   +)((?:\d+(?:-\d+)?(?:, )?)+)(?=  ))");
            for (std::sregex_iterator group(line.begin(), line.end(), head), end; group != end; ++group) {
                static const std::regex range(R"((\d+)(?:-(\d+))?)");
                const std::string list = (*group)[1];
                for (std::sregex_iterator one(list.begin(), list.end(), range); one != end; ++one) {
                    const int first = std::stoi((*one)[1]);
                    const int last = (*one)[2].matched ? std::stoi((*one)[2]) : first;
                    for (int number = first; number <= last; ++number) {
                        numbers.insert(number);
                    }
                }
            }
        }
    }
    return numbers;
}

} // namespace

TEST(HbctlErrorText, EveryNumberOfTheLibraryHasAMeaningOfItsOwn) {
    const std::set<int> numbers = numbers_in_header();
    ASSERT_TRUE(numbers.contains(1) && numbers.contains(33) && numbers.contains(65) && numbers.contains(84));
    std::set<std::string> texts;
    for (const int number : numbers) {
        EXPECT_NE(error_text(number), unknown) << number;
        texts.insert(error_text(number));
    }
    EXPECT_EQ(texts.size(), numbers.size());
}

TEST(HbctlErrorText, TheHeadersListIsReadWhole) {
    const std::set<int> expected{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18,
                                 21, 22, 23, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 41,
                                 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 58, 59, 63,
                                 64, 65, 68, 70, 71, 72, 73, 74, 75, 81, 82, 84, 86, 87, 88};
    EXPECT_EQ(numbers_in_header(), expected);
}

TEST(HbctlErrorText, NumbersOfOtherTransportsHaveAMeaningToo) {
    for (const int number : {19, 20, 24, 25}) {
        EXPECT_NE(error_text(number), unknown) << number;
    }
}

TEST(HbctlErrorText, OfFailedSiteQueriesNameWhatIsMissing) {
    EXPECT_EQ(error_text(86), "the cluster service did not report the local site");
    EXPECT_EQ(error_text(87), "the cluster service did not report the local node's identifier");
    EXPECT_EQ(error_text(88), "the cluster service did not report the merge policy of the sites");
}

TEST(HbctlErrorText, NumbersThatTheLibraryDoesNotUseAreSaidToBeUnknown) {
    for (const int number : {-1, 40, 57, 60, 62, 66, 69, 76, 80, 83, 85, 1000}) {
        EXPECT_EQ(error_text(number), unknown) << number;
    }
}

TEST(HbctlErrorText, SomeMeanings) {
    EXPECT_EQ(error_text(9), "the node is not configured");
    EXPECT_EQ(error_text(16), "the daemon closed the connection");
    EXPECT_EQ(error_text(84), "the site is not configured");
}

TEST(HbctlFailureLine, TellsWhatFailedWhyAndTheNumber) {
    EXPECT_EQ(hbctl::failure_line("subscribe to node 7", 9),
              "cannot subscribe to node 7: the node is not configured (error 9)");
}

TEST(HbctlFailureLine, WithoutADaemonThePathAndTheVariableAreTold) {
    EXPECT_EQ(hbctl::open_failure_line("/nonexistent/s", 15),
              "no heartbeat daemon listens at /nonexistent/s (HB_SERVER_SOCKET or --socket changes the path)");
}

TEST(HbctlFailureLine, APathThatIsTooLongIsToldAsSuch) {
    const std::string path = "/" + std::string(107, 'p');
    EXPECT_EQ(hbctl::open_failure_line(path, 15), "the socket path " + path +
                                                      " has 108 bytes, more than 107: set a shorter one with "
                                                      "HB_SERVER_SOCKET or --socket");
}

TEST(HbctlFailureLine, AbsentSharedDataPointsToADaemonThatStartsOrEnds) {
    EXPECT_EQ(
        hbctl::open_failure_line("/run/s", 33),
        "cannot use the heartbeat daemon at /run/s: a shared segment is absent (error 33); it is starting or "
        "ending, or is no heartbeat daemon");
    EXPECT_EQ(hbctl::open_failure_line("/run/s", 16), "cannot use the heartbeat daemon at /run/s: the daemon "
                                                      "closed the connection (error 16); it is ending, or has "
                                                      "rejected this user's connection: its log says why");
    EXPECT_EQ(
        hbctl::open_failure_line("/run/s", 31),
        "cannot use the heartbeat daemon at /run/s: a shared segment may not be opened: permission denied "
        "(error 31)");
}

TEST(HbctlErrorText, OfANumberWithTwoReasonsNamesBoth) {
    EXPECT_EQ(
        error_text(15),
        "no daemon listens at the socket path, this user may not connect to it, or a signal ended the wait");
    EXPECT_EQ(error_text(22), "sending failed, or the library is not open");
}
