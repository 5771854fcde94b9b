// SPDX-License-Identifier: Apache-2.0
// Building a table from the cluster service.
#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/hb_global_data/table_swap.h"
#include "lib/mox/table_update.h"
#include "tests/support/bytes.h"
#include "tests/support/isolated.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/handler_call.h"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAre;

// A table that the destructor empties.
struct Table {
    Hb_Configuration_Internal t = {};
    Table() = default;
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;
    ~Table() { empty_global_config_table(&t); }

    const Hb_Node_Entry &node(int number) const { return *hb_find_node(t, number); }
    const Hb_Adapter_Entry &adapter(int i) const { return t.Hb_global_adapter_list[i]; }
    std::vector<unsigned> adapter_numbers() const {
        std::vector<unsigned> numbers;
        for (int i = 0; i < t.Hb_num_adapters; ++i) {
            numbers.push_back(adapter(i).Hb_adapter_num);
        }
        return numbers;
    }
    std::vector<int> node_numbers() const {
        std::vector<int> numbers;
        for (int i = 0; i < t.Hb_num_nodes; ++i) {
            numbers.push_back(t.node_list[i].node_num);
        }
        return numbers;
    }
};

struct Cluster {
    Cluster() { fill_small_cluster(service); }

    Hb_Rc update(Table &table, qz_orb_event_metadata_t *event = nullptr, Table *source = nullptr) {
        set_hb_errno(777);
        return hb_mox_update_global_tbl(&table.t, event, source != nullptr ? &source->t : nullptr);
    }
    void set_status(uint32_t number, qz_mox_node_status_t status) {
        mox_sim::Node node;
        node.number = number;
        node.status = status;
        service.set(node);
    }
    void add_interface(uint32_t node, const std::optional<std::string> &name,
                       qz_mox_intf_status_t status = QZ_MOX_INTF_STATUS_UP,
                       const std::string &address = "10.9.0.9") {
        mox_sim::Interface interface;
        interface.node = node;
        interface.name = name;
        interface.status = status;
        interface.address = mox_sim::address_of(address);
        service.set(interface);
    }

    mox_sim::Simulated_Service service;
};

struct Liveness {
    explicit Liveness(uint32_t node) {
        record.node_number = node;
        event.category = QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS;
        event.event.p_node_liveness = &record;
    }
    qz_orb_event_node_liveness_t record = {};
    qz_orb_event_metadata_t event = {};
};

ISOLATED_TEST(TableUpdate, HasTheFixedGeometryAndTheServicesNodesAndInterfaces) {
    Cluster cluster;
    Table table;
    EXPECT_EQ(Hb_Success, cluster.update(table));
    EXPECT_EQ(777, hb_get_errno());
    EXPECT_EQ(1, table.t.local_node_number);
    EXPECT_EQ(2049, table.t.Hb_max_nodes);
    EXPECT_EQ(48, table.t.Hb_num_networks);
    EXPECT_EQ(48, table.t.Hb_adapters_per_node);
    EXPECT_THAT(table.node_numbers(), ElementsAre(1, 2, 3));
    EXPECT_THAT(table.adapter_numbers(), ElementsAre(48, 49, 96, 97, 144, 145));
    EXPECT_STREQ("MOX_node list", table.t.node_hash->name);
    EXPECT_STREQ("Hb_Adapter list", table.t.adap_hash->name);
    EXPECT_STREQ("Hb_IP list", table.t.ip_hash->name);
    EXPECT_EQ(3, global_num_nodes);
    EXPECT_EQ(Hb_False, global_node_tbl[0]);
    EXPECT_EQ(Hb_True, global_node_tbl[1]);
    EXPECT_EQ(Hb_True, global_node_tbl[3]);
    EXPECT_EQ(0, cluster.service.lists_out());
}

