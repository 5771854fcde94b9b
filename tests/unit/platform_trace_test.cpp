// SPDX-License-Identifier: Apache-2.0
// The trace library as a component sees it: registration, detail bytes, and the lines of its records.
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_child.h"
#include "qz_tr.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr tr_category_description_t CATEGORIES[] = {{0, "Errors", 0, 0}, {1, "Info", 1, 0}, {2, "Debug", 2, 0}};

struct Component {
    unsigned char levels[3] = {7, 7, 7};
    tr_file_token_t *tokens = nullptr;
    int result = -2;

    explicit Component(const char *name = "_HBC") {
        result = tr_ms_register_component_1(name, levels, CATEGORIES, 3, &tokens);
    }
    std::string text() const {
        return std::to_string(result) + ":" + std::to_string(levels[0]) + "," + std::to_string(levels[1]) +
               "," + std::to_string(levels[2]) + ";";
    }
};

std::string registered_with(const Environment &environment) {
    return in_child(environment, [] { say(Component().text()); }).said;
}

// A file for the lines, and the test's own catalogue.
class Trace : public testing::Test {
  protected:
    Temporary_Directory directory;
    std::string output = directory.file("trace");
    std::string catalogue = directory.file("catalogue");

    Environment environment() const { return {{"QZ_TR_OUTPUT", output}, {"QZ_TR_CATALOGUE", catalogue}}; }

    void SetUp() override {
        write_file(catalogue, "[_HBC]\n"
                              "1 Info started\n"
                              "2 Info adapter {1:u} of node {2}\n"
                              "3 Info type {1}, adapter {2:u}\n"
                              "4 Info {1} then {2}\n");
    }

    // The lines without time, process and thread.
    std::vector<std::string> records() const {
        std::vector<std::string> result;
        for (const std::string &line : lines_of(contents(output))) {
            std::size_t at = 0;
            for (int field = 0; field < 3; ++field) {
                at = line.find(' ', at) + 1;
            }
            result.push_back(line.substr(at));
        }
        return result;
    }
};

TEST_F(Trace, WithoutAnOutputAllDetailBytesAreZeroAndRecordsGoNowhere) {
    const Child_Result child = in_child({{"QZ_TR_LEVELS", "9"}}, [] {
        const Component component;
        say(component.text());
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_EQ(child.said, "0:0,0,0;");
    EXPECT_EQ(child.errors, "");
    EXPECT_EQ(registered_with({{"QZ_TR_OUTPUT", ""}}), "0:0,0,0;");
}

TEST_F(Trace, WithAnOutputAndNoLevelsTheDetailBytesAreTheCategoriesDefaults) {
    EXPECT_EQ(registered_with(environment()), "0:0,1,2;");
}

TEST_F(Trace, LevelsComeFromTheEnvironment) {
    Environment with_levels = environment();
    with_levels["QZ_TR_LEVELS"] = "_HBC:Errors=1,Info=3,Debug=0";
    EXPECT_EQ(registered_with(with_levels), "0:1,3,0;");
    with_levels["QZ_TR_LEVELS"] = "5";
    EXPECT_EQ(registered_with(with_levels), "0:5,5,5;");
}

TEST_F(Trace, AMalformedLevelIsReportedOnceAndTheOthersCount) {
    Environment with_levels = environment();
    with_levels["QZ_TR_LEVELS"] = "Errors=1,Info=loud";
    const Child_Result child = in_child(with_levels, [] {
        say(Component().text());
        say(Component("other").text());
    });
    EXPECT_EQ(child.said, "0:1,1,2;0:1,1,2;");
    EXPECT_THAT(lines_of(child.errors),
                ElementsAre(AllOf(StartsWith("qz_tr: QZ_TR_LEVELS, character 10: \"Info=loud\""),
                                  HasSubstr("Write settings like"))));
}

TEST_F(Trace, ACategoryThatTheComponentDoesNotHaveIsReportedOnce) {
    Environment with_levels = environment();
    with_levels["QZ_TR_LEVELS"] = "_HBC:Inof=2";
    const Child_Result child = in_child(with_levels, [] {
        say(Component().text());
        say(Component().text());
    });
    EXPECT_EQ(child.said, "0:0,1,2;0:0,1,2;");
    EXPECT_THAT(
        lines_of(child.errors),
        ElementsAre(HasSubstr("character 1: component \"_HBC\" has no category \"Inof\", but \"Errors\", "
                              "\"Info\", \"Debug\"")));
}

TEST_F(Trace, ALineHoldsTimeProcessThreadComponentCategoryNumberAndText) {
    const Child_Result child = in_child(environment(), [] {
        const Component component;
        tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, 98, 2);
        say(std::to_string(getpid()) + " " + std::to_string(gettid()));
    });
    EXPECT_THAT(lines_of(contents(output)),
                ElementsAre(MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z " +
                                         child.said + " _HBC Info 2 adapter 98 of node 2")));
    EXPECT_EQ(child.errors, "");
}

