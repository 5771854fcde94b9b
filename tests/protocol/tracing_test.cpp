// SPDX-License-Identifier: Apache-2.0
// Registration with the trace library, and the pattern of every trace point.
#include <cstring>

#include <gtest/gtest.h>

#include "lib/base/MOX_HBC_trace.h"
#include "tests/protocol/client.h"
#include "tests/protocol/trace_double.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

void set_levels(unsigned char errors, unsigned char info, unsigned char debug) {
    hbc_trace_detail_levels[0] = errors;
    hbc_trace_detail_levels[1] = info;
    hbc_trace_detail_levels[2] = debug;
}

ISOLATED_TEST(Tracing, RegistersTheComponentWithItsThreeCategories) {
    EXPECT_EQ(0, hbc_trace_inited);
    hbc_initialize_trace_once();
    const Trace_Double &trace = trace_double();
    EXPECT_EQ(1, trace.registrations);
    EXPECT_EQ("_HBC", trace.component);
    EXPECT_EQ(hbc_trace_detail_levels, trace.levels);
    ASSERT_EQ(3U, trace.count);
    const struct {
        uint32_t id;
        const char *name;
        uint32_t default_level;
        uint32_t minimum_level;
    } rows[] = {{0, "Errors", 0, 0}, {1, "Info", 1, 0}, {2, "Debug", 2, 0}};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(rows[i].id, trace.categories[i].category_id);
        EXPECT_STREQ(rows[i].name, trace.categories[i].category_name);
        EXPECT_EQ(rows[i].default_level, trace.categories[i].default_level_of_detail);
        EXPECT_EQ(rows[i].minimum_level, trace.categories[i].minimum_level_of_detail);
    }
    EXPECT_EQ(1, hbc_trace_inited);
    ASSERT_NE(nullptr, pTokens);
    for (unsigned category = 0; category < 3; ++category) {
        EXPECT_EQ(token_of(category), pTokens[category]);
    }
    EXPECT_EQ(3U, num_categories);
}

ISOLATED_TEST(Tracing, RegistersOnceOnly) {
    hbc_initialize_trace_once();
    hbc_initialize_trace_once();
    EXPECT_EQ(1, trace_double().registrations);
}

ISOLATED_TEST(Tracing, OpeningRegistersAlsoWhenItFailsLater) {
    Fake_Daemon daemon;
    daemon.stop_listening();
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(1, trace_double().registrations);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(1, trace_double().registrations);
}

ISOLATED_TEST(Tracing, OpeningAgainAfterTerminatingDoesNotRegisterAgain) {
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(1, hbc_trace_inited) << "it stays registered";
    open_library();
    EXPECT_EQ(1, trace_double().registrations);
}

ISOLATED_TEST(Tracing, ARefusedRegistrationIsNotTriedAgainAndNothingIsTraced) {
    trace_double().refuse = true;
    Fake_Daemon daemon;
    open_library();
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(1, hbc_trace_inited);
    EXPECT_EQ(1, trace_double().registrations);
    EXPECT_TRUE(trace_double().records.empty());
}

// A failed registration returns no tokens. Another component of the process may still set the bytes.
ISOLATED_TEST(Tracing, WithoutTokensNothingIsTracedWhateverTheBytesSay) {
    trace_double().refuse = true;
    Fake_Daemon_Plan plan;
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[3].address = cluster.adapters[1].address;
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    hbc_initialize_trace_once();
    EXPECT_EQ(nullptr, pTokens);
    set_levels(1, 1, 1);
    open_library();
    daemon.run(send_record(reply(2, adapter_body({{4, 1}}))));
    Event_Call call;
    EXPECT_EQ(Hb_Success, call.take());
    Hb_Adapter_Identifier adapter;
    EXPECT_EQ(Hb_Success, hb_get_first_adapter(call.group.get(), &adapter));
    char type[36];
    EXPECT_EQ(Hb_Success, hb_get_adapter_type_by_number(4, type));
    Hb_IP_address6 address;
    EXPECT_EQ(Hb_Success, hb_get_adapter_address_by_number(4, &address));
    hb_trace_strings(HB_TRACE_ERRORS, HB_TR_DUMP_LABEL, "text");
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    EXPECT_TRUE(trace_double().records.empty());
}

ISOLATED_TEST(Tracing, WithAllThreeBytesZeroNoCallIsMade) {
    Fake_Daemon daemon;
    set_levels(0, 0, 0);
    open_library();
    daemon.run(
        {send_record(reply(9, snapshot(small_cluster()))), send_record(reply(2, adapter_body({{4, 1}})))});
    Event_Call update;
    EXPECT_EQ(Hb_Success, update.take());
    Event_Call death;
    EXPECT_EQ(Hb_Success, death.take());
    Hb_Adapter_Identifier adapter;
    EXPECT_EQ(Hb_Success, hb_get_first_adapter(death.group.get(), &adapter));
    char type[36];
    EXPECT_EQ(Hb_Success, hb_get_adapter_type_by_number(4, type));
    EXPECT_EQ(Hb_Success, hb_terminate());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    EXPECT_TRUE(trace_double().records.empty());
}