ISOLATED_TEST(TableUpdate, AnAdapterCarriesInterfaceNameAddressStateAndNetwork0) {
    Cluster cluster;
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    const Hb_Adapter_Entry &adapter = table.adapter(3); // eth1 of node 2
    EXPECT_EQ(97U, adapter.Hb_adapter_num);
    EXPECT_EQ(0, adapter.Hb_network);
    EXPECT_EQ(1, adapter.Hb_state);
    EXPECT_TRUE(same_bytes(Bytes().text("eth1", 36), bytes_of(adapter.Hb_adapter_type)));
    EXPECT_TRUE(same_bytes(Bytes().zeros(10).add({0xFF, 0xFF, 10, 2, 0, 2}), bytes_of(adapter.Hb_ip_address)));
    EXPECT_EQ(&adapter, Hash_search(97, table.t.adap_hash));
    EXPECT_EQ(&adapter, Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&adapter.Hb_ip_address),
                                         table.t.ip_hash));
}

ISOLATED_TEST(TableUpdate, OfTwoAdaptersWithOneAddressBothAreThereAndTheAddressFindsTheLater) {
    Cluster cluster;
    cluster.add_interface(3, "eth7", QZ_MOX_INTF_STATUS_UP, "10.2.0.2"); // the address of eth1 of node 2
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_THAT(table.adapter_numbers(), ElementsAre(48, 49, 96, 97, 144, 145, 146));
    const Hb_Adapter_Entry &earlier = table.adapter(3);
    const Hb_Adapter_Entry &later = table.adapter(6);
    EXPECT_TRUE(same_bytes(bytes_of(earlier.Hb_ip_address), bytes_of(later.Hb_ip_address)));
    EXPECT_EQ(&earlier, Hash_search(97, table.t.adap_hash));
    EXPECT_EQ(&later, Hash_search(146, table.t.adap_hash));
    EXPECT_EQ(6, Hash_entries(table.t.ip_hash));
    EXPECT_EQ(&later, Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&earlier.Hb_ip_address),
                                       table.t.ip_hash));
}

ISOLATED_TEST(TableUpdate, TheFirstNetworkHasANameAndTheOthersAreEmpty) {
    Cluster cluster;
    Table table;
    std::memset(table.t.Hb_global_network_list, 0x5A, sizeof table.t.Hb_global_network_list);
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_TRUE(same_bytes(Bytes().text("MOX_Network", 70).text("ether", 16),
                           bytes_of(table.t.Hb_global_network_list[0])));
    for (int network = 1; network < 48; ++network) {
        EXPECT_EQ('\0', table.t.Hb_global_network_list[network].Hb_network_name[0]);
        EXPECT_EQ('\0', table.t.Hb_global_network_list[network].Hb_network_type[0]);
    }
}

ISOLATED_TEST(TableUpdate, TheThirdInterfaceOfNode2IsAdapter98) {
    Cluster cluster;
    cluster.add_interface(2, "eth2");
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_THAT(table.adapter_numbers(), ElementsAre(48, 49, 96, 97, 144, 145, 98));
}

ISOLATED_TEST(TableUpdate, ANameOf40CharactersIsStoredAsItsFirst35) {
    Cluster cluster;
    cluster.add_interface(2, "abcdefghijklmnopqrstuvwxyz0123456789ABCD");
    cluster.add_interface(3, std::nullopt);
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_TRUE(same_bytes(Bytes().text("abcdefghijklmnopqrstuvwxyz012345678", 36),
                           bytes_of(table.adapter(6).Hb_adapter_type)));
    EXPECT_TRUE(same_bytes(Bytes().zeros(36), bytes_of(table.adapter(7).Hb_adapter_type))) << "a null text";
}

ISOLATED_TEST(TableUpdate, StatesAndReasonsFollowTheService) {
    Cluster cluster;
    cluster.set_status(2, QZ_MOX_NODE_STATUS_DOWN);
    cluster.service.interface_down(3, "eth0");
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_EQ(Hb_Entity_Up, table.node(3).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Up, table.node(3).reason);
    EXPECT_EQ(Hb_Entity_Down, table.node(2).state);
    EXPECT_EQ(Hb_Entity_State_Reason_Down, table.node(2).reason);
    EXPECT_EQ(Hb_Entity_Down, table.adapter(4).Hb_state);
    EXPECT_EQ(Hb_Entity_Up, table.adapter(5).Hb_state);
}

