// SPDX-License-Identifier: Apache-2.0
// `hbctl top` with a real daemon: one frame as text, and the screen of a real terminal.
#include <csignal>
#include <cstdlib>
#include <regex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/hbctl.h"
#include "tests/system/tmux.h"

namespace hb_test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

class HbctlTop : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(daemon.start()); }
    void TearDown() override {
        if (daemon.running()) {
            EXPECT_TRUE(daemon.stop());
        }
    }

    Hbctl_End once(Words words) {
        words.insert(words.begin(), {"top", "--once"});
        return run_hbctl(daemon.programs(), daemon, words, {"env", "LC_ALL=C.UTF-8"});
    }

    Daemon daemon{programs_of_this_build(), small_cluster_file()};
};

TEST_F(HbctlTop, OnceAFrameIsPrintedAsText) {
    const Hbctl_End end = once({"--width", "80"});
    EXPECT_EQ(end.exit_status, 0) << end.errors;
    EXPECT_THAT(end.output,
                HasSubstr(" ● connected    nodes 3 of 4 up   adapters 6 of 7 up   networks 2 of 2 up\n"));
    EXPECT_THAT(end.output, HasSubstr("● 10.1.0.1   ● 10.2.0.1\n"));
    EXPECT_THAT(end.output, HasSubstr("● 10.1.0.3   ● 2001:db8::3\n"));
    EXPECT_THAT(end.output, HasSubstr("✗ 10.1.0.4   ·\n"));
    EXPECT_THAT(end.output, EndsWith("\n  ● up  ✗ down  ◐ part  ? unknown  · none\n"));
    EXPECT_THAT(end.output, Not(HasSubstr("\x1b")));
    EXPECT_EQ(end.errors, "");
}

TEST_F(HbctlTop, OnceTheWidthComesFromTheEnvironmentToo) {
    const Hbctl_End end =
        run_hbctl(daemon.programs(), daemon, {"top", "--once"}, {"env", "LC_ALL=C", "COLUMNS=44"});
    EXPECT_EQ(end.exit_status, 0) << end.errors;
    EXPECT_THAT(end.output, HasSubstr("\n + connected\n nodes 3/4  adapters 6/7  networks 2/2\n"));
    EXPECT_THAT(end.output, HasSubstr("X down      ."));
}

TEST_F(HbctlTop, WithoutATerminalThereIsAnExplanation) {
    const Hbctl_End end = run_hbctl(daemon.programs(), daemon, {"top"});
    EXPECT_EQ(end.exit_status, 1);
    EXPECT_THAT(end.errors, HasSubstr("use 'hbctl top --once'"));
}

TEST_F(HbctlTop, OnceWithoutADaemonTheReasonIsPrinted) {
    ASSERT_TRUE(daemon.stop());
    const Hbctl_End end = once({});
    EXPECT_EQ(end.exit_status, 1);
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.errors, StartsWith("hbctl: no heartbeat daemon listens at "));
}

// ---- On a terminal ----

class TopScreen : public HbctlTop {
  protected:
    void SetUp() override {
#if !HB_WITH_NCURSES
        GTEST_SKIP() << "this hbctl was built without ncurses";
#endif
        if (!Tmux::is_installed()) {
            GTEST_SKIP() << "no tmux (package tmux)";
        }
        HbctlTop::SetUp();
        terminal.emplace(Terminal_Size{100, 30});
    }

    // Runs hbctl top in the shell, which then prints how it ended.
    void start(const std::string &options = "") {
        terminal->type_line("clear; " + daemon.programs().path("hbctl") + " --socket " + daemon.socket() +
                            " top " + options + "; echo ended with $?");
    }
    void start_connected(const std::string &options = "") {
        start(options);
        ASSERT_TRUE(terminal->wait_shown("● connected")) << terminal->screen();
        ASSERT_TRUE(terminal->wait_shown("nodes 3 of 4 up   adapters 6 of 7 up")) << terminal->screen();
    }
    pid_t hbctl() {
        EXPECT_TRUE(wait_until([&] { return terminal->program() > 0; }));
        return terminal->program();
    }
    void signal_hbctl(int signal) {
        const pid_t pid = hbctl();
        ASSERT_GT(pid, 0);
        kill(pid, signal);
    }
    // The shell's screen is back, and its terminal echoes whole lines.
    void expect_sane_end(int status) {
        EXPECT_TRUE(terminal->wait_shown("ended with " + std::to_string(status))) << terminal->screen();
        expect_sane_terminal();
    }
    void expect_sane_terminal() {
        EXPECT_FALSE(terminal->has_other_screen());
        const std::string number = std::to_string(++questions); // an earlier answer may still be on the screen
        terminal->type_line("clear; stty -a; echo question \"" + number + "\"");
        EXPECT_TRUE(terminal->wait_shown("question " + number)) << terminal->screen();
        const std::string settings = terminal->screen();
        for (const char *setting : {"icanon", "echo", "isig", "icrnl", "onlcr", "opost"}) {
            EXPECT_TRUE(
                std::regex_search(settings, std::regex(std::string("(^|[ \n])") + setting + "([ \n;]|$)")))
                << setting << " is not set in " << settings;
        }
    }

