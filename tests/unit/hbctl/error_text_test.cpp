// SPDX-License-Identifier: Apache-2.0
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/errors/expected_errors.h"
#include "tools/hbctl/error_text.h"
#include "tools/hbctl/request.h"

using hbctl::error_text;

namespace {

const std::string UNKNOWN = "unknown error number";

} // namespace

TEST(HbctlErrorText, EveryNumberOfTheLibraryHasAMeaningOfItsOwn) {
    std::set<std::string> texts;
    for (const Expected_Error &error : expected_errors()) {
        EXPECT_NE(error_text(error.number), UNKNOWN) << error.number;
        texts.insert(error_text(error.number));
    }
    EXPECT_EQ(texts.size(), expected_errors().size());
}

TEST(HbctlErrorText, IsTheLibrarysButForNumbersOfTwoMeanings) {
    for (const Expected_Error &error : expected_errors()) {
        if (error.number != 0 && error.number != 3 && error.number != 8) {
            EXPECT_EQ(error_text(error.number), error.text) << error.number;
        }
    }
    EXPECT_EQ(error_text(0), "no reason was given");
    EXPECT_EQ(error_text(3), "what was asked for is not there");
    EXPECT_EQ(error_text(8), "the network is not configured");
}

TEST(HbctlErrorText, NumbersOfOtherTransportsHaveAMeaningToo) {
    for (const int number : {19, 20, 24, 25}) {
        EXPECT_NE(error_text(number), UNKNOWN) << number;
    }
}

TEST(HbctlErrorText, OfFailedSiteQueriesNameWhatIsMissing) {
    EXPECT_EQ(error_text(86), "the cluster service did not report the local site");
    EXPECT_EQ(error_text(87), "the cluster service did not report the local node's identifier");
    EXPECT_EQ(error_text(88), "the cluster service did not report the merge policy of the sites");
}

TEST(HbctlErrorText, NumbersThatTheLibraryDoesNotUseAreSaidToBeUnknown) {
    for (const int number : {-1, 40, 57, 60, 62, 66, 69, 76, 80, 83, 85, 1000}) {
        EXPECT_EQ(error_text(number), UNKNOWN) << number;
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
        "stopping, or is not a heartbeat daemon");
    EXPECT_EQ(hbctl::open_failure_line("/run/s", 16), "cannot use the heartbeat daemon at /run/s: the daemon "
                                                      "closed the connection (error 16); it is stopping, or "
                                                      "rejected this user's connection (see its log)");
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
