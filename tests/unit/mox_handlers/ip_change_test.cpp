// SPDX-License-Identifier: Apache-2.0
// Addresses that are added and removed.
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"
#include "tests/unit/mox_handlers/plain_service.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;
using testing::IsEmpty;

struct Addresses {
    Addresses() { client.open(); }

    Hb_Rc push(qz_orb_event_type_t type, uint32_t node, const std::string &interface,
               const std::string &address) {
        mox_sim::Event_Record record = adapter_record(type, node, interface);
        record.category = QZ_ORB_EVENT_CATEGORY_IP_CHANGE;
        record.address = mox_sim::address_of(address);
        client.service.push("ip_change", record);
        return call.run(ip_change_handler_p);
    }

    Cluster_Client client;
    Handler_Call call;
};

ISOLATED_TEST(AddressHandler, TracesTheRecordWithTheAddressAsText) {
    Addresses addresses;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_DELETE, 2, "eth9", "fe80::1"));
    ASSERT_NE(nullptr, traced(spy, 233));
    const std::vector<std::string> &data = traced(spy, 233)->data;
    ASSERT_EQ(4U, data.size());
    EXPECT_EQ(std::string("eth9\0", 5), data[0]);
    EXPECT_EQ(std::string("fe80::1\0", 8), data[1]);
    EXPECT_EQ(std::string("\2\0\0\0", 4), data[2]);
    EXPECT_EQ(std::string("\5\0\0\0", 4), data[3]);
}

ISOLATED_TEST(AddressHandler, AnAddressThatTheInterfaceHasAlreadyIsTracedAndTheUpdateStillRuns) {
    Addresses addresses;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_ADD, 2, "eth1", "10.2.0.2"));
    EXPECT_NE(nullptr, traced(spy, 235));
    EXPECT_EQ(1, addresses.call.group->Hb_group_type) << "the adapter event that was filled first";
    EXPECT_EQ(0, addresses.call.group->Hb_events);
    EXPECT_EQ(CONFIG, addresses.call.events);
    EXPECT_EQ("Hb_Config_Group", addresses.call.name);
    EXPECT_EQ(0U, addresses.call.sequence);
    EXPECT_EQ(1, addresses.client.service.calls(Operation::get_net_intf_info_after_event));
    EXPECT_EQ(0, addresses.client.service.calls(Operation::get_node_info_after_event));
}

ISOLATED_TEST(AddressHandler, TheAddressOfAnotherInterfaceOrNodeIsNotTheSame) {
    for (const auto &[node, interface] :
         {std::pair<uint32_t, const char *>{2, "eth0"}, {3, "eth1"}, {0xFFFFFFFF, "eth1"}}) {
        Addresses addresses;
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_ADD, node, interface, "10.2.0.2"));
        EXPECT_EQ(nullptr, traced(spy, 235));
        EXPECT_EQ(CONFIG, addresses.call.events);
        EXPECT_TRUE(addresses.call.header_is_untouched());
    }
}

ISOLATED_TEST(AddressHandler, AnAddressThatIsRemovedIsNoKnownAddress) {
    Addresses addresses;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_DELETE, 2, "eth1", "10.2.0.2"));
    EXPECT_EQ(nullptr, traced(spy, 235));
    EXPECT_EQ(CONFIG, addresses.call.events);
}

ISOLATED_TEST(AddressHandler, WithoutAnIndexOfAddressesNoneIsKnown) {
    Addresses addresses;
    Hash_free(global_config_tbl.ip_hash);
    global_config_tbl.ip_hash = nullptr;
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_ADD, 2, "eth1", "10.2.0.2"));
    EXPECT_EQ(nullptr, traced(spy, 235));
    EXPECT_EQ(CONFIG, addresses.call.events);
}