ISOLATED_TEST(Tracing, TheLevelsOfOtherCategoriesDoNotSwitchAPointOn) {
    Fake_Daemon daemon;
    open_library();
    set_levels(1, 0, 1);
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    EXPECT_TRUE(trace_double().records.empty());
}

ISOLATED_TEST(Tracing, RemovingTheSocketAndTheWaitSetAreRecords110And111) {
    hbc_initialize_trace_once();
    for (const unsigned char level : Bytes{1, 2, 255}) {
        trace_double().records.clear();
        set_levels(0, level, 0);
        EXPECT_EQ(Hb_Success, hb_remove_socket());
        EXPECT_EQ(Hb_Success, hb_remove_client_select());
        const auto &records = trace_double().records;
        ASSERT_EQ(2U, records.size()) << "also when there is nothing to remove";
        EXPECT_EQ(110U, records[0].id);
        EXPECT_EQ(111U, records[1].id);
        for (const Trace_Record &record : records) {
            EXPECT_EQ("_HBC", record.component);
            EXPECT_EQ(Trace_Record::Form::id, record.form);
            EXPECT_EQ(token_of(1), record.token);
        }
    }
}

ISOLATED_TEST(Tracing, AConnectionThatIsReplacedHasNeitherRecord110Nor111) {
    Fake_Daemon_Plan plan;
    plan.connections = {{}, {}};
    Fake_Daemon daemon(plan);
    hbc_initialize_trace_once();
    set_levels(0, 1, 0);
    ASSERT_EQ(Hb_Success, hb_init_communication());
    ASSERT_EQ(Hb_Success, hb_init_communication());
    EXPECT_TRUE(trace_double().with_id(110).empty());
    EXPECT_TRUE(trace_double().with_id(111).empty());
    EXPECT_EQ(Hb_Success, hb_remove_socket());
    EXPECT_EQ(Hb_Success, hb_remove_client_select());
    EXPECT_EQ(1U, trace_double().with_id(110).size());
    EXPECT_EQ(1U, trace_double().with_id(111).size());
}

ISOLATED_TEST(Tracing, EachLoadedAdapterIsRecord118WithItsNode) {
    Fake_Daemon daemon;
    hbc_initialize_trace_once();
    set_levels(0, 1, 0);
    open_library();
    const auto records = trace_double().with_id(118);
    const uint32_t expected[][2] = {{2, 1}, {3, 1}, {4, 2}, {5, 2}, {8, 4}};
    ASSERT_EQ(5U, records.size());
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(Trace_Record::Form::values, records[i].form);
        EXPECT_EQ(token_of(1), records[i].token);
        ASSERT_EQ(2U, records[i].values.size());
        EXPECT_EQ(expected[i][0], records[i].values[0]);
        EXPECT_EQ(expected[i][1], records[i].values[1]);
    }
    EXPECT_TRUE(trace_double().with_id(119).empty());
}

ISOLATED_TEST(Tracing, ASecondAdapterOfAnAddressIsRecord119) {
    Fake_Daemon_Plan plan;
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[3].address = cluster.adapters[1].address; // 5 has the address of 3
    plan.connections = {serve_configuration(snapshot(cluster))};
    Fake_Daemon daemon(plan);
    hbc_initialize_trace_once();
    set_levels(0, 1, 0);
    open_library();
    const auto records = trace_double().with_id(119);
    ASSERT_EQ(1U, records.size());
    EXPECT_EQ(Trace_Record::Form::data, records[0].form);
    EXPECT_EQ(token_of(1), records[0].token);
    ASSERT_EQ(4U, records[0].data.size());
    EXPECT_EQ(Bytes().raw("10.2.0.1").u8(0), records[0].data[0]);
    EXPECT_EQ(Bytes().raw("eth1").u8(0), records[0].data[1]);
    EXPECT_EQ(Bytes().i32(5), records[0].data[2]);
    EXPECT_EQ(Bytes().i32(2), records[0].data[3]);
}

ISOLATED_TEST(Tracing, TheWholeOfAGroupWalkIsDebug) {
    Fake_Daemon daemon;
    open_library();
    daemon.run(send_record(reply(2, adapter_body({{4, 1}}))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    set_levels(0, 0, 1);
    Hb_Adapter_Identifier adapter;
    EXPECT_EQ(Hb_Success, hb_get_first_adapter(call.group.get(), &adapter));
    std::vector<uint32_t> ids;
    for (const Trace_Record &record : trace_double().records) {
        ids.push_back(record.id);
        EXPECT_EQ(token_of(2), record.token);
    }
    EXPECT_EQ((std::vector<uint32_t>{135, 137, 138}), ids);
}

} // namespace
} // namespace hb_test