    std::optional<Tmux> terminal;
    int questions = 0;
};

TEST_F(TopScreen, ADeathAppearsInTheGridTheCountsAndTheEvents) {
    start_connected();
    EXPECT_TRUE(terminal->wait_shown("● 10.1.0.3")) << terminal->screen();
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    EXPECT_TRUE(terminal->wait_shown("✗ 10.1.0.3")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("nodes 2 of 4 up"));
    EXPECT_TRUE(terminal->wait_shown("node death"));
    EXPECT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    EXPECT_TRUE(terminal->wait_shown("● 10.1.0.3")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("node join"));
}

TEST_F(TopScreen, KeysShowHelpFilterSearchAndEndIt) {
    start_connected();
    EXPECT_TRUE(terminal->has_other_screen());
    terminal->press({"h"});
    EXPECT_TRUE(terminal->wait_shown("search a node by number or name")) << terminal->screen();
    terminal->press({"Escape"});
    EXPECT_TRUE(terminal->wait_hidden("search a node by number or name"));
    terminal->press({"f"});
    EXPECT_TRUE(terminal->wait_shown("problems only"));
    EXPECT_TRUE(terminal->wait_hidden("10.1.0.2"));
    EXPECT_TRUE(terminal->wait_shown("10.1.0.4"));
    terminal->press({"f"});
    EXPECT_TRUE(terminal->wait_shown("local only"));
    EXPECT_TRUE(terminal->wait_hidden("10.1.0.4"));
    terminal->press({"Escape"});
    EXPECT_TRUE(terminal->wait_shown("10.1.0.4"));
    terminal->press({"/", "2"});
    EXPECT_TRUE(terminal->wait_shown("/2_"));
    EXPECT_TRUE(terminal->wait_hidden("10.1.0.3"));
    EXPECT_TRUE(terminal->wait_shown("10.1.0.2"));
    terminal->press({"Enter", "q"});
    expect_sane_end(0);
}

TEST_F(TopScreen, ADaemonThatEndsIsShownAndItsReturnToo) {
    start_connected();
    daemon.kill();
    EXPECT_TRUE(terminal->wait_shown("✗ reconnecting since")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_hidden("●")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("○ 10.1.0.2")) << terminal->screen();
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(terminal->wait_shown("● connected")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("reconnected")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("● 10.1.0.2")) << terminal->screen();
    terminal->press({"q"});
    expect_sane_end(0);
}

TEST_F(TopScreen, ADaemonThatIsStoppedIsNeverShownAsFresh) {
    start_connected();
    daemon.send_signal(SIGSTOP);
    EXPECT_TRUE(terminal->wait_shown("✗ no answer since")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_hidden("●")) << terminal->screen();
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(terminal->wait_shown("● connected")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("answers again")) << terminal->screen();
    daemon.send_signal(SIGSTOP);
    terminal->press({"q"});
    expect_sane_end(0);
    daemon.send_signal(SIGCONT);
}

TEST_F(TopScreen, EachSignalEndsItAndLeavesTheTerminalSane) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        start_connected();
        signal_hbctl(signal);
        expect_sane_end(0);
    }
    start_connected();
    terminal->press({"C-c"});
    expect_sane_end(0);
}

TEST_F(TopScreen, ASignalEndsItAlsoWhileItWaitsForAStoppedDaemon) {
    daemon.send_signal(SIGSTOP);
    start();
    EXPECT_TRUE(terminal->wait_shown("○ connecting")) << terminal->screen();
    signal_hbctl(SIGTERM);
    expect_sane_end(0);
    start();
    EXPECT_TRUE(terminal->wait_shown("○ connecting")) << terminal->screen();
    terminal->press({"q"});
    expect_sane_end(0);
    daemon.send_signal(SIGCONT);
}

TEST_F(TopScreen, ADaemonThatNeverAnswersEndsItInItsTime) {
    daemon.send_signal(SIGSTOP);
    start("--timeout 0.6");
    expect_sane_end(1);
    start("--timeout 0.1");
    EXPECT_TRUE(terminal->wait_shown("wispd does not answer at")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("(waited 0.1 s)")) << terminal->screen();
    daemon.send_signal(SIGCONT);
    start("--timeout 5");
    expect_sane_end(0);
}