ISOLATED_TEST(AddressHandler, AnEventWithoutAnInterfaceNameIsTracedWithAnEmptyOneAndIsOfNoInterface) {
    Addresses addresses;
    mox_sim::Event_Record record = adapter_record(QZ_ORB_ADDRESS_ADD, 2, "");
    record.category = QZ_ORB_EVENT_CATEGORY_IP_CHANGE;
    record.has_name = false;
    record.address = mox_sim::address_of("10.2.0.2");
    addresses.client.service.push("ip_change", record);
    const Trace_Spy spy(0, 1, 0);
    EXPECT_EQ(Hb_Success, addresses.call.run(ip_change_handler_p));
    ASSERT_NE(nullptr, traced(spy, 233));
    ASSERT_EQ(4U, traced(spy, 233)->data.size());
    EXPECT_EQ(std::string(1, '\0'), traced(spy, 233)->data[0]);
    EXPECT_EQ(std::string("10.2.0.2\0", 9), traced(spy, 233)->data[1]);
    EXPECT_EQ(nullptr, traced(spy, 235));
    EXPECT_EQ(CONFIG, addresses.call.events);
}

ISOLATED_TEST(AddressHandler, AnInterfaceNameIsComparedWhole) {
    const std::string longest(35, 'e');
    for (const auto &[name, known] : {std::pair{longest, true}, {longest + "e", false}}) {
        Addresses addresses;
        const auto *adapter = hb_get_adap_entry(97);
        std::strcpy(const_cast<Hb_Adapter_Entry *>(adapter)->Hb_adapter_type, longest.c_str());
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Success, addresses.push(QZ_ORB_ADDRESS_ADD, 2, name, "10.2.0.2"));
        EXPECT_EQ(known, traced(spy, 235) != nullptr) << name;
    }
}

ISOLATED_TEST(AddressHandler, AnUpdateThatCannotSignalFailsAsTheUpdateDoes) {
    Addresses addresses;
    const Mute_Event_Pipe mute;
    addresses.client.service.remove_interface(2, "eth1");
    EXPECT_EQ(Hb_Failure, addresses.push(QZ_ORB_ADDRESS_DELETE, 2, "eth1", "10.2.0.2"));
    EXPECT_EQ(59, addresses.call.error);
    EXPECT_EQ(EBADF, addresses.call.system_error);
    EXPECT_EQ(DEATH, addresses.call.events) << "what was told stands";
    EXPECT_THAT(queued(), ElementsAre(queued_marker()));
}

ISOLATED_TEST(AddressHandler, TheUpdateIsOfAnAddressChangeWhateverCategoryTheEventHas) {
    for (const int category : {0, 4, 77}) {
        Plain_Service service("plain");
        ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
        qz_orb_event_ip_change_t record = {};
        record.event_type = QZ_ORB_ADDRESS_DELETE;
        record.node_number = 2;
        qz_orb_event_metadata_t event = {};
        event.category = category;
        event.event.p_ip_change = &record;
        service.give(event);
        Handler_Call call;
        EXPECT_EQ(Hb_Success, call.run(ip_change_handler_p));
        EXPECT_THAT(service.interfaces_asked_after(), ElementsAre(5));
        MOX_delete_global_event_handlers();
    }
}

ISOLATED_TEST(AddressHandler, AnyOtherTypeIsTracedAndFails) {
    for (const qz_orb_event_type_t type :
         std::initializer_list<qz_orb_event_type_t>{QZ_ORB_ADDRESS_CHG, QZ_ORB_EVENT_UP, 99}) {
        Addresses addresses;
        const int asked = addresses.client.service.calls(Operation::get_cluster_info);
        const Trace_Spy spy(0, 1, 0);
        EXPECT_EQ(Hb_Failure, addresses.push(type, 2, "eth1", "10.2.0.2"));
        ASSERT_NE(nullptr, traced(spy, 234));
        EXPECT_THAT(traced(spy, 234)->values, ElementsAre(static_cast<uint32_t>(type)));
        EXPECT_EQ(Handler_Call::NO_ERROR_NUMBER, addresses.call.error);
        EXPECT_EQ(asked, addresses.client.service.calls(Operation::get_cluster_info));
        EXPECT_THAT(queued(), IsEmpty());
        EXPECT_EQ(0, addresses.client.service.events_out());
    }
}

} // namespace
} // namespace hb_test