TEST_F(Trace, EveryKindOfRecordBecomesText) {
    in_child(environment(), [] {
        const Component component;
        const uint32_t adapter = 98351;
        const unsigned char bytes[] = {0x00, 0xC0, 0xFF};
        tr_ms_record_id_1("_HBC", 1, component.tokens[0]);
        tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, 0xFFFFFFFFu, -1);
        tr_ms_record_data_1("_HBC", 3, component.tokens[2], 2, "eth0", 5, &adapter, 4);
        tr_ms_record_data_1("_HBC", 4, component.tokens[2], 2, bytes, 3, nullptr, 3);
        tr_ms_record_strings_1("_HBC", 4, component.tokens[1], 2, "one\ntwo", nullptr);
    });
    EXPECT_THAT(records(),
                ElementsAre("_HBC Errors 1 started", "_HBC Info 2 adapter 4294967295 of node -1",
                            "_HBC Debug 3 type eth0, adapter 98351", "_HBC Debug 4 0x00c0ff then (empty)",
                            "_HBC Info 4 one\\ntwo then (null)"));
}

TEST_F(Trace, ANumberWithoutATextIsRecordedBare) {
    in_child(environment(), [] {
        const Component component;
        tr_ms_record_id_1("_HBC", 240, component.tokens[1]);
        tr_ms_record_values_32_1("_HBC", 241, component.tokens[1], 2, 3, -4);
        tr_ms_record_strings_1("other", 2, component.tokens[1], 1, "text");
    });
    EXPECT_THAT(records(), ElementsAre("_HBC Info 240", "_HBC Info 241 3 -4", "other Info 2 text"));
}

TEST_F(Trace, AForeignTokenIsHarmless) {
    in_child(environment(), [] {
        const Component component;
        const tr_file_token_t beside =
            reinterpret_cast<tr_file_token_t>(reinterpret_cast<char *>(component.tokens[0]) + 1);
        tr_ms_record_id_1("_HBC", 1, nullptr);
        tr_ms_record_id_1("_HBC", 77, nullptr);
        tr_ms_record_id_1("_HBC", 77, beside);
        tr_ms_record_id_1(nullptr, 1, component.tokens[2]);
    });
    EXPECT_THAT(records(), ElementsAre("_HBC Info 1 started", "_HBC - 77", "_HBC - 77", "- Debug 1"));
}

TEST_F(Trace, WhatALineDoesNotHoldIsCutVisibly) {
    in_child(environment(), [] {
        const Component component;
        const std::string text(10000, 'x');
        tr_ms_record_strings_1("_HBC", 240, component.tokens[1], 1, text.c_str());
    });
    const std::string text = contents(output);
    EXPECT_EQ(text.size(), 4096u);
    EXPECT_EQ(text.substr(4096 - 8), "xxxx...\n");
}

TEST_F(Trace, ArgumentsBeyondThe32ndAreCounted) {
    in_child(environment(), [] {
        const Component component;
        tr_ms_record_values_32_1("_HBC", 240, component.tokens[1], 34, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,
                                 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32,
                                 33, 34);
    });
    EXPECT_THAT(records(),
                ElementsAre("_HBC Info 240 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 "
                            "25 26 27 28 29 30 31 32 (and 2 more arguments)"));
}

