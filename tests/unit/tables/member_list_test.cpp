// SPDX-License-Identifier: Apache-2.0
// The list of a group record while an event fills it, compared with a list that is cleared and then filled.
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/base/none_values.h"
#include "lib/hb_communication/event_apply.h"
#include "lib/hb_communication/member_list.h"
#include "random_table.h"

namespace {

constexpr Hb_Incarnation OLD = 4711;

std::vector<Hb_Incarnation> random_content(Random &random, std::size_t size) {
    std::vector<Hb_Incarnation> list(size, HB_NOT_IN_GROUP);
    switch (below(random, 3)) {
    case 0:
        std::ranges::fill(list, OLD);
        break;
    case 1:
        for (uint32_t i = below(random, 50); i > 0; --i) {
            list[below(random, static_cast<uint32_t>(size))] = OLD;
        }
        break;
    default:
        break;
    }
    return list;
}

TEST(MemberList, ClearingChangesNothingElse) {
    Random random(3);
    for (int round = 0; round < 3000; ++round) {
        std::vector<Hb_Incarnation> list = random_content(random, 600);
        std::vector<Hb_Incarnation> expected = list;
        const uint32_t first = below(random, 70);
        const uint32_t count = below(random, 500);
        std::fill_n(expected.data() + first, count, HB_NOT_IN_GROUP);
        hb_clear_members(list.data() + first, count);
        ASSERT_EQ(expected, list) << "from " << first << ", " << count << " entries";
    }
}

TEST(MemberList, EachEntryOfALineIsSeen) {
    std::vector<Hb_Incarnation> list(256, HB_NOT_IN_GROUP);
    const std::vector<Hb_Incarnation> clear = list;
    for (std::size_t entry = 0; entry < list.size(); ++entry) {
        list[entry] = HB_NOT_IN_GROUP - 1;
        hb_clear_members(list.data(), 256);
        ASSERT_EQ(clear, list) << entry;
    }
}

// No rule of C permits such a record, but programs have made them, and they worked.
TEST(MemberList, PermitsARecordAtAnyAddress) {
#ifdef HB_ADDRESS_SANITIZER
    GTEST_SKIP() << "the sanitizer rejects records that are not aligned";
#endif
    std::vector<unsigned char> bytes(4096);
    for (std::size_t offset = 0; offset < 8; ++offset) {
        std::ranges::fill(bytes, static_cast<unsigned char>(0xFF));
        auto *list = static_cast<Hb_Incarnation *>(static_cast<void *>(bytes.data() + offset));
        bytes[offset + 4 * 700] = 1;
        EXPECT_EQ(700, hb_next_member(list, 0, 900)) << offset;
        hb_clear_members(list, 900);
        EXPECT_EQ(900, hb_next_member(list, 0, 900)) << offset;
    }
}

TEST(MemberList, HoldsTheMembersInAnyOrder) {
    Random random(5);
    constexpr uint32_t SIZE = 12500; // clears it in several steps
    for (int round = 0; round < 1000; ++round) {
        std::vector<Hb_Incarnation> list = random_content(random, SIZE);
        std::vector<Hb_Incarnation> expected = list;
        const uint32_t bound = below(random, SIZE + 1);
        std::fill_n(expected.begin(), bound, HB_NOT_IN_GROUP);
        Hb_Member_List members(list.data(), bound);
        const bool ascending = below(random, 2) == 0;
        uint32_t adapter = 0;
        for (uint32_t i = below(random, 60); i > 0; --i) {
            adapter = ascending ? std::min(adapter + below(random, 900), SIZE - 1) : below(random, SIZE);
            expected[adapter] = i;
            members.set(adapter, i);
        }
        members.finish();
        ASSERT_EQ(expected, list) << "bound " << bound << ", round " << round;
    }
}

// ---- Whole events ----

std::vector<Hb_Adapter_Event_Pair> random_pairs(Random &random) {
    std::vector<Hb_Adapter_Event_Pair> pairs(below(random, 50));
    const uint32_t step = below(random, 5);
    for (uint32_t i = 0; i < pairs.size(); ++i) {
        const bool in_a_row = below(random, 10) != 0;
        const uint32_t other =
            below(random, 3) == 0 ? HB_ADAPTER_SLOTS - 2 + below(random, 4) : below(random, 130);
        pairs[i] = {in_a_row ? i * step : other, below(random, 1000)};
    }
    return pairs;
}

// The states of the adapters, by place in the list.
std::vector<Hb_Entity_State> states() {
    std::vector<Hb_Entity_State> result;
    for (const Hb_Adapter_Entry &entry : hb_adapters_of(global_config_tbl)) {
        result.push_back(entry.Hb_state);
    }
    return result;
}

// Applies the pairs one by one, and searches the index for each.
void apply_plainly(const std::vector<Hb_Adapter_Event_Pair> &pairs, Hb_Entity_State state, Hb_Incarnation *list,
                   std::vector<Hb_Entity_State> &states) {
    std::fill_n(list, hb_adapter_number_bound(global_config_tbl), HB_NOT_IN_GROUP);
    for (const Hb_Adapter_Event_Pair &pair : pairs) {
        if (pair.adapter >= HB_ADAPTER_SLOTS) {
            continue;
        }
        list[pair.adapter] = pair.incarnation;
        const auto *entry =
            static_cast<const Hb_Adapter_Entry *>(Hash_search(pair.adapter, global_config_tbl.adap_hash));
        if (entry != nullptr) {
            states[static_cast<std::size_t>(entry - global_config_tbl.Hb_global_adapter_list)] = state;
        }
    }
}

TEST(MemberList, WholeEventsSetListAndStates) {
    Random random(11);
    const auto group = std::make_unique<Hb_Group>();
    const auto expected = std::make_unique<Hb_Group>();
    auto &list = group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    auto &expected_list = expected->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    for (int round = 0; round < 1500; ++round) {
        const Random_Table table(random);
        const std::vector<Hb_Adapter_Event_Pair> pairs = random_pairs(random);
        const bool died = below(random, 2) == 0;
        std::vector<Hb_Entity_State> expected_states = states();
        apply_plainly(pairs, died ? Hb_Entity_Down : Hb_Entity_Up, expected_list, expected_states);
        Hb_Name name;
        const Hb_Adapter_Event_View event = {
            died ? HB_ADAPTER_DEATH : HB_ADAPTER_JOIN,
            "all",
            0,
            0,
            0,
            {reinterpret_cast<const char *>(pairs.data()), static_cast<int>(pairs.size())}};
        set_hb_errno(0);
        hb_apply_event(event, name, *group);
        ASSERT_EQ(0, std::memcmp(list, expected_list, sizeof list)) << table.kind() << ", round " << round;
        ASSERT_EQ(expected_states, states()) << table.kind() << ", round " << round;
        ASSERT_EQ(0, global_hb_errno);
    }
}

TEST(MemberList, AnEventWithAnUnknownKindSetsTheErrorOfConfiguredMembersOnly) {
    Random random(1);
    const auto group = std::make_unique<Hb_Group>();
    bool seen[2] = {};
    for (int round = 0; round < 50; ++round) {
        const Random_Table table(random);
        const Hb_Adapter_Event_Pair pair = {below(random, 20), 1};
        const bool is_configured = Hash_search(pair.adapter, global_config_tbl.adap_hash) != nullptr;
        Hb_Name name;
        set_hb_errno(0);
        hb_apply_event(Hb_Adapter_Event_View{0, "all", 0, 0, 0, {reinterpret_cast<const char *>(&pair), 1}},
                       name, *group);
        EXPECT_EQ(is_configured ? HB_ERROR_ADAPTER_STATE_UNKNOWN : 0, global_hb_errno) << table.kind();
        seen[is_configured ? 1 : 0] = true;
    }
    EXPECT_TRUE(seen[0] && seen[1]);
}

} // namespace