ISOLATED_TEST(TableUpdate, ANodeNeitherUpNorDownIsUndefinedWithError70) {
    for (const qz_mox_node_status_t status :
         std::initializer_list<qz_mox_node_status_t>{QZ_MOX_NODE_STATUS_UNDEF, 5}) {
        Cluster cluster;
        Table before;
        ASSERT_EQ(Hb_Success, cluster.update(before));
        cluster.set_status(2, status);
        Table table;
        EXPECT_EQ(Hb_Success, cluster.update(table, nullptr, &before));
        EXPECT_EQ(70, hb_get_errno());
        EXPECT_EQ(Hb_Entity_Undef, table.node(2).state);
        EXPECT_EQ(Hb_Entity_State_Reason_Up, table.node(2).reason) << "unchanged";
    }
}

ISOLATED_TEST(TableUpdate, AnInterfaceNeitherUpNorDownIsUndefinedWithError71) {
    for (const qz_mox_intf_status_t status :
         std::initializer_list<qz_mox_intf_status_t>{QZ_MOX_INTF_STATUS_UNDEF, 5}) {
        Cluster cluster;
        cluster.add_interface(2, "eth2", status);
        Table table;
        EXPECT_EQ(Hb_Success, cluster.update(table));
        EXPECT_EQ(71, hb_get_errno());
        EXPECT_EQ(Hb_Entity_Undef, table.adapter(6).Hb_state);
    }
}

ISOLATED_TEST(TableUpdate, TheMembershipDaemonsVerdictOutlivesTheServicesUp) {
    for (const auto &[status, reason] :
         {std::pair<qz_mox_node_status_t, int>{QZ_MOX_NODE_STATUS_UP, Hb_Entity_State_Reason_KOBAL_Down},
          {QZ_MOX_NODE_STATUS_UNDEF, Hb_Entity_State_Reason_KOBAL_Down},
          {QZ_MOX_NODE_STATUS_DOWN, Hb_Entity_State_Reason_Down}}) {
        Cluster cluster;
        Table before;
        ASSERT_EQ(Hb_Success, cluster.update(before));
        hb_find_node(before.t, 2)->state = Hb_Entity_Down;
        hb_find_node(before.t, 2)->reason = Hb_Entity_State_Reason_KOBAL_Down;
        cluster.set_status(2, status);
        Table table;
        EXPECT_EQ(Hb_Success, cluster.update(table, nullptr, &before));
        EXPECT_EQ(777, hb_get_errno());
        EXPECT_EQ(Hb_Entity_Down, table.node(2).state);
        EXPECT_EQ(reason, table.node(2).reason);
    }
}

ISOLATED_TEST(TableUpdate, TheLocalNodeIsUpWhateverTheServiceSays) {
    for (const qz_mox_node_status_t status : {QZ_MOX_NODE_STATUS_DOWN, QZ_MOX_NODE_STATUS_UNDEF}) {
        Cluster cluster;
        cluster.set_status(1, status);
        Table table;
        ASSERT_EQ(Hb_Success, cluster.update(table));
        EXPECT_EQ(Hb_Entity_Up, table.node(1).state);
        EXPECT_EQ(Hb_Entity_State_Reason_Up, table.node(1).reason);
    }
}

ISOLATED_TEST(TableUpdate, ALocalNodeOutOfRangeIsNobody) {
    for (const uint32_t number : {2049U, 65535U, 65539U, 0xFFFFFFFFU}) {
        Cluster cluster;
        cluster.service.set_cluster("small", number);
        cluster.set_status(3, QZ_MOX_NODE_STATUS_DOWN);
        Table table;
        ASSERT_EQ(Hb_Success, cluster.update(table));
        EXPECT_EQ(-1, table.t.local_node_number) << number;
        EXPECT_EQ(Hb_Entity_Down, table.node(3).state);
    }
}

// ---- One node alone ----