TEST_F(Trace, TheBuildTreesCatalogueIsFoundBesideTheLibrary) {
    in_child({{"QZ_TR_OUTPUT", output}}, [] {
        const Component component;
        tr_ms_record_values_32_1("_HBC", 151, component.tokens[1], 2, 98, 2);
    });
    EXPECT_THAT(records(), ElementsAre("_HBC Info 151 adapter 98 belongs to node 2"));
}

TEST_F(Trace, AMissingCatalogueIsReportedAndRecordsAreBare) {
    Environment without_catalogue = environment();
    without_catalogue["QZ_TR_CATALOGUE"] = directory.file("none");
    const Child_Result child = in_child(without_catalogue, [] {
        const Component component;
        tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, 98, 2);
    });
    EXPECT_THAT(records(), ElementsAre("_HBC Info 2 98 2"));
    EXPECT_THAT(lines_of(child.errors),
                ElementsAre("qz_tr: cannot read the message catalogue \"" + directory.file("none") +
                            "\": No such file or directory; records are written without their texts. Set "
                            "QZ_TR_CATALOGUE to a readable catalogue, or unset it."));
}

TEST_F(Trace, FaultyCatalogueLinesAreReportedWithFileAndLineAndTheRestIsUsed) {
    write_file(catalogue, "[_HBC]\n"
                          "1 Info started\n"
                          "two Info adapter\n"
                          "3 Info {1\n"
                          "4 Info {1} and {2}\n");
    const Child_Result child = in_child(environment(), [] {
        const Component component;
        tr_ms_record_strings_1("_HBC", 3, component.tokens[1], 1, "a");
        tr_ms_record_strings_1("_HBC", 4, component.tokens[1], 2, "a", "b");
    });
    EXPECT_THAT(records(), ElementsAre("_HBC Info 3 a", "_HBC Info 4 a and b"));
    EXPECT_THAT(lines_of(child.errors),
                ElementsAre(StartsWith("qz_tr: " + catalogue + ":3: \"two\" is not a record number"),
                            StartsWith("qz_tr: " + catalogue + ":4: record 3 has a brace")));
}

TEST_F(Trace, ManyFaultyCatalogueLinesAreReportedTenTimesAndThenCounted) {
    write_file(catalogue, [] {
        std::string text = "[_HBC]\n";
        for (int i = 0; i < 25; ++i) {
            text += "junk\n";
        }
        return text;
    }());
    const Child_Result child = in_child(environment(), [] { const Component component; });
    ASSERT_THAT(lines_of(child.errors), SizeIs(11));
    EXPECT_EQ(lines_of(child.errors).back(), "qz_tr: " + catalogue + ": 15 more faulty lines");
}

