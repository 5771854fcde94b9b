// SPDX-License-Identifier: Apache-2.0
// From the configuration message to the table and the queries over it.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/protocol/client.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/faults.h"
#include "tests/support/hb_communication.h"
#include "tests/support/hb_global_data.h"
#include "tests/support/isolated.h"

namespace hb_test {
namespace {

Fake_Daemon_Plan serving(const Cluster_Facts &cluster) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(cluster))};
    return plan;
}

Hb_IP_address6 address(const Bytes &bytes) {
    Hb_IP_address6 value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

const Hb_Adapter_Entry *by_address(const Bytes &bytes) {
    const Hb_IP_address6 key = address(bytes);
    return static_cast<const Hb_Adapter_Entry *>(
        Hash_search_IPv6(reinterpret_cast<const H_IPv6_key_t *>(&key), global_config_tbl.ip_hash));
}

const Hb_Node_Entry *by_node(unsigned long node) {
    return static_cast<const Hb_Node_Entry *>(Hash_search(node, global_config_tbl.node_hash));
}

ISOLATED_TEST(Snapshot, WrittenOutInBytesFillsTheTable) {
    Fake_Daemon_Plan plan;
    plan.connections = {{
        read_record(),
        send_raw({
            22,   1,    0,   0,                                              // length 108 + 20 + 64 + 86 = 278
            0,    0,    0,   0,                                              // the configuration
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, // leader and group
            0,    0,    0,   0,                                              // status
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, // subscription
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, //
            0,    0,    0,   0,                                              // value
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, // failure identifier and padding
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, //
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,                   //
            0,    0,    0,   0,                                              // sequence number
            5,    0,                                                         // local node
            0xEE, 0xEE,                                                      // unused
            6,    0,    0,   0,                                              // nodes 0 to 5
            3,    0,    0,   0,                                              // three adapter slots a node
            1,    0,    0,   0,                                              // one adapter
            1,    0,    0,   0,                                              // one network
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 172, 16, 0, 9, // 172.16.0.9
            2,    0,                                                         // network 2
            'e',  'n',  '5', 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, 0, 0, // type, 36 bytes
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, 0, 0, //
            0,    0,                                                               // padding
            17,   0,    0,   0,                                                    // adapter number 5 x 3 + 2
            2,    0,    0,   0,                                                    // down
            'n',  'e',  't', 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, 0, 0, 0, 0,
            0,    0,    0,   0, 0, // name, 70 bytes
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, 0, 0, 0, 0,
            0,    0,    0,   0, 0,                                                       //
            0,    0,    0,   0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0, 0, 0, 0, 0, //
            'a',  't',  'm', 0, 0, 0, 0, 0, 0, 0, 0,    0,    0,   0,  0, 0,             // type, 16 bytes
        }),
    }};
    Fake_Daemon daemon(plan);
    open_library();
    EXPECT_EQ(5, global_config_tbl.local_node_number);
    EXPECT_EQ(6, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(3, global_config_tbl.Hb_adapters_per_node);
    EXPECT_EQ(1, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(1, global_config_tbl.Hb_num_networks);
    EXPECT_EQ(1, global_config_tbl.Hb_num_nodes);
    const Hb_Adapter_Entry *entry = hb_get_adap_entry(17);
    EXPECT_EQ(ipv4(172, 16, 0, 9), bytes_of(entry->Hb_ip_address));
    EXPECT_EQ(2, entry->Hb_network);
    EXPECT_STREQ("en5", entry->Hb_adapter_type);
    EXPECT_EQ(17U, entry->Hb_adapter_num);
    EXPECT_EQ(2, entry->Hb_state);
    EXPECT_STREQ("net", global_config_tbl.Hb_global_network_list[0].Hb_network_name);
    EXPECT_STREQ("atm", global_config_tbl.Hb_global_network_list[0].Hb_network_type);
    EXPECT_EQ(1, global_num_nodes);
    EXPECT_EQ(1, global_node_tbl[5]);
}

ISOLATED_TEST(Snapshot, AdaptersAreCopiedWholeAndInOrder) {
    Fake_Daemon daemon(serving(small_cluster()));
    open_library();
    Bytes expected;
    for (const Adapter_Facts &adapter : small_cluster().adapters) {
        expected.add(adapter_entry(adapter));
    }
    EXPECT_TRUE(same_bytes(expected, bytes_of(global_config_tbl.Hb_global_adapter_list, 5 * 64)));
}

ISOLATED_TEST(Snapshot, TheTablesHaveTheirNamesAndSizes) {
    Fake_Daemon daemon(serving(small_cluster()));
    open_library();
    EXPECT_STREQ("Hb_Adapter list", global_config_tbl.adap_hash->name);
    EXPECT_STREQ("preMOX_Hb_IP list", global_config_tbl.ip_hash->name);
    EXPECT_STREQ("preMOX_node list", global_config_tbl.node_hash->name);
    EXPECT_EQ(4099, global_config_tbl.node_hash->size);
    EXPECT_EQ(5, Hash_entries(global_config_tbl.adap_hash));
    EXPECT_EQ(5, Hash_entries(global_config_tbl.ip_hash));
    EXPECT_EQ(3, Hash_entries(global_config_tbl.node_hash));
}

ISOLATED_TEST(Snapshot, NodesAreListedInOrderOfTheirFirstAdapter) {
    Cluster_Facts cluster = small_cluster();
    std::swap(cluster.adapters[0], cluster.adapters[4]); // 8 first, then 3, 4, 5 and 2
    Fake_Daemon daemon(serving(cluster));
    open_library();
    EXPECT_EQ(3, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(4, global_config_tbl.node_list[0].node_num);
    EXPECT_EQ(1, global_config_tbl.node_list[1].node_num);
    EXPECT_EQ(2, global_config_tbl.node_list[2].node_num);
    EXPECT_EQ(&global_config_tbl.node_list[0], by_node(4));
    EXPECT_EQ(nullptr, by_node(3));
}

ISOLATED_TEST(Snapshot, TheNodeTableHoldsTheNodesThatOwnAnAdapter) {
    Fake_Daemon daemon(serving(small_cluster()));
    open_library();
    const Hb_Boolean expected[8] = {0, 1, 1, 0, 1, 0, 0, 0};
    EXPECT_EQ(bytes_of(expected), bytes_of(global_node_tbl).first(32));
    EXPECT_EQ(3, global_num_nodes);
}

ISOLATED_TEST(Snapshot, EntriesOfTheNodeTableAboveTheNodesAreLeft) {
    Fake_Daemon daemon(serving(small_cluster()));
    global_node_tbl[8] = 7;
    global_node_tbl[7] = 7;
    open_library();
    EXPECT_EQ(7, global_node_tbl[8]);
    EXPECT_EQ(0, global_node_tbl[7]);
}

ISOLATED_TEST(Snapshot, WithoutAdaptersIsAnEmptyClusterWithEveryNodeFalse) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters.clear();
    Fake_Daemon daemon(serving(cluster));
    open_library();
    EXPECT_EQ(0, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(0, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(0, global_num_nodes);
    EXPECT_EQ(Bytes().zeros(8 * 4), bytes_of(global_node_tbl).first(8 * 4));
    EXPECT_EQ(0, Hash_entries(global_config_tbl.adap_hash));
    Hb_Adapter_Number adapter = 0;
    Hb_Cursor cursor = 5;
    EXPECT_EQ(Hb_Failure, hb_get_first_configured_adapter_number(&adapter, &cursor));
    EXPECT_EQ(1, hb_get_errno());
    EXPECT_EQ(0xFFFFFFFFU, adapter);
}

ISOLATED_TEST(Snapshot, OfNothingAtAllIsSound) {
    Cluster_Facts cluster;
    cluster.max_nodes = 0;
    cluster.adapters_per_node = 0;
    Fake_Daemon daemon(serving(cluster));
    open_library();
    EXPECT_EQ(0, global_config_tbl.Hb_max_nodes);
    EXPECT_EQ(0, global_num_nodes);
}

ISOLATED_TEST(Snapshot, OfTwoAdaptersWithOneAddressOnlyTheFirstIsFoundByIt) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[3].address = cluster.adapters[1].address; // 5 has the address of 3
    Fake_Daemon daemon(serving(cluster));
    open_library();
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(5, Hash_entries(global_config_tbl.adap_hash));
    EXPECT_EQ(4, Hash_entries(global_config_tbl.ip_hash));
    EXPECT_EQ(5U, hb_get_adap_entry(5)->Hb_adapter_num) << "both are known by their number";
    ASSERT_NE(nullptr, by_address(ipv4(10, 2, 0, 1)));
    EXPECT_EQ(3U, by_address(ipv4(10, 2, 0, 1))->Hb_adapter_num);
    Hb_Adapter_Number adapter = 0;
    EXPECT_EQ(Hb_Success, hb_get_adapter_number_by_address(address(ipv4(10, 2, 0, 1)), &adapter));
    EXPECT_EQ(3U, adapter);
}

ISOLATED_TEST(Snapshot, TheSameIsTrueAfterAnUpdate) {
    Fake_Daemon daemon(serving(small_cluster()));
    open_library();
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[4].address = cluster.adapters[0].address; // 8 has the address of 2
    daemon.run(send_record(reply(9, snapshot(cluster))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_EQ(4, Hash_entries(global_config_tbl.ip_hash));
    ASSERT_NE(nullptr, by_address(ipv4(10, 1, 0, 1)));
    EXPECT_EQ(2U, by_address(ipv4(10, 1, 0, 1))->Hb_adapter_num);
}

ISOLATED_TEST(Snapshot, TheLocalNodeIsReadAsSixteenBits) {
    Cluster_Facts cluster = small_cluster();
    cluster.local_node = 2048;
    Fake_Daemon daemon(serving(cluster));
    open_library();
    Hb_Node_Number node = 0;
    EXPECT_EQ(Hb_Success, hb_get_my_node_number(&node));
    EXPECT_EQ(2048, node);
}

ISOLATED_TEST(Snapshot, NetworksBeyondThoseGivenKeepWhatTheyHeld) {
    Fake_Daemon daemon(serving(small_cluster()));
    open_library();
    std::strcpy(global_config_tbl.Hb_global_network_list[1].Hb_network_name, "old");
    std::strcpy(global_config_tbl.Hb_global_network_list[47].Hb_network_name, "older");
    Cluster_Facts cluster = small_cluster();
    cluster.networks = {{"only", "x"}};
    daemon.run(send_record(reply(9, snapshot(cluster))));
    Event_Call call;
    ASSERT_EQ(Hb_Success, call.take());
    EXPECT_STREQ("only", global_config_tbl.Hb_global_network_list[0].Hb_network_name);
    EXPECT_STREQ("old", global_config_tbl.Hb_global_network_list[1].Hb_network_name);
    EXPECT_STREQ("older", global_config_tbl.Hb_global_network_list[47].Hb_network_name);
}

ISOLATED_TEST(Snapshot, StatesComeBackAsTheyArrived) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[2].state = 77;
    cluster.adapters[3].state = -1;
    Fake_Daemon daemon(serving(cluster));
    open_library();
    EXPECT_EQ(77, hb_get_adap_entry(4)->Hb_state);
    EXPECT_EQ(-1, hb_get_adap_entry(5)->Hb_state);
}

ISOLATED_TEST(Snapshot, TextsWithoutANulAreCutAtTheirFields) {
    Cluster_Facts cluster = small_cluster();
    cluster.adapters[0].type = std::string(36, 't');
    cluster.networks[0].name = std::string(70, 'n');
    cluster.networks[0].type = std::string(16, 'y');
    Fake_Daemon daemon(serving(cluster));
    open_library();
    char text[100];
    std::memset(text, UNTOUCHED, sizeof text);
    EXPECT_EQ(Hb_Success, hb_get_adapter_type_by_number(2, text));
    EXPECT_EQ(Bytes().text(std::string(35, 't'), 36).u8(UNTOUCHED), bytes_of(text).first(37));
    std::memset(text, UNTOUCHED, sizeof text);
    EXPECT_EQ(Hb_Success, hb_get_network_name_by_number(0, text));
    EXPECT_EQ(Bytes().text(std::string(69, 'n'), 70).u8(UNTOUCHED), bytes_of(text).first(71));
    std::memset(text, UNTOUCHED, sizeof text);
    EXPECT_EQ(Hb_Success, hb_get_network_type_by_number(0, text));
    EXPECT_EQ(Bytes().text(std::string(15, 'y'), 16).u8(UNTOUCHED), bytes_of(text).first(17));
}

ISOLATED_TEST(Snapshot, BytesBehindTheLastNetworkAreIgnored) {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(small_cluster()).fill(100, 0xEE))};
    Fake_Daemon daemon(plan);
    open_library();
    EXPECT_EQ(5, global_config_tbl.Hb_num_adapters);
}

ISOLATED_TEST(Snapshot, OfTheLargestClusterIsLoaded) {
    Cluster_Facts cluster;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    for (unsigned number = 0; number < 98352; ++number) {
        cluster.adapters.push_back({number, static_cast<int>(number % 48U),
                                    ipv4(10, number >> 16U, (number >> 8U) & 0xFFU, number & 0xFFU), "en", 1});
    }
    for (int network = 0; network < 48; ++network) {
        cluster.networks.push_back({"net" + std::to_string(network), "ether"});
    }
    Fake_Daemon_Plan plan = serving(cluster);
    plan.segments = segments_for(2049, 98352);
    Fake_Daemon daemon(plan);
    open_library();
    EXPECT_EQ(98352, global_config_tbl.Hb_num_adapters);
    EXPECT_EQ(2049, global_num_nodes);
    EXPECT_EQ(2049, global_config_tbl.Hb_num_nodes);
    EXPECT_EQ(98352, Hash_entries(global_config_tbl.ip_hash));
    EXPECT_EQ(98351U, hb_get_adap_entry(98351)->Hb_adapter_num);
    EXPECT_STREQ("net47", global_config_tbl.Hb_global_network_list[47].Hb_network_name);
}

ISOLATED_TEST(Snapshot, ThatTricklesInByteByByteIsLoaded) {
    Fake_Daemon_Plan plan;
    plan.connections = {{read_record(), trickle_record(reply(0, snapshot(small_cluster())))}};
    Fake_Daemon daemon(plan);
    open_library();
    EXPECT_EQ(3, global_num_nodes);
}

// ---- Requesting it ----

ISOLATED_TEST(ConfigurationRequest, ThatCannotBeSentHasTheErrorOfTheSend) {
    signal(SIGPIPE, SIG_IGN);
    Fake_Daemon daemon;
    const Fault_Guard fault = failing(Call::writev_, EIO);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(21, hb_get_errno());
    EXPECT_EQ(0, client_initialized);
}

ISOLATED_TEST(ConfigurationRequest, WithoutAConnectionIsError22) {
    EXPECT_EQ(Hb_Failure, hb_recv_config_info());
    EXPECT_EQ(22, hb_get_errno());
}

ISOLATED_TEST(ConfigurationRequest, TheDaemonClosingInsteadOfAnsweringIsError16) {
    const Bytes whole = frame(reply(0, snapshot(small_cluster())));
    for (const std::size_t count :
         {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{5}, std::size_t{111}, whole.size() - 1}) {
        SCOPED_TRACE(count);
        Fake_Daemon_Plan plan;
        plan.connections = {{read_record(), send_raw(whole.first(count)), hang_up()}};
        Fake_Daemon daemon(plan);
        set_hb_errno(0);
        EXPECT_EQ(Hb_Failure, hb_init());
        EXPECT_EQ(16, hb_get_errno());
        EXPECT_EQ(0, client_initialized);
    }
}

ISOLATED_TEST(ConfigurationRequest, EachReadErrorHasItsErrorNumber) {
    const struct {
        int error;
        int number;
    } rows[] = {{EFAULT, 23}, {EIO, 26}, {ECONNRESET, 27}, {ENOMEM, 27}};
    for (const auto &row : rows) {
        Fake_Daemon daemon;
        const Fault_Guard fault = failing(Call::read_, row.error);
        EXPECT_EQ(Hb_Failure, hb_init());
        EXPECT_EQ(row.number, hb_get_errno()) << strerror(row.error);
    }
}

// A connection whose receive fails with a status of the test's choice.
class Silent_Socket : public Hb_Csock {
  public:
    explicit Silent_Socket(long status) : status_(status) {}
    long Error() override { return status_; }
    Hb_Rc send(char *, int) override { return Hb_Success; }
    Hb_Rc receive(char **, int &) override { return Hb_Failure; }

  private:
    long status_;
};

ISOLATED_TEST(ConfigurationRequest, EachSocketStatusHasItsErrorNumber) {
    const struct {
        long status;
        int number;
    } rows[] = {{1, 23}, {10, 24}, {11, 25}, {12, 26}, {14, 16}, {13, 27}, {0, 27}, {5, 27}, {99, 27}};
    for (const auto &row : rows) {
        Silent_Socket silent(row.status);
        client_socket = &silent;
        EXPECT_EQ(Hb_Failure, hb_recv_config_info());
        EXPECT_EQ(row.number, hb_get_errno()) << "status " << row.status;
        client_socket = nullptr;
    }
}

ISOLATED_TEST(ConfigurationRequest, OfImpossibleLengthIsError27) {
    for (const int64_t length : {-1LL, 6298785LL}) {
        Fake_Daemon_Plan plan;
        plan.connections = {{read_record(), send_raw(Bytes().i32(length))}};
        Fake_Daemon daemon(plan);
        EXPECT_EQ(Hb_Failure, hb_init());
        EXPECT_EQ(27, hb_get_errno());
    }
}

ISOLATED_TEST(ConfigurationRequest, AnEventBeforeTheAnswerFailsTheOpening) {
    Fake_Daemon_Plan plan;
    plan.connections = {
        {read_record(), send_record(reply(12)), send_record(reply(0, snapshot(small_cluster())))}};
    Fake_Daemon daemon(plan);
    EXPECT_EQ(Hb_Failure, hb_init());
    EXPECT_EQ(10, hb_get_errno());
}

} // namespace
} // namespace hb_test
