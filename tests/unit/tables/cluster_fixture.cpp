// SPDX-License-Identifier: Apache-2.0
#include "cluster_fixture.h"

#include <cstring>

#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_communication/connection.h"
#include "lib/hb_global_data/configuration_table.h"
#include "lib/hb_global_data/operating_mode.h"
#include "lib/hb_global_data/subscription_names.h"

namespace {

void empty_table() {
    delete[] global_config_tbl.Hb_global_adapter_list;
    Hash_free(global_config_tbl.adap_hash);
    Hash_free(global_config_tbl.ip_hash);
    Hash_free(global_config_tbl.node_hash);
    delete[] global_config_tbl.node_list;
    global_config_tbl = Hb_Configuration_Internal{};
    std::memset(global_node_tbl, 0, sizeof global_node_tbl);
    std::memset(global_site_tbl, 0, sizeof global_site_tbl);
    global_num_nodes = 0;
    global_num_sites = 0;
}

void name_network(int number, const char *name, const char *type) {
    Hb_Network_Entry &entry = global_config_tbl.Hb_global_network_list[number];
    std::strcpy(entry.Hb_network_name, name);
    std::strcpy(entry.Hb_network_type, type);
}

} // namespace

Hb_IP_address6 address_of(const std::vector<unsigned> &bytes) {
    Hb_IP_address6 address{};
    for (std::size_t i = 0; i < 16; ++i) {
        address.i6_ipv6.s6_addr[i] = static_cast<unsigned char>(bytes.at(i));
    }
    return address;
}

Hb_IP_address6 mapped(unsigned a, unsigned b, unsigned c, unsigned d) {
    return address_of({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, a, b, c, d});
}

Cluster_Test::Cluster_Test() {
    empty_table();
    IsMOX = false;
    global_hb_errno = 0;
    hb_clear_subscription_names();

    global_config_tbl.local_node_number = 1;
    global_config_tbl.Hb_max_nodes = 4;
    global_config_tbl.Hb_adapters_per_node = 3;
    global_config_tbl.Hb_num_networks = 2;
    global_config_tbl.Hb_num_nodes = 7; // a value that no count uses
    global_config_tbl.adap_hash = Hash_init("Hb_Adapter list", 257);
    name_network(0, "net_a", "ether");
    name_network(1, "net_b", "ib");
    add_adapter(9, 0, mapped(10, 1, 0, 3), "eth0", Hb_Entity_Up);
    add_adapter(4, 1, mapped(10, 1, 0, 1), "ib0", Hb_Entity_Undef);
    add_adapter(3, 0, mapped(10, 1, 0, 1), "eth0", Hb_Entity_Down);
    global_node_tbl[1] = Hb_True;
    global_node_tbl[3] = Hb_True;
    global_num_nodes = 2;
    client_initialized = 1;
}

Cluster_Test::~Cluster_Test() {
    client_initialized = 0;
    IsMOX = false;
    hb_remove_socket();
    hb_remove_client_select();
    hb_clear_subscription_names();
    empty_table();
}

void Cluster_Test::add_adapter(Hb_Adapter_Number number, Hb_Network_Number network,
                               const Hb_IP_address6 &address, const std::string &type, Hb_Entity_State state) {
    const int count = global_config_tbl.Hb_num_adapters;
    auto *list = new Hb_Adapter_Entry[static_cast<std::size_t>(count) + 1]{};
    for (int i = 0; i < count; ++i) {
        list[i] = global_config_tbl.Hb_global_adapter_list[i];
    }
    list[count].Hb_ip_address = address;
    list[count].Hb_network = network;
    std::memcpy(list[count].Hb_adapter_type, type.data(), std::min(type.size(), sizeof(Hb_Adapter_Type)));
    list[count].Hb_adapter_num = number;
    list[count].Hb_state = state;
    delete[] global_config_tbl.Hb_global_adapter_list;
    global_config_tbl.Hb_global_adapter_list = list;
    global_config_tbl.Hb_num_adapters = count + 1;
    Hash_clean(global_config_tbl.adap_hash);
    for (int i = 0; i <= count; ++i) {
        Hash_insert(list[i].Hb_adapter_num, global_config_tbl.adap_hash, &list[i]);
    }
}

void Cluster_Test::close_library() {
    empty_table();
    client_initialized = 0;
    no_daemon_ = std::make_unique<hb_test::Environment_Guard>("HB_SERVER_SOCKET",
                                                              directory_.file("nobody_listens_here"));
}
