// SPDX-License-Identifier: Apache-2.0
// The events that an update of the table reports at once, and those that it queues, in order.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/event_queue.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/hb_global_data/working_table.h"
#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Update {
    Update() { client.open(); }

    Hb_Rc run() {
        auto *handler = dynamic_cast<ORBFSConfigurationHandler *>(adapter_event_handler_p);
        char text[48] = "untouched";
        set_hb_errno(Handler_Call::NO_ERROR_NUMBER);
        const Hb_Rc result = handler->update_global_table_and_construct_events(
            &call.events, text, call.group.get(), &call.sequence, nullptr);
        call.name = text;
        call.error = hb_get_errno();
        return result;
    }
    void add_node(uint32_t number, bool with_interface) {
        mox_sim::Node node;
        node.number = number;
        client.service.set(node);
        if (with_interface) {
            mox_sim::Interface interface;
            interface.node = number;
            interface.name = "eth0";
            interface.address = mox_sim::address_of("10.1.0.77");
            client.service.set(interface);
        }
    }
    static int live_nodes() {
        int nodes = 0;
        EXPECT_EQ(Hb_Success, hb_get_number_of_configured_nodes(&nodes));
        return nodes;
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(ConfigurationUpdate, WithoutADepartureGivesConfigurationChangedAndSwitchesAtOnce) {
    Update update;
    update.add_node(7, true);
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(CONFIG, update.call.events);
    EXPECT_EQ("Hb_Config_Group", update.call.name);
    EXPECT_EQ(0U, update.call.sequence);
    EXPECT_TRUE(update.call.group_is_untouched());
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(JOIN, {7}), queued_adapters(JOIN, {336})));
    EXPECT_EQ(4, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(MOX_Working_Table::none, MOX_working_table());
}

ISOLATED_TEST(ConfigurationUpdate, WithoutAnyDifferenceTellsTheSame) {
    Update update;
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(CONFIG, update.call.events);
    EXPECT_THAT(queued(), IsEmpty());
    EXPECT_FALSE(update.client.is_readable());
}

ISOLATED_TEST(ConfigurationUpdate, TellsDepartedAdaptersAndQueuesNodesMarkerAndJoins) {
    Update update;
    update.client.service.remove_node(3);
    update.add_node(7, true);
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(DEATH, update.call.events);
    EXPECT_EQ("a", update.call.name);
    EXPECT_EQ(0U, update.call.sequence);
    EXPECT_EQ(1, update.call.group->Hb_group_type);
    EXPECT_THAT(update.call.adapters(), ElementsAre(144, 145));
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {3}), queued_marker(), queued_nodes(JOIN, {7}),
                                      queued_adapters(JOIN, {336})));
    EXPECT_EQ(-1, state_of_node(7)) << "the switch waits for the marker";
    EXPECT_EQ(Hb_Entity_Up, state_of_node(3));
}

ISOLATED_TEST(ConfigurationUpdate, ADepartedNodeWithoutAdaptersTellsNothingAtOnce) {
    Update update;
    update.add_node(7, false);
    ASSERT_EQ(Hb_Success, update.run());
    update.client.take_all();
    update.client.service.remove_node(7);
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(0, update.call.events);
    EXPECT_EQ("<EMPTY EVENT>", update.call.name);
    EXPECT_THAT(queued(), ElementsAre(queued_nodes(DEATH, {7}), queued_marker()));
}

ISOLATED_TEST(ConfigurationUpdate, WithoutAnAdapterSubscriptionDepartedAdaptersAreCopiedAndNotTold) {
    Update update;
    hb_set_name(networkEventSubscriptionName, "");
    update.client.service.remove_interface(3, "eth1");
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(0, update.call.events);
    EXPECT_EQ("<EMPTY EVENT>", update.call.name);
    EXPECT_THAT(update.call.adapters(), ElementsAre(145));
    EXPECT_NE(nullptr, traced(spy, 29));
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
}

ISOLATED_TEST(ConfigurationUpdate, WhileMigratingQueuesEverythingAndSwitchesNothing) {
    Update update;
    migrate_to_mox_prep = true;
    update.client.service.remove_node(3);
    update.add_node(7, true);
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(0, update.call.events);
    EXPECT_EQ("<EMPTY EVENT>", update.call.name);
    EXPECT_TRUE(update.call.group_is_untouched());
    EXPECT_THAT(queued(), ElementsAre(queued_adapters(DEATH, {144, 145}), queued_nodes(DEATH, {3}),
                                      queued_marker(), queued_nodes(JOIN, {7}), queued_adapters(JOIN, {336})));
    EXPECT_EQ(3, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(Hb_True, global_node_tbl[7]) << "the nodes that are there follow the working table";
    EXPECT_EQ(Hb_False, global_node_tbl[3]);
}

ISOLATED_TEST(ConfigurationUpdate, WhileMigratingWithoutADifferenceQueuesNothing) {
    Update update;
    migrate_to_mox_prep = true;
    EXPECT_EQ(Hb_Success, update.run());
    EXPECT_EQ(0, update.call.events);
    EXPECT_THAT(queued(), IsEmpty());
}

ISOLATED_TEST(ConfigurationUpdate, EachOfTwoMarkersMakesItsOwnTableLive) {
    Update update;
    update.client.service.remove_interface(3, "eth1");
    ASSERT_EQ(Hb_Success, update.run());
    update.client.service.remove_interface(3, "eth0");
    ASSERT_EQ(Hb_Success, update.run()); // before the first marker was read
    EXPECT_THAT(queued(), ElementsAre(queued_marker(), queued_marker()));
    EXPECT_EQ(of_configuration(), update.client.take());
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(of_configuration(), update.client.take());
    EXPECT_EQ(4, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ("<EMPTY EVENT>", update.client.take().name) << "the wake-up of the second update";
    EXPECT_EQ(3, global_config_tbl.Hb_num_nodes);
}

ISOLATED_TEST(ConfigurationUpdate, DumpsTheTablesUnderTheirLabels) {
    Update update;
    const Trace_Spy spy(0, 1, 0);
    ASSERT_EQ(Hb_Success, update.run());
    std::vector<std::string> labels;
    for (const Trace_Record &record : spy.records()) {
        if (record.id == 107) {
            labels.push_back(record.data.at(0).c_str());
        }
    }
    EXPECT_THAT(labels, ElementsAre("Update global table: old table", "Update global table: new table",
                                    "Update global table: current table after copy"));
    EXPECT_EQ(30U, spy.records().front().id);
    EXPECT_EQ(38U, spy.records().back().id);
}

ISOLATED_TEST(ConfigurationUpdate, TheBaseHandlerSucceedsAndDoesNothingElse) {
    Cluster_Client client;
    client.open();
    char monitor[] = "node_list";
    ORBFSConfigurationHandler base(monitor);
    Handler_Call call;
    EXPECT_EQ(Hb_Success, call.run(&base));
    EXPECT_EQ(Handler_Call::NO_EVENTS, call.events);
    EXPECT_EQ("untouched", call.name);
    EXPECT_TRUE(call.group_is_untouched());
}

} // namespace
} // namespace hb_test
