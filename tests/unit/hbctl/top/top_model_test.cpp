// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hb_client.h"
#include "tests/unit/hbctl/top/sample_model.h"
#include "tools/hbctl/top/node_list.h"
#include "tools/hbctl/top/top_model.h"

using namespace hbctl;
using namespace hbctl_test;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

Event_Record group_of_nodes(const std::vector<int> &numbers) {
    Event_Record event;
    event.kind = HB_EVENT_NEW_GROUP;
    event.member_kind = Member_Kind::nodes;
    for (const int number : numbers) {
        event.nodes.push_back({number, {}});
    }
    return event;
}

std::vector<int> numbers_of(const std::vector<const Node_Row *> &nodes) {
    std::vector<int> numbers;
    for (const Node_Row *node : nodes) {
        numbers.push_back(node->number);
    }
    return numbers;
}

Top_View with_search(const std::string &text) {
    Top_View view;
    view.search = text;
    return view;
}

} // namespace

TEST(TopModel, ContactFollowsTheConnectionAndTheAnswers) {
    Top_Model model("/s");
    EXPECT_EQ(model.contact(moment()), Contact::connecting);
    model.connect(picture_of({}), moment());
    EXPECT_EQ(model.contact(moment(seconds(3))), Contact::connected);
    EXPECT_EQ(model.contact(moment(seconds(4))), Contact::silent);
    model.note_contact(moment(seconds(4)));
    EXPECT_EQ(model.contact(moment(seconds(5))), Contact::connected);
    model.disconnect("wispd disconnected", moment(seconds(6)));
    EXPECT_EQ(model.contact(moment(seconds(6))), Contact::disconnected);
    EXPECT_EQ(model.since(), moment(seconds(6)).wall);
    model.disconnect("no daemon", moment(seconds(8))); // an attempt that failed
    EXPECT_EQ(model.since(), moment(seconds(6)).wall);
    EXPECT_EQ(model.obstacle(), "no daemon");
    model.connect(picture_of({}), moment(seconds(9)));
    EXPECT_EQ(model.contact(moment(seconds(9))), Contact::connected);
}

TEST(TopModel, SilenceIsNotedOnceAndItsEndToo) {
    Top_Model model = model_of({});
    EXPECT_FALSE(model.check_silence(moment(seconds(2))));
    EXPECT_TRUE(model.check_silence(moment(seconds(4))));
    EXPECT_FALSE(model.check_silence(moment(seconds(5))));
    EXPECT_EQ(model.entries().front().kind, "no answer");
    EXPECT_EQ(model.entries().front().tone, Tone::bad);
    model.note_contact(moment(seconds(6)));
    EXPECT_EQ(model.entries().front().kind, "answers again");
    EXPECT_EQ(model.entries().size(), 3U); // and "connected"
}

TEST(TopModel, APauseOfThisProcessIsNoSilence) {
    Top_Model model = model_of({});
    model.note_pause(moment(seconds(60)));
    EXPECT_EQ(model.contact(moment(seconds(61))), Contact::connected);
    EXPECT_EQ(model.contact(moment(seconds(64))), Contact::silent);
}

TEST(TopModel, AnswersToSubscriptionsSetTheStatesAndAreNoEvents) {
    Top_Model model = model_of({});
    model.add(group_of_nodes({1, 2}), {}, moment());
    EXPECT_EQ(model.entries().size(), 1U);
    EXPECT_EQ(model.picture().node(2)->state, Liveness::up);
    EXPECT_EQ(model.picture().node(3)->state, Liveness::down);
    model.add(group_of_nodes({1, 2, 3}), {}, moment());
    EXPECT_EQ(model.entries().front().kind, "node group");
    EXPECT_EQ(model.picture().node(3)->state, Liveness::up);
}

TEST(TopModel, ADeathIsShownWithNamesAddressesAndTheFailureIdentifier) {
    Top_Model model = model_of({});
    let_die(3, {}, model);
    const Top_Entry &node = model.entries()[0];
    EXPECT_EQ(node.kind, "node death");
    EXPECT_EQ(node.who, "3 node-3");
    EXPECT_EQ(node.detail, "10.0.0.3");
    EXPECT_EQ(node.ffdc_id, "20261122T072446Z-00006a0e-0011223344556677");
    const Top_Entry &adapters = model.entries()[1];
    EXPECT_EQ(adapters.kind, "adapter death");
    EXPECT_EQ(adapters.who, "144 node-3/net_0, 145 node-3/net_1");
    EXPECT_EQ(adapters.detail, "10.0.0.3 eth0, 10.1.0.3 eth0");
}