TEST_F(TopScreen, ItCanStartBeforeTheDaemon) {
    ASSERT_TRUE(daemon.stop());
    start();
    EXPECT_TRUE(terminal->wait_shown("no heartbeat daemon listens at")) << terminal->screen();
    expect_sane_end(1);
    start("--wait");
    EXPECT_TRUE(terminal->wait_shown("○ connecting")) << terminal->screen();
    ASSERT_TRUE(daemon.start());
    EXPECT_TRUE(terminal->wait_shown("● connected")) << terminal->screen();
    terminal->press({"q"});
    expect_sane_end(0);
}

TEST_F(TopScreen, TheShellCanStopAndContinueIt) {
    start_connected();
    terminal->press({"C-z"});
    EXPECT_TRUE(terminal->wait_shown("Stopped")) << terminal->screen();
    expect_sane_terminal();
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
    terminal->type_line("fg");
    EXPECT_TRUE(terminal->wait_shown("✗ 10.1.0.3")) << terminal->screen();
    EXPECT_TRUE(terminal->has_other_screen());
    signal_hbctl(SIGSTOP);
    EXPECT_TRUE(terminal->wait_shown("Stopped")) << terminal->screen();
    terminal->type_line("fg");
    EXPECT_TRUE(terminal->wait_shown("● connected")) << terminal->screen();
    terminal->press({"q"});
    EXPECT_TRUE(terminal->wait_hidden("● connected")) << terminal->screen();
    expect_sane_terminal();
}

TEST_F(TopScreen, AnotherSizeIsUsedAtOnce) {
    start_connected();
    terminal->resize({40, 10});
    EXPECT_TRUE(terminal->wait_shown(" nodes 3/4  adapters 6/7  networks 2/2")) << terminal->screen();
    terminal->resize({132, 40});
    EXPECT_TRUE(terminal->wait_shown("nodes 3 of 4 up")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("· none")) << terminal->screen(); // at the end of the last line
    terminal->press({"q"});
    expect_sane_end(0);
}

TEST_F(TopScreen, ColoursAreAChoiceAndStatesDoNotNeedThem) {
    const std::regex colour("\x1b\\[[0-9;]*[34][0-7]m");
    start_connected();
    EXPECT_TRUE(std::regex_search(terminal->coloured_screen(), colour)) << terminal->coloured_screen();
    terminal->press({"q"});
    expect_sane_end(0);
    terminal->type_line("export NO_COLOR=1");
    start_connected();
    EXPECT_FALSE(std::regex_search(terminal->coloured_screen(), colour)) << terminal->coloured_screen();
    terminal->press({"q"});
    expect_sane_end(0);
    terminal->type_line("unset NO_COLOR; export TERM=vt100 LC_ALL=C");
    start("");
    EXPECT_TRUE(terminal->wait_shown("+ connected")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("X 10.1.0.4")) << terminal->screen();
    EXPECT_FALSE(std::regex_search(terminal->coloured_screen(), colour)) << terminal->coloured_screen();
    terminal->press({"q"});
    EXPECT_TRUE(terminal->wait_shown("ended with 0")) << terminal->screen();
    terminal->type_line("export TERM=unheard-of");
    start("");
    EXPECT_TRUE(terminal->wait_shown("the terminal type 'unheard-of' is unknown")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("ended with 1")) << terminal->screen();
    terminal->type_line("export TERM=vt100; clear; export TERM=dumb");
    start("");
    EXPECT_TRUE(terminal->wait_shown("the terminal type 'dumb' cannot move the cursor")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("ended with 1")) << terminal->screen();
}

// HB_TOP_CHANGES lets that many changes follow each other; each is several events.
TEST_F(TopScreen, ABurstOfEventsEndsWithTheLastStateOnTheScreen) {
    const char *variable = std::getenv("HB_TOP_CHANGES");
    const int changes = variable == nullptr ? 200 : std::atoi(variable);
    start_connected();
    for (int change = 0; change < changes; ++change) {
        ASSERT_TRUE(
            daemon.tells(change % 2 == 0 ? R"({"do":"node-down","node":3})" : R"({"do":"node-up","node":3})"));
    }
    EXPECT_TRUE(daemon.tells(R"({"do":"node-down","node":2})"));
    EXPECT_TRUE(terminal->wait_shown("✗ 10.1.0.2")) << terminal->screen();
    EXPECT_TRUE(terminal->wait_shown("● 10.1.0.3")) << terminal->screen();
    terminal->press({"q"});
    expect_sane_end(0);
}

} // namespace
} // namespace hb_test