ISOLATED_TEST(TableUpdate, ALivenessEventRebuildsItsNodeAloneAndCopiesTheOthers) {
    Cluster cluster;
    Table before;
    ASSERT_EQ(Hb_Success, cluster.update(before));
    // The service has changes everywhere; only those of node 2 are applied.
    cluster.service.remove_node(3);
    cluster.set_status(1, QZ_MOX_NODE_STATUS_DOWN);
    cluster.service.remove_interface(1, "eth0");
    cluster.set_status(2, QZ_MOX_NODE_STATUS_DOWN);
    cluster.service.remove_interface(2, "eth0");
    cluster.add_interface(2, "eth2");
    Liveness liveness(2);
    Table table;
    EXPECT_EQ(Hb_Success, cluster.update(table, &liveness.event, &before));
    EXPECT_THAT(table.node_numbers(), ElementsAre(1, 3, 2));
    EXPECT_EQ(Hb_Entity_Up, table.node(1).state);
    EXPECT_EQ(Hb_Entity_Down, table.node(2).state);
    EXPECT_EQ(Hb_Entity_Up, table.node(3).state);
    EXPECT_THAT(table.adapter_numbers(), ElementsAre(48, 49, 144, 145, 96, 97));
    EXPECT_STREQ("eth1", table.adapter(4).Hb_adapter_type);
    EXPECT_STREQ("eth2", table.adapter(5).Hb_adapter_type);
    EXPECT_EQ(3, global_num_nodes);
    EXPECT_EQ(Hb_True, global_node_tbl[3]);
}

ISOLATED_TEST(TableUpdate, ALivenessEventWithoutATableBeforeRebuildsEverything) {
    Cluster cluster;
    Liveness liveness(2);
    Table table;
    EXPECT_EQ(Hb_Success, cluster.update(table, &liveness.event));
    EXPECT_THAT(table.node_numbers(), ElementsAre(1, 2, 3));
}

ISOLATED_TEST(TableUpdate, AsksForTheStateAfterTheEventWhereTheCategoryHasIt) {
    struct Case {
        qz_orb_event_category_t category;
        bool nodes;
        bool interfaces;
    };
    const Case cases[] = {{QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, true, false},
                          {QZ_ORB_EVENT_CATEGORY_ADAPTER_LIVENESS, false, true},
                          {QZ_ORB_EVENT_CATEGORY_PROCESS_LIVENESS, false, false},
                          {QZ_ORB_EVENT_CATEGORY_IP_CHANGE, false, true},
                          {QZ_ORB_EVENT_CATEGORY_NODE_LIST, true, false},
                          {QZ_ORB_EVENT_CATEGORY_SITE_CFG, false, false}};
    for (const Case &c : cases) {
        Cluster cluster;
        Liveness event(2);
        event.event.category = c.category;
        Table table;
        ASSERT_EQ(Hb_Success, cluster.update(table, &event.event));
        EXPECT_EQ(c.nodes ? 1 : 0, cluster.service.calls(Operation::get_node_info_after_event)) << c.category;
        EXPECT_EQ(c.nodes ? 0 : 1, cluster.service.calls(Operation::get_node_info)) << c.category;
        EXPECT_EQ(c.interfaces ? 1 : 0, cluster.service.calls(Operation::get_net_intf_info_after_event));
        EXPECT_EQ(c.interfaces ? 0 : 1, cluster.service.calls(Operation::get_net_intf_info));
    }
}

// ---- Bounds ----

ISOLATED_TEST(TableUpdate, NodeNumbersOutOfRangeAreSkippedWithTheirInterfaces) {
    Cluster cluster;
    for (const uint32_t number : {2048U, 2049U, 65535U, 65537U, 0xFFFFFFFFU}) {
        cluster.set_status(number, QZ_MOX_NODE_STATUS_UP);
        cluster.add_interface(number, "eth0");
    }
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_THAT(table.node_numbers(), ElementsAre(1, 2, 3, 2048));
    EXPECT_THAT(table.adapter_numbers(), ElementsAre(48, 49, 96, 97, 144, 145, 98304));
}

ISOLATED_TEST(TableUpdate, ANodeHasAtMost48Interfaces) {
    Cluster cluster;
    for (int i = 2; i < 60; ++i) {
        cluster.add_interface(2, "eth" + std::to_string(i), QZ_MOX_INTF_STATUS_UP,
                              "10.9.0." + std::to_string(i));
    }
    Table table;
    ASSERT_EQ(Hb_Success, cluster.update(table));
    EXPECT_EQ(4 + 48, table.t.Hb_num_adapters);
    for (const unsigned number : table.adapter_numbers()) {
        EXPECT_LT(number, 146U);
    }
}

