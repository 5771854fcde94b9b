// SPDX-License-Identifier: Apache-2.0
// hb::error and hb::result by themselves.
#include <cerrno>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "hb/result.hpp"

namespace hb_test {
namespace {

const hb::error NO_ROUTE(HB_ERROR_NO_ROUTE);

TEST(CompanionError, HasTheNumberNameAndTextOfTheLibrary) {
    EXPECT_EQ(6, NO_ROUTE.number());
    EXPECT_STREQ("HB_ERROR_NO_ROUTE", NO_ROUTE.name());
    EXPECT_STREQ("no route to the node is known", NO_ROUTE.text());
    EXPECT_EQ(hb::error::origin::library, NO_ROUTE.where());
    EXPECT_STREQ("unknown error", hb::error(57).name());
}

TEST(CompanionError, OfTheSystemHasItsOwnNameAndEqualsNoErrorOfTheLibrary) {
    const hb::error interruption = hb::error::of_system(EINTR);
    EXPECT_STREQ("EINTR", interruption.name());
    EXPECT_STREQ("a signal handler ended the wait", interruption.text());
    EXPECT_TRUE(interruption.is_interruption());
    EXPECT_NE(hb::error(EINTR), interruption) << "number 4 of the library is another error";
    EXPECT_FALSE(hb::error(EINTR).is_interruption());
    EXPECT_STREQ("EMFILE", hb::error::of_system(EMFILE).name());
    EXPECT_STREQ("unknown error", hb::error::of_system(ERANGE).name());
}

TEST(CompanionError, ComparesWithTheNamesOfTheCHeader) {
    EXPECT_TRUE(NO_ROUTE == HB_ERROR_NO_ROUTE);
    EXPECT_TRUE(HB_ERROR_TIMEOUT != NO_ROUTE);
    EXPECT_FALSE(hb::error::of_system(HB_ERROR_NO_ROUTE) == HB_ERROR_NO_ROUTE);
}

TEST(CompanionResult, HoldsAValueOrAnError) {
    const hb::result<int> value = 7;
    EXPECT_TRUE(value.has_value());
    EXPECT_EQ(7, *value);
    EXPECT_EQ(7, value.value());
    EXPECT_EQ(7, value.value_or(8));

    const hb::result<int> failed = NO_ROUTE;
    EXPECT_FALSE(failed);
    EXPECT_EQ(NO_ROUTE, failed.error());
    EXPECT_EQ(8, failed.value_or(8));
}

TEST(CompanionResult, ThrowsItsErrorForAMissingValue) {
    const hb::result<std::string> failed = NO_ROUTE;
    try {
        (void)failed.value();
        FAIL() << "it returned";
    } catch (const std::runtime_error &thrown) {
        EXPECT_STREQ("no route to the node is known (HB_ERROR_NO_ROUTE, 6)", thrown.what());
    }
    try {
        hb::result<void>(NO_ROUTE).value();
        FAIL() << "it returned";
    } catch (const hb::failure &thrown) {
        EXPECT_EQ(NO_ROUTE, thrown.reason());
    }
    EXPECT_NO_THROW(hb::result<void>().value());
}

TEST(CompanionResult, MovesWhatCannotBeCopied) {
    hb::result<std::unique_ptr<int>> made = std::make_unique<int>(3);
    const std::unique_ptr<int> moved = std::move(made).value();
    EXPECT_EQ(3, *moved);
    EXPECT_EQ(nullptr, *made);
    EXPECT_EQ(4, *hb::result<std::unique_ptr<int>>(NO_ROUTE).value_or(std::make_unique<int>(4)));
}

TEST(CompanionResult, ConvertsToAnOptionalValue) {
    const auto find = [](bool there) -> hb::result<std::optional<int>> {
        if (there) {
            return 5;
        }
        return std::nullopt;
    };
    EXPECT_EQ(5, **find(true));
    EXPECT_TRUE(find(false).has_value());
    EXPECT_FALSE(find(false)->has_value());
}

TEST(CompanionResult, ChainsCallsUntilTheFirstError) {
    int calls = 0;
    const auto half = [&](int number) -> hb::result<int> {
        ++calls;
        return number % 2 == 0 ? hb::result<int>(number / 2) : hb::error(HB_ERROR_BAD_ARGUMENT);
    };
    const hb::result<int> four = 4;
    EXPECT_EQ(1, *four.and_then(half).and_then(half));
    EXPECT_TRUE(hb::result<int>(6).and_then(half).and_then(half).and_then(half).error() ==
                HB_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(4, calls) << "after an error no further call is made";
    EXPECT_EQ("4!", *four.transform([](int number) { return std::to_string(number) + "!"; }));
    EXPECT_EQ(9, *hb::result<int>(NO_ROUTE).or_else(
                     [](hb::error reason) -> hb::result<int> { return reason.number() + 3; }));
}

TEST(CompanionResult, OfNothingChainsAsWell) {
    bool called = false;
    const auto note = [&] { called = true; };
    EXPECT_TRUE(hb::result<void>().transform(note));
    EXPECT_TRUE(called);
    called = false;
    EXPECT_EQ(NO_ROUTE, hb::result<void>(NO_ROUTE).transform(note).error());
    EXPECT_FALSE(called);
    EXPECT_EQ(2, *hb::result<void>().and_then([] { return hb::result<int>(2); }));
    EXPECT_TRUE(hb::result<void>(NO_ROUTE).or_else([](hb::error) { return hb::result<void>(); }));
    EXPECT_TRUE(hb::result<int>(1).transform([](int) {})) << "a function of no value gives a result of none";
}

} // namespace
} // namespace hb_test