TEST(TopModel, WithoutNamesNumbersAreShownAndManyMembersAsRanges) {
    const Sample sample{5, 6, false};
    Top_Model model = model_of(sample);
    let_die(3, sample, model);
    EXPECT_EQ(model.entries()[0].who, "3");
    EXPECT_EQ(model.entries()[1].who, "6 adapters: 144-149");
    const Sample two{5, 1, false};
    Top_Model small = model_of(two);
    let_die(2, two, small);
    EXPECT_EQ(small.entries()[1].who, "96 of node 2 on net_0");
}

TEST(TopModel, AConfigurationReplacesThePicture) {
    Top_Model model = model_of({});
    Event_Record event;
    event.kind = HB_EVENT_CONFIG;
    event.counts = count(picture_of({6, 2, true}));
    model.add(event, picture_of({6, 2, true}), moment());
    EXPECT_EQ(model.picture().nodes.size(), 6U);
    EXPECT_THAT(model.entries().front().who, HasSubstr("6 nodes (6 up)"));
}

TEST(TopModel, OldEntriesAreForgotten) {
    Top_Model model = model_of({});
    for (int i = 0; i < 2000; ++i) {
        model.note_dropped(static_cast<std::uint32_t>(i), moment());
    }
    EXPECT_EQ(model.entries().size(), Top_Model::MOST_ENTRIES);
    EXPECT_THAT(model.entries().front().who, HasSubstr("1999"));
}

TEST(TopModel, ANetworkIsUpWithOneOfItsAdapters) {
    Picture picture = picture_of({2, 2, true});
    picture.adapters[0].state = Liveness::down; // node 1 on net_0
    Top_Summary summary = summarize(picture);
    EXPECT_EQ(summary.networks_up, 2U);
    EXPECT_EQ(summary.networks[0].up, 1U);
    EXPECT_EQ(summary.networks[0].down, 1U);
    picture.adapters[2].state = Liveness::down; // node 2 on net_0
    summary = summarize(picture);
    EXPECT_EQ(summary.networks_up, 1U);
    EXPECT_EQ(summary.counts.adapters_up, 2U);
}

TEST(TopNodes, AreFilteredFoundAndSorted) {
    const Sample sample{12, 1, true};
    Top_Model model = model_of(sample);
    Picture picture = picture_of(sample);
    picture.nodes[4].state = Liveness::down;    // node 5
    picture.adapters[6].state = Liveness::down; // of node 7
    model.connect(picture, moment());
    Top_View down;
    down.filter = Filter::problems;
    EXPECT_THAT(numbers_of(chosen_nodes(model, down)), ElementsAre(5, 7));
    Top_View local;
    local.filter = Filter::local;
    EXPECT_THAT(numbers_of(chosen_nodes(model, local)), ElementsAre(1));
    EXPECT_THAT(numbers_of(chosen_nodes(model, with_search("1"))), ElementsAre(1, 10, 11, 12));
    EXPECT_THAT(numbers_of(chosen_nodes(model, with_search("DE-12"))), ElementsAre(12));
    EXPECT_THAT(numbers_of(chosen_nodes(model, with_search("nobody"))), ElementsAre());
    Top_View by_state;
    by_state.sort = Sort::state;
    EXPECT_THAT(numbers_of(chosen_nodes(model, by_state)), ElementsAre(5, 7, 1, 2, 3, 4, 6, 8, 9, 10, 11, 12));
    Top_View by_name;
    by_name.sort = Sort::name;
    EXPECT_THAT(numbers_of(chosen_nodes(model, by_name)), ElementsAre(1, 10, 11, 12, 2, 3, 4, 5, 6, 7, 8, 9));
}

TEST(TopNodes, ACellJoinsTheAdaptersOfANodeOnANetwork) {
    Picture picture = picture_of({1, 2, true});
    picture.adapters[1].network = 0; // both on net_0
    const std::vector<Node_Cell> both_up = cells_of(picture.nodes[0], picture);
    ASSERT_EQ(both_up.size(), 2U);
    EXPECT_EQ(both_up[0].state, Cell::up);
    EXPECT_EQ(both_up[1].state, Cell::none);
    picture.adapters[1].state = Liveness::down;
    EXPECT_EQ(cells_of(picture.nodes[0], picture)[0].state, Cell::mixed);
    picture.adapters[0].state = Liveness::unknown;
    EXPECT_EQ(cells_of(picture.nodes[0], picture)[0].state, Cell::unknown);
}
