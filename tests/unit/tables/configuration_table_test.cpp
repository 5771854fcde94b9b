// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>

#include "cluster_fixture.h"
#include "lib/api/session.h"
#include "lib/base/error_number.h"
#include "lib/hb_global_data/configuration_table.h"

namespace {

using Configuration_Table = Cluster_Test;

TEST_F(Configuration_Table, AnAdapterIsFoundByItsNumber) {
    EXPECT_EQ(hb_get_adap_entry(4), &global_config_tbl.Hb_global_adapter_list[1]);
}

TEST_F(Configuration_Table, AnUnknownAdapterGivesTheInvalidEntryAndNeverNull) {
    global_hb_errno = 77;
    EXPECT_EQ(hb_get_adap_entry(5), &HB_INVALID_ADAP);
    EXPECT_EQ(hb_get_adap_entry(0xFFFFFFFFU), &HB_INVALID_ADAP);
    EXPECT_EQ(global_hb_errno, 77) << "it sets no error number";
}

TEST_F(Configuration_Table, AnEmptyTableKnowsNoAdapter) {
    close_library();
    EXPECT_EQ(hb_get_adap_entry(4), &HB_INVALID_ADAP);
    EXPECT_EQ(client_initialized, 0) << "it does not open the library";
}

TEST(Invalid_Entries, HoldWhatMarksThem) {
    const unsigned char ones[16] = {255, 255, 255, 255, 255, 255, 255, 255,
                                    255, 255, 255, 255, 255, 255, 255, 255};
    EXPECT_EQ(std::memcmp(&HB_INVALID_ADDR, ones, 16), 0);
    EXPECT_EQ(std::memcmp(&HB_INVALID_ADAP.Hb_ip_address, ones, 16), 0);
    EXPECT_EQ(HB_INVALID_ADAP.Hb_network, -1);
    EXPECT_STREQ(HB_INVALID_ADAP.Hb_adapter_type, "un");
    EXPECT_EQ(HB_INVALID_ADAP.Hb_adapter_num, 0xFFFFFFFFU);
    EXPECT_EQ(HB_INVALID_ADAP.Hb_state, 0);
}

TEST(Adapter_Number_Bound, IsTheGeometryButNeverMoreThanTheRecordsHold) {
    const auto bound = [](int nodes, int adapters) {
        auto table = std::make_unique<Hb_Configuration_Internal>();
        table->Hb_max_nodes = nodes;
        table->Hb_adapters_per_node = adapters;
        return hb_adapter_number_bound(*table);
    };
    EXPECT_EQ(bound(4, 3), 12U);
    EXPECT_EQ(bound(2049, 48), 98352U);
    EXPECT_EQ(bound(2049, 49), 98352U);
    EXPECT_EQ(bound(INT_MAX, INT_MAX), 98352U);
    EXPECT_EQ(bound(65536, 65536), 98352U) << "the product is 0 in 32 bits";
    EXPECT_EQ(bound(0, 48), 0U);
    EXPECT_EQ(bound(2049, 0), 0U);
    EXPECT_EQ(bound(-1, -48), 0U);
}

} // namespace