TEST_F(Trace, TheOutputFileIsAppendedToAndReadableByItsGroupOnly) {
    for (int run = 0; run < 2; ++run) {
        in_child(environment(), [] {
            umask(0);
            const Component component;
            tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        });
    }
    EXPECT_THAT(records(), ElementsAre("_HBC Info 1 started", "_HBC Info 1 started"));
    struct stat status {};
    ASSERT_EQ(stat(output.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777u, 0640u);
}

TEST_F(Trace, TheOutputIsNotInheritedByPrograms) {
    const Child_Result child = in_child(environment(), [this] {
        const Component component;
        struct stat wanted {};
        stat(output.c_str(), &wanted);
        for (int fd = 3; fd < 256; ++fd) {
            struct stat status {};
            if (fstat(fd, &status) == 0 && status.st_ino == wanted.st_ino && status.st_dev == wanted.st_dev) {
                say((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0 ? "closed on exec;" : "inherited;");
            }
        }
    });
    EXPECT_EQ(child.said, "closed on exec;");
}

TEST_F(Trace, StderrIsAnOutput) {
    const Child_Result child = in_child({{"QZ_TR_OUTPUT", "stderr"}, {"QZ_TR_CATALOGUE", catalogue}}, [] {
        const Component component;
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
    });
    EXPECT_THAT(child.errors, MatchesRegex("[^ ]+ [0-9]+ [0-9]+ _HBC Info 1 started\n"));
}

TEST_F(Trace, AnOutputThatCannotBeOpenedIsReportedOnceAndNothingIsRecorded) {
    const std::string nowhere = directory.file("none/trace");
    const Child_Result child = in_child({{"QZ_TR_OUTPUT", nowhere}, {"QZ_TR_LEVELS", "9"}}, [] {
        const Component component;
        say(component.text());
        say(Component().text());
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_EQ(child.said, "0:0,0,0;0:0,0,0;");
    EXPECT_THAT(
        lines_of(child.errors),
        ElementsAre("qz_tr: cannot open the trace output \"" + nowhere +
                    "\": No such file or directory; nothing is recorded. Set QZ_TR_OUTPUT to \"stderr\" or "
                    "to a writable file."));
}

TEST_F(Trace, RecordingAndRegisteringKeepErrno) {
    for (const std::string &where : {output, std::string("/dev/full")}) {
        Environment with_output = environment();
        with_output["QZ_TR_OUTPUT"] = where;
        const Child_Result child = in_child(with_output, [] {
            errno = 4711;
            const Component component;
            tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
            tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 1, 5);
            tr_ms_record_data_1("_HBC", 3, component.tokens[1], 1, "a", 2);
            tr_ms_record_strings_1("_HBC", 4, component.tokens[1], 1, "a");
            say(std::to_string(errno));
        });
        EXPECT_EQ(child.said, "4711") << where;
    }
}

TEST_F(Trace, RecordsThatAPipeWithoutReaderLostAreCountedAndNobodyIsKilled) {
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    const Child_Result child = in_child(environment(), [this] {
        int reader = open(output.c_str(), O_RDONLY | O_NONBLOCK);
        const Component component;
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        close(reader);
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        reader = open(output.c_str(), O_RDONLY | O_NONBLOCK);
        tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, 5, 6);
        char text[8192];
        const ssize_t size = read(reader, text, sizeof text);
        say(std::string(text, size > 0 ? static_cast<std::size_t>(size) : 0));
        close(reader);
        sigset_t pending;
        sigpending(&pending);
        say(sigismember(&pending, SIGPIPE) == 1 ? "pending" : "none pending");
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_THAT(lines_of(child.said),
                ElementsAre(MatchesRegex("[^ ]+ [0-9]+ [0-9]+ _HBC Info 1 started"),
                            MatchesRegex("[^ ]+ [0-9]+ [0-9]+ qz_tr - 0 lost 2 records: Broken pipe"),
                            MatchesRegex("[^ ]+ [0-9]+ [0-9]+ _HBC Info 2 adapter 5 of node 6"),
                            "none pending"));
}

TEST_F(Trace, APipeThatIsFullHoldsNobodyUp) {
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    const Child_Result child = in_child(environment(), [this] {
        const int reader = open(output.c_str(), O_RDONLY | O_NONBLOCK);
        const Component component;
        const std::string text(4000, 'x');
        for (int i = 0; i < 100; ++i) {
            tr_ms_record_strings_1("_HBC", 240, component.tokens[1], 1, text.c_str());
        }
        char piece[4096];
        while (read(reader, piece, sizeof piece) > 0) {
        }
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        const ssize_t size = read(reader, piece, sizeof piece);
        say(std::string(piece, size > 0 ? static_cast<std::size_t>(size) : 0));
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_THAT(lines_of(child.said), ElementsAre(HasSubstr(" records: Resource temporarily unavailable"),
                                                  HasSubstr("_HBC Info 1 started")));
}

TEST_F(Trace, ANamedPipeThatNobodyReadsIsReportedNotWaitedFor) {
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    const Child_Result child = in_child(environment(), [] { say(Component().text()); });
    EXPECT_EQ(child.said, "0:0,0,0;");
    EXPECT_THAT(child.errors, HasSubstr("cannot open the trace output"));
}

TEST_F(Trace, AFileAtTheSizeLimitLosesRecordsVisiblyAndKillsNobody) {
    const Child_Result child = in_child(environment(), [] {
        signal(SIGXFSZ, SIG_DFL);
        const Component component;
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit narrow{20, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &narrow);
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]); // 20 bytes of it fit
        tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
        setrlimit(RLIMIT_FSIZE, &before);
        tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, 5, 6);
    });
    EXPECT_TRUE(child.ended_well());
    const std::vector<std::string> lines = lines_of(contents(output));
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(lines[0], SizeIs(20));
    EXPECT_THAT(lines[1], HasSubstr(" qz_tr - 0 lost 2 records: File too large"));
    EXPECT_THAT(lines[2], HasSubstr(" _HBC Info 2 adapter 5 of node 6"));
}

TEST_F(Trace, LinesOfThreadsAndProcessesNeverMix) {
    constexpr int PROCESSES = 3;
    constexpr int THREADS = 4;
    constexpr int RECORDS = 500;
    write_file(catalogue, "[_HBC]\n9 Info thread {1} record {2} {3}.\n");
    const Child_Result child = in_child(environment(), [] {
        const Component component;
        std::vector<pid_t> processes;
        for (int process = 0; process < PROCESSES; ++process) {
            const pid_t pid = fork();
            if (pid == 0) {
                std::vector<std::thread> threads;
                for (int thread = 0; thread < THREADS; ++thread) {
                    threads.emplace_back([&component, process, thread] {
                        for (int i = 0; i < RECORDS; ++i) {
                            tr_ms_record_values_32_1("_HBC", 9, component.tokens[1], 3,
                                                     process * THREADS + thread, i, 0x7FFFFFFF);
                        }
                    });
                }
                for (std::thread &thread : threads) {
                    thread.join();
                }
                std::exit(0);
            }
            processes.push_back(pid);
        }
        for (const pid_t pid : processes) {
            int status = -1;
            waitpid(pid, &status, 0);
            say(std::to_string(status));
        }
    });
    EXPECT_EQ(child.said, "000");
    std::set<std::string> found;
    for (const std::string &record : records()) {
        found.insert(record);
    }
    std::set<std::string> expected;
    for (int thread = 0; thread < PROCESSES * THREADS; ++thread) {
        for (int i = 0; i < RECORDS; ++i) {
            expected.insert("_HBC Info 9 thread " + std::to_string(thread) + " record " + std::to_string(i) +
                            " 2147483647.");
        }
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(lines_of(contents(output)).size(), expected.size());
}

TEST_F(Trace, AChildForkedAmidRecordingThreadsCanRecord) {
    const Child_Result child = in_child(environment(), [] {
        const Component component;
        std::atomic<bool> stop{false};
        std::atomic<int> recorded{0};
        std::thread busy([&] {
            while (!stop) {
                tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
                ++recorded;
            }
        });
        while (recorded < 10) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 20; ++i) {
            const pid_t pid = fork();
            if (pid == 0) {
                alarm(60);
                tr_ms_record_values_32_1("_HBC", 2, component.tokens[1], 2, i, 0);
                _exit(0);
            }
            int status = -1;
            waitpid(pid, &status, 0);
            say(std::to_string(status));
        }
        stop = true;
        busy.join();
    });
    EXPECT_EQ(child.said, std::string(20, '0'));
    int of_children = 0;
    for (const std::string &record : records()) {
        of_children += record.starts_with("_HBC Info 2 adapter ") ? 1 : 0;
    }
    EXPECT_EQ(of_children, 20);
}

TEST_F(Trace, AThreadThatIsToBeCancelledEndsAfterItsRecordNotWithin) {
    const Child_Result child = in_child(environment(), [] {
        static Component component;
        static std::atomic<bool> came_back{false};
        pthread_t thread{};
        pthread_create(
            &thread, nullptr,
            [](void *) -> void * {
                pthread_cancel(pthread_self());
                tr_ms_record_id_1("_HBC", 1, component.tokens[1]);
                came_back = true;
                pthread_testcancel();
                return nullptr;
            },
            nullptr);
        void *result = nullptr;
        pthread_join(thread, &result);
        say(came_back ? "came back, " : "ended within, ");
        say(result == PTHREAD_CANCELED ? "then cancelled" : "not cancelled");
    });
    EXPECT_EQ(child.said, "came back, then cancelled");
    EXPECT_THAT(records(), ElementsAre("_HBC Info 1 started"));
}

TEST_F(Trace, RegisteringAThousandTimesGivesTheSameTokens) {
    const Child_Result child = in_child(environment(), [] {
        const Component first;
        std::set<tr_file_token_t *> tokens;
        bool levels_set = true;
        for (int i = 0; i < 1000; ++i) {
            const Component again;
            tokens.insert(again.tokens);
            levels_set = levels_set && again.text() == "0:0,1,2;";
        }
        say(tokens == std::set<tr_file_token_t *>{first.tokens} ? "same tokens, " : "other tokens, ");
        say(levels_set ? "levels set" : "levels missing");
    });
    EXPECT_EQ(child.said, "same tokens, levels set");
}

TEST_F(Trace, NothingOfAnUnloadedComponentIsTouchedAgain) {
    const Child_Result child = in_child(environment(), [] {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        void *unloadable = mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        auto *levels = static_cast<unsigned char *>(unloadable);
        char *name = static_cast<char *>(unloadable) + 64;
        std::strcpy(name, "_HBC");
        char *category = static_cast<char *>(unloadable) + 128;
        std::strcpy(category, "Info");
        auto *table = reinterpret_cast<tr_category_description_t *>(static_cast<char *>(unloadable) + 256);
        *table = {1, category, 1, 0};
        tr_file_token_t *tokens = nullptr;
        tr_ms_register_component_1(name, levels, table, 1, &tokens);
        munmap(unloadable, page);

        tr_ms_record_id_1("_HBC", 1, tokens[0]);
        const Component again;
        tr_ms_record_id_1("_HBC", 1, again.tokens[2]);
        tr_ms_record_id_1("_HBC", 1, tokens[0]);
    });
    EXPECT_TRUE(child.ended_well());
    EXPECT_THAT(records(), ElementsAre("_HBC Info 1 started", "_HBC Debug 1 started", "_HBC Info 1 started"));
}

TEST_F(Trace, RegistrationRefusesWhatItCannotTake) {
    const Child_Result child = in_child(environment(), [] {
        unsigned char levels[64];
        tr_file_token_t *const untouched = reinterpret_cast<tr_file_token_t *>(&levels);
        tr_category_description_t nameless[] = {{0, nullptr, 0, 0}};
        tr_category_description_t many[33];
        for (tr_category_description_t &category : many) {
            category = {0, "Info", 1, 0};
        }
        const auto refused = [&](const char *name, unsigned char *bytes,
                                 const tr_category_description_t *categories, uint32_t count,
                                 bool with_tokens) {
            std::memset(levels, 9, sizeof levels);
            tr_file_token_t *tokens = untouched;
            errno = 0;
            const int result =
                tr_ms_register_component_1(name, bytes, categories, count, with_tokens ? &tokens : nullptr);
            const bool clean =
                result == -1 && tokens == untouched && (bytes == nullptr || count == 0 || bytes[0] == 0);
            say(clean ? std::string(strerrorname_np(errno)) + " " : "accepted or unclean ");
        };
        refused(nullptr, levels, CATEGORIES, 3, true);
        refused("", levels, CATEGORIES, 3, true);
        refused("a name of thirty-two characters.", levels, CATEGORIES, 3, true);
        refused("_HBC", nullptr, CATEGORIES, 3, true);
        refused("_HBC", levels, nullptr, 3, true);
        refused("_HBC", levels, nameless, 1, true);
        refused("_HBC", levels, CATEGORIES, 0, true);
        refused("_HBC", levels, many, 33, true);
        refused("_HBC", levels, CATEGORIES, 3, false);
        say(std::to_string(tr_ms_register_component_1("a name of thirty-one characters", levels, many, 32,
                                                      std::array<tr_file_token_t *, 1>{}.data())));
    });
    EXPECT_EQ(child.said, "EINVAL EINVAL ENAMETOOLONG EINVAL EINVAL EINVAL EINVAL EINVAL EINVAL 0");
}

TEST_F(Trace, ComponentsThatNoLongerFitAreRefusedAndTheOldOnesStay) {
    const Child_Result child = in_child(environment(), [] {
        int accepted = 0;
        int error = 0;
        for (int i = 0; i < 100; ++i) {
            const std::string name = "component" + std::to_string(i);
            const Component component(name.c_str());
            if (component.result == 0) {
                ++accepted;
            } else if (error == 0) {
                error = errno;
                say(component.text());
            }
        }
        say(std::to_string(accepted) + " " + strerrorname_np(error) + " " + Component("component5").text());
    });
    EXPECT_EQ(child.said, "-1:0,0,0;64 ENOSPC 0:0,1,2;");
}

} // namespace