ISOLATED_TEST(TableUpdate, AnEmptyClusterIsATableWithoutNodes) {
    mox_sim::Simulated_Service service;
    Table table;
    EXPECT_EQ(Hb_Success, hb_mox_update_global_tbl(&table.t, nullptr, nullptr));
    EXPECT_EQ(0, table.t.Hb_num_nodes);
    EXPECT_EQ(0, table.t.Hb_num_adapters);
    EXPECT_NE(nullptr, table.t.node_list);
    EXPECT_NE(nullptr, table.t.ip_hash);
}

// ---- Failures ----

ISOLATED_TEST(TableUpdate, AQueryThatFailsHasItsNumberAndWritesNothing) {
    struct Case {
        Operation operation;
        bool with_event;
        qz_orb_event_category_t category;
        int number;
        const char *text;
        const char *cluster;
    };
    const Case cases[] = {{Operation::get_cluster_info, false, 0, 63, "qz_mox_get_cluster_info()", "(Default)"},
                          {Operation::get_node_info, false, 0, 64, "qz_mox_get_node_info()", "small"},
                          {Operation::get_node_info_after_event, true, QZ_ORB_EVENT_CATEGORY_NODE_LIVENESS, 64,
                           "qz_mox_get_node_info_after_event()", "small"},
                          {Operation::get_net_intf_info, false, 0, 65, "qz_mox_get_net_intf_info()", "small"},
                          {Operation::get_net_intf_info_after_event, true, QZ_ORB_EVENT_CATEGORY_IP_CHANGE, 65,
                           "qz_mox_get_net_intf_info_after_event()", "small"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        Cluster cluster;
        cluster.service.fail(c.operation, -3, ENOLINK);
        Liveness event(2);
        event.event.category = c.category;
        global_num_nodes = 9;
        Table table;
        table.t.Hb_num_sites = 7;
        const Bytes before = bytes_of(table.t);
        const Trace_Spy spy(1, 0, 0);
        errno = 0;
        EXPECT_EQ(Hb_Failure, cluster.update(table, c.with_event ? &event.event : nullptr));
        EXPECT_EQ(ENOLINK, errno);
        EXPECT_EQ(c.number, hb_get_errno());
        EXPECT_TRUE(same_bytes(before, bytes_of(table.t)));
        EXPECT_EQ(9, global_num_nodes);
        EXPECT_EQ(0, cluster.service.lists_out());
        ASSERT_EQ(1U, spy.records().size());
        const std::vector<std::string> &data = spy.records()[0].data;
        ASSERT_EQ(4U, data.size());
        EXPECT_STREQ(c.text, data[0].c_str());
        EXPECT_STREQ(c.cluster, data[1].c_str());
        EXPECT_EQ(std::string("\xFD\xFF\xFF\xFF"), data[2]);
        EXPECT_EQ(std::string("\x43\0\0\0", 4), data[3]); // ENOLINK is 67
    }
}

ISOLATED_TEST(TableUpdate, WithoutAServiceIsError63) {
    Table table;
    EXPECT_EQ(Hb_Failure, hb_mox_update_global_tbl(&table.t, nullptr, nullptr));
    EXPECT_EQ(63, hb_get_errno());
    EXPECT_TRUE(same_bytes(bytes_of(Hb_Configuration_Internal()), bytes_of(table.t)));
}

ISOLATED_TEST(TableUpdate, EveryListGoesBackAlsoWhenALaterQueryFails) {
    Cluster cluster;
    for (int i = 0; i < 100; ++i) {
        Table table;
        cluster.service.fail(Operation::get_net_intf_info, -1, EIO, 0, 1);
        EXPECT_EQ(Hb_Failure, cluster.update(table));
        EXPECT_EQ(Hb_Success, cluster.update(table));
    }
    EXPECT_EQ(0, cluster.service.lists_out());
}

} // namespace
} // namespace hb_test
