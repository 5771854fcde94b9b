// SPDX-License-Identifier: Apache-2.0
// The commands of control socket and timelines, executed for a program that says what it does for them.
#include <chrono>
#include <vector>

#include <asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/description/command_executor.h"
#include "cluster/description/timeline_run.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace wispd;

Configuration two_nodes() {
    Configuration configuration;
    configuration.local_node = 0;
    configuration.max_nodes = 2;
    configuration.adapters_per_node = 1;
    configuration.networks = {{0, "net", "ether"}};
    for (int node : {0, 1}) {
        Configured_Adapter adapter;
        adapter.carries_ip = false;
        configuration.nodes.push_back({static_cast<Hb_Node_Number>(node), node == 0 ? "a" : "b", {adapter}});
    }
    return configuration;
}

class WispdCommandExecutor : public testing::Test {
  protected:
    Command_Executor::Handlers handlers() {
        Command_Executor::Handlers handlers;
        handlers.why_unsupported = [](Verb verb) {
            return verb == Verb::rotate_key ? std::string("there are no keys here") : std::string();
        };
        handlers.act = [this](const Node_Request &request) {
            return control_.act(request, std::chrono::steady_clock::now());
        };
        handlers.suspicion_ended = [this](const Command &command) {
            done_.push_back(std::string("ended by ") + verb_name(command.verb));
        };
        handlers.changed = [this](const Changes &changes) {
            control_.heed(changes);
            done_.push_back(changes.any() ? "changed" : "unchanged");
        };
        handlers.reload = [this](const std::string &path, const Finished &finished) {
            done_.push_back("reload " + path);
            pending_ = finished;
        };
        handlers.play = [this](const std::string &path, const Finished &finished) {
            done_.push_back("play " + path);
            finished(std::nullopt);
        };
        handlers.rotate_keys = [this] { done_.push_back("rotate"); };
        handlers.set_log_level = [this](const std::string &level) { done_.push_back("log " + level); };
        handlers.state_line = [] { return std::string("state"); };
        handlers.rejected = [this](const std::string &why) { done_.push_back("rejected: " + why); };
        return handlers;
    }
    std::vector<std::string> answers_to(const std::string &line, bool in_full = true) {
        executor_.answer(line, in_full, [this](const Control_Answer &answer) {
            answers_.push_back(answer.line + (answer.then_stop ? " and stop" : ""));
        });
        return answers_;
    }

    Cluster cluster_{two_nodes()};
    Node_Control control_{cluster_, Suspicion_Settings()};
    std::vector<std::string> done_;
    std::vector<std::string> answers_;
    Finished pending_;
    Command_Executor executor_{cluster_, control_, handlers()};
};

TEST_F(WispdCommandExecutor, ChangesOfTheClusterAreHandedOver) {
    EXPECT_THAT(answers_to(R"({"do":"node-down","node":1})"), ElementsAre(R"({"ok":true})"));
    EXPECT_THAT(done_, ElementsAre("changed"));
    EXPECT_FALSE(cluster_.nodes()[1].up);
}

TEST_F(WispdCommandExecutor, AVerbThatTheProgramDoesNotExecuteIsRejectedWithItsReason) {
    EXPECT_THAT(answers_to(R"({"do":"rotate-key"})"),
                ElementsAre(R"({"error":"there are no keys here","ok":false})"));
    EXPECT_THAT(done_, ElementsAre("rejected: there are no keys here"));
}

TEST_F(WispdCommandExecutor, StateAndStopAreAnsweredWithoutAChange) {
    EXPECT_THAT(answers_to(R"({"do":"state"})"), ElementsAre("state"));
    EXPECT_THAT(answers_to(R"({"do":"stop"})"), ElementsAre("state", R"({"ok":true} and stop)"));
    EXPECT_THAT(done_, IsEmpty());
}

TEST_F(WispdCommandExecutor, AReloadIsAnsweredWhenItIsFinishedAndInFullOnlyWhereThatIsPermitted) {
    EXPECT_THAT(answers_to(R"({"do":"reconfigure","config":"/c"})", false), IsEmpty());
    EXPECT_THAT(done_, ElementsAre("reload /c"));
    pending_(Failure{"line 3 holds a secret", "rejected"});
    EXPECT_THAT(answers_, ElementsAre(R"({"error":"rejected","ok":false})"));
    answers_to(R"({"do":"reconfigure"})");
    pending_(Failure{"line 3 holds a secret", "rejected"});
    EXPECT_EQ(answers_.back(), R"({"error":"line 3 holds a secret","ok":false})");
}

