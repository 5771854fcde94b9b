// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bench/comparison/program.h"
#include "tests/support/temp_dir.h"

namespace comparison {
namespace {

using testing::HasSubstr;
using testing::Not;

// The subject's rate is this share of its peer's.
Row row_of(const std::string &work, double rate, double target, bool is_quick = true) {
    Row row;
    row.work = work;
    row.beside = "a bare loop";
    row.target = target;
    row.is_quick = is_quick;
    row.prepare = [rate] { return Sides{[rate] { return 1 / rate; }, [] { return 1.0; }}; };
    return row;
}

struct Ended {
    int status = -1;
    std::string output;
};

Ended run_with(const std::vector<Row> &rows, std::vector<std::string> words,
               const std::vector<Growth> &growth = {}) {
    words.insert(words.begin(), "hb_bench");
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    testing::internal::CaptureStdout();
    Ended ended;
    ended.status =
        run({"hb_bench", "Compares.", rows, growth}, static_cast<int>(arguments.size()), arguments.data());
    ended.output = testing::internal::GetCapturedStdout();
    return ended;
}

TEST(BenchmarkProgram, ExitsWithOneIfOneRowIsMissed) {
    EXPECT_EQ(run_with({row_of("a", 1, 0.9), row_of("b", 1, 0.9)}, {}).status, 0);
    const Ended ended = run_with({row_of("a", 1, 0.9), row_of("b", 0.8, 0.9)}, {});
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr("1 met, 1 missed, 0 not measured, 0 for information"));
}

TEST(BenchmarkProgram, TheQuickRunFailsOnlyBelowHalfTheTarget) {
    EXPECT_EQ(run_with({row_of("a", 0.5, 0.9)}, {"--quick"}).status, 0);
    EXPECT_EQ(run_with({row_of("a", 0.4, 0.9)}, {"--quick"}).status, 1);
}

TEST(BenchmarkProgram, TheQuickRunLeavesOutRowsThatNeedMuch) {
    const Ended ended = run_with({row_of("a", 1, 0.9), row_of("slow", 0.1, 0.9, false)}, {"--quick"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, Not(HasSubstr("slow")));
}

TEST(BenchmarkProgram, OnlySelectsRowsByTheirText) {
    const std::vector<Row> rows{row_of("load", 1, 0.9), row_of("event", 0.1, 0.9)};
    EXPECT_EQ(run_with(rows, {"--only", "load"}).status, 0);
    EXPECT_EQ(run_with(rows, {"--only", "event"}).status, 1);
    EXPECT_EQ(run_with(rows, {"--only", "nothing"}).status, 1);
}

TEST(BenchmarkProgram, ListMeasuresNothing) {
    Row row = row_of("load", 1, 0.9);
    row.prepare = []() -> Sides { throw std::logic_error("measured"); };
    const Ended ended = run_with({row}, {"--list"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "load, rate of a bare loop: at least 0.9\n");
}

TEST(BenchmarkProgram, EachRunIsAColumnOfTheTable) {
    const Ended ended = run_with({row_of("load", 1, 0.9)}, {"--runs", "5", "--markdown"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("| run 5 | verdict |\n"));
    EXPECT_THAT(ended.output, HasSubstr("| at least 0.9 | 1 | 1 | 1 | 1 | 1 | met |\n"));
}

TEST(BenchmarkProgram, WrongOptionsAreUsage) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_with({row_of("load", 1, 0.9)}, {"--runs", "0"}).status, 2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("--runs"));
}

Growth growth_of(double at_sixty_four) {
    return {"load", "16 nodes", Cost::processor_time,
            [at_sixty_four](int size) { return [=] { return size == 64 ? at_sixty_four : size; }; }};
}

std::string file_text(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

TEST(BenchmarkProgram, GrowthWritesItsFileAndExitsWithOneIfAStepGrowsTooFast) {
    const hb_test::Temp_Dir directory;
    const std::string file = directory.file("growth.dat");
    EXPECT_EQ(run_with({}, {"--growth", file}, {growth_of(64)}).status, 0);
    EXPECT_THAT(file_text(file), HasSubstr("load 1 1\nload 4 4\nload 16 16\nload 64 64\n"));
    EXPECT_EQ(run_with({}, {"--growth", file}, {growth_of(90)}).status, 1);
}

} // namespace
} // namespace comparison