TEST_F(WispdCommandExecutor, AReportOfASuspectedNodeEndsTheSuspicion) {
    answers_to(R"({"do":"node-may-be-down","node":1})");
    ASSERT_TRUE(control_.next_due());
    EXPECT_EQ(answers_to(R"({"do":"node-up","node":1})").back(), R"({"ok":true})");
    EXPECT_THAT(done_, ElementsAre("unchanged", "ended by node-up"));
    EXPECT_FALSE(control_.next_due());
    EXPECT_THAT(answers_to(R"({"do":"node-up","node":1})").back(),
                HasSubstr("and all its adapters are up already"));
}

TEST_F(WispdCommandExecutor, TheLogLevelIsHandedOver) {
    EXPECT_EQ(answers_to(R"({"do":"log-level","level":"debug"})").back(), R"({"ok":true})");
    EXPECT_THAT(done_, ElementsAre("log debug"));
    EXPECT_THAT(answers_to(R"({"do":"log-level","level":"loud"})").back(), HasSubstr("is not a log level"));
}

TEST_F(WispdCommandExecutor, AnAnswerSaysWhyItsCommandIsRejected) {
    std::vector<std::string> reasons;
    std::string line;
    const auto note = [&](const Control_Answer &answer) {
        reasons.push_back(answer.why_rejected);
        line = answer.line;
    };
    executor_.answer(R"({"do":"node-down","node":1})", true, note);
    executor_.answer(R"({"do":"node-down","node":1})", true, note);
    executor_.answer("hello", true, note);
    executor_.answer(R"({"do":"reconfigure"})", true, note);
    pending_(Failure{"line 3 holds a secret", "rejected"});
    EXPECT_THAT(line, HasSubstr("line 3 holds a secret"));
    EXPECT_THAT(reasons, ElementsAre("", HasSubstr("is down already"), HasSubstr("expected one JSON object"),
                                     "rejected"));
}

TEST_F(WispdCommandExecutor, AFailureWithoutAnIdentifierGetsANewOne) {
    EXPECT_EQ(answers_to(R"({"do":"ffdc"})").back(), R"({"ok":true})");
    EXPECT_THAT(done_, ElementsAre("changed"));
}

// ---- Timelines ----

class WispdTimelineRun : public testing::Test {
  protected:
    Timeline_Run::Handlers handlers() {
        Timeline_Run::Handlers handlers;
        handlers.read = [](const std::string &path, const Timeline_Run::Use &use, const Finished &finished) {
            use(path == "/empty" ? std::vector<Timeline_Event>() : events());
            finished(std::nullopt);
        };
        handlers.execute = [this](const Command &command, const Finished &finished) {
            done_.push_back(verb_name(command.verb));
            if (command.verb == Verb::reconfigure) {
                pending_ = finished;
            } else {
                finished(std::nullopt);
            }
        };
        handlers.begun = [this] { done_.push_back("begun"); };
        handlers.charge = [] { return nullptr; };
        return handlers;
    }
    static std::vector<Timeline_Event> events() {
        return parse_timeline("[[event]]\nafter = 0\ndo = \"reconfigure\"\n"
                              "[[event]]\nafter = 0\ndo = \"rotate-key\"\n",
                              "t.toml");
    }
    std::string error_of_playing(const std::string &path) {
        try {
            run_.play(path, [](const auto &) {});
        } catch (const Refused &refused) {
            return refused.what();
        }
        return "played";
    }

    asio::io_context context_;
    std::vector<std::string> done_;
    Finished pending_;
    Timeline_Run run_{context_, {}, handlers()};
};

TEST_F(WispdTimelineRun, EventsWaitForAFileThatAnEarlierOneNamed) {
    EXPECT_EQ(error_of_playing("/t"), "played");
    context_.run();
    EXPECT_THAT(done_, ElementsAre("begun", "reconfigure"));
    EXPECT_EQ(run_.played(), 2U);
    EXPECT_EQ(error_of_playing("/t"), "a timeline is already playing: 2 of its 2 events are done");
    pending_(std::nullopt);
    EXPECT_THAT(done_, ElementsAre("begun", "reconfigure", "rotate-key"));
    EXPECT_EQ(error_of_playing("/t"), "played");
}

TEST_F(WispdTimelineRun, ATimelineWithoutEventsIsRejectedAndSoIsOneThatIsNotConfigured) {
    EXPECT_EQ(error_of_playing("/empty"), "the timeline /empty has no events");
    EXPECT_EQ(error_of_playing(""), "no timeline is configured; name one");
    EXPECT_THAT(done_, IsEmpty());
    EXPECT_EQ(run_.size(), 0U);
}

} // namespace
