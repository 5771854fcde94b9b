// SPDX-License-Identifier: Apache-2.0
// Iterations of group records and subscription groups, compared with walks entry by entry. The records are
// random, and so are the cursors.
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "cluster_fixture.h"
#include "lib/api/session.h"
#include "lib/api/subscription_bitmap.h"
#include "lib/base/error_number.h"
#include "lib/base/none_values.h"
#include "lib/hb_communication/member_list.h"
#include "lib/hb_global_data/configuration_table.h"
#include "random_table.h"

namespace {

constexpr int ROUNDS = 1500;

class Random_Iteration : public Cluster_Test {
  protected:
    // Makes the bounds random too: small ones, and the largest.
    void choose_bounds() {
        const bool largest = below(random_, 20) == 0;
        global_config_tbl.Hb_max_nodes = largest ? HB_NODE_SLOTS : static_cast<int>(below(random_, 40));
        global_config_tbl.Hb_adapters_per_node =
            largest ? HB_NETWORK_SLOTS : static_cast<int>(below(random_, 10));
    }

    Hb_Cursor any_cursor(int bound) {
        switch (below(random_, 8)) {
        case 0:
            return below(random_, 2) == 0 ? INT_MIN : -1;
        case 1:
            return below(random_, 2) == 0 ? INT_MAX : bound;
        default:
            return static_cast<Hb_Cursor>(below(random_, static_cast<uint32_t>(bound) + 3));
        }
    }

    // Calls write(number) for the members of a record of `size` entries: few, many, or all between two numbers.
    void choose_members(int size, const std::function<void(uint32_t)> &write) {
        const auto range = static_cast<uint32_t>(size);
        const uint32_t first = below(random_, range);
        switch (below(random_, 3)) {
        case 0:
            for (uint32_t i = below(random_, 6); i > 0; --i) {
                write(below(random_, range));
            }
            break;
        case 1:
            for (uint32_t i = 0; i < range; i += 1 + below(random_, 3)) {
                write(i);
            }
            break;
        default:
            for (uint32_t i = first; i < range && i < first + 200; ++i) {
                write(i);
            }
        }
    }

    Random random_{20261122};
};

// Returns the first number from the cursor on that is a member, or the bound.
int walk(Hb_Cursor cursor, int bound, const std::function<bool(int)> &is_member) {
    for (int number = std::max(cursor, 0); number < bound; ++number) {
        if (is_member(number)) {
            return number;
        }
    }
    return bound;
}

int adapter_bound() {
    return static_cast<int>(hb_adapter_number_bound(global_config_tbl));
}

// What a call gave.
struct Step {
    Hb_Rc result;
    int64_t item;
    Hb_Cursor cursor;
    int error;

    bool operator==(const Step &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Step &step) {
    return out << "result " << step.result << ", item " << step.item << ", cursor " << step.cursor << ", error "
               << step.error;
}

Step expected_step(int found, int bound, int64_t none, Hb_Cursor cursor) {
    return found < bound ? Step{Hb_Success, found, found + 1, 0}
                         : Step{Hb_Failure, none, cursor, HB_ERROR_NO_MORE};
}

TEST_F(Random_Iteration, OfAGroupRecordsAdapters) {
    const auto group = std::make_unique<Hb_Group>();
    group->Hb_group_type = Hb_Adapter_Group;
    auto &list = group->Hb_membership_grp_union.Hb_adapter_membership_grp.Hb_adapter_list;
    constexpr int64_t UNTOUCHED = 4711;
    int found_some = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        choose_bounds();
        const int bound = adapter_bound();
        const int size = std::min(bound + 100, static_cast<int>(HB_ADAPTER_SLOTS));
        std::fill_n(list, size, HB_NOT_IN_GROUP);
        choose_members(size, [&list](uint32_t number) { list[number] = HB_NOT_IN_GROUP - 1 - number % 2; });
        for (int call = 0; call < 20; ++call) {
            const bool first = below(random_, 5) == 0;
            const Hb_Cursor cursor = below(random_, 2) == 0 ? any_cursor(bound) : group->Hb_cursor;
            const int found =
                walk(first ? 0 : cursor, bound, [&list](int n) { return list[n] != HB_NOT_IN_GROUP; });
            group->Hb_cursor = cursor;
            set_hb_errno(0);
            Hb_Adapter_Identifier id = {UNTOUCHED, 0, 0};
            const Hb_Rc result =
                first ? hb_get_first_adapter(group.get(), &id) : hb_get_next_adapter(group.get(), &id);
            ASSERT_EQ(expected_step(found, bound, UNTOUCHED, cursor),
                      (Step{result, id.Hb_adapter_number, group->Hb_cursor, global_hb_errno}))
                << "cursor " << cursor << ", bound " << bound << ", round " << round;
            found_some += found < bound ? 1 : 0;
        }
    }
    EXPECT_GT(found_some, ROUNDS);
}

bool has_bit(const uint8_t *bitmap, int number) {
    return (bitmap[number / 8] >> (7 - number % 8) & 1) != 0;
}

void set_bit(uint8_t *bitmap, uint32_t number) {
    bitmap[number / 8] = static_cast<uint8_t>(bitmap[number / 8] | 0x80U >> number % 8);
}

TEST_F(Random_Iteration, OfASubscriptionGroupsAdapters) {
    const auto group = std::make_unique<Hb_Subscription_Group>();
    group->Hb_subscription_type = Hb_Adapter_Subscription;
    auto &bitmap = group->Hb_subscription_grp_union.Hb_adapter_subscription_grp.Hb_adapter_list;
    int found_some = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        choose_bounds();
        const int bound = adapter_bound();
        std::memset(bitmap, 0, sizeof bitmap);
        choose_members(std::min(bound + 100, static_cast<int>(HB_ADAPTER_SLOTS)),
                       [&bitmap](uint32_t number) { set_bit(bitmap, number); });
        for (int call = 0; call < 20; ++call) {
            const bool first = below(random_, 5) == 0;
            const Hb_Cursor cursor = below(random_, 2) == 0 ? any_cursor(bound) : group->Hb_cursor;
            const int found = walk(first ? 0 : cursor, bound, [&bitmap](int n) { return has_bit(bitmap, n); });
            group->Hb_cursor = cursor;
            set_hb_errno(0);
            Hb_Adapter_Number adapter = 4711;
            const Hb_Rc result = first ? hb_get_first_subscription_adapter(group.get(), &adapter)
                                       : hb_get_next_subscription_adapter(group.get(), &adapter);
            ASSERT_EQ(expected_step(found, bound, HB_NO_ADAPTER, cursor),
                      (Step{result, adapter, group->Hb_cursor, global_hb_errno}))
                << "cursor " << cursor << ", bound " << bound << ", round " << round;
            found_some += found < bound ? 1 : 0;
        }
    }
    EXPECT_GT(found_some, ROUNDS);
}

TEST_F(Random_Iteration, OfASubscriptionGroupsNodes) {
    const auto group = std::make_unique<Hb_Subscription_Group>();
    group->Hb_subscription_type = Hb_Node_Subscription;
    auto &bitmap = group->Hb_subscription_grp_union.Hb_node_subscription_grp.Hb_node_list;
    for (int round = 0; round < ROUNDS; ++round) {
        choose_bounds();
        const int bound = global_config_tbl.Hb_max_nodes;
        std::memset(bitmap, 0, sizeof bitmap);
        choose_members(std::min<int>(bound + 100, HB_NODE_SLOTS),
                       [&bitmap](uint32_t number) { set_bit(bitmap, number); });
        for (int call = 0; call < 20; ++call) {
            const Hb_Cursor cursor = below(random_, 2) == 0 ? any_cursor(bound) : group->Hb_cursor;
            const int found = walk(cursor, bound, [&bitmap](int n) { return has_bit(bitmap, n); });
            group->Hb_cursor = cursor;
            set_hb_errno(0);
            Hb_Node_Number node = 4711;
            const Hb_Rc result = hb_get_next_subscription_node(group.get(), &node);
            ASSERT_EQ(expected_step(found, bound, HB_NO_NODE, cursor),
                      (Step{result, node, group->Hb_cursor, global_hb_errno}))
                << "cursor " << cursor << ", bound " << bound << ", round " << round;
        }
    }
}

// The memory ends at the bound, so that a sanitizer sees a read beyond it.
TEST_F(Random_Iteration, StopsExactlyAtTheBound) {
    for (int round = 0; round < ROUNDS; ++round) {
        const int bound = static_cast<int>(1 + below(random_, 300));
        std::vector<Hb_Incarnation> list(static_cast<std::size_t>(bound), HB_NOT_IN_GROUP);
        std::vector<uint8_t> bitmap((list.size() + 7) / 8, 0);
        choose_members(bound, [&](uint32_t number) {
            list[number] = 1;
            set_bit(bitmap.data(), number);
        });
        const int shorter = static_cast<int>(below(random_, static_cast<uint32_t>(bound) + 1));
        for (int start = 0; start < bound + 2; ++start) {
            for (const int end : {bound, shorter}) {
                const int found = walk(start, end, [&](int n) { return has_bit(bitmap.data(), n); });
                const int expected = found < end ? found : std::max(start, end);
                ASSERT_EQ(expected, hb_next_bit(bitmap.data(), start, end)) << start << ", " << end;
                ASSERT_EQ(expected, hb_next_member(list.data(), start, end)) << start << ", " << end;
            }
        }
    }
}

TEST_F(Random_Iteration, OfANodesAdapters) {
    client_initialized = 1;
    for (int round = 0; round < 500; ++round) {
        const Random_Table table(random_);
        global_config_tbl.Hb_max_nodes = 30;
        global_config_tbl.Hb_adapters_per_node = 4;
        for (Hb_Node_Number node = 0; node < 30; ++node) {
            global_node_tbl[node] = Hb_True;
            int expected = 0;
            for (uint32_t slot = 0; slot < 4; ++slot) {
                const uint32_t adapter = static_cast<uint32_t>(node) * 4 + slot;
                expected += Hash_search(adapter, global_config_tbl.adap_hash) != nullptr ? 1 : 0;
            }
            int count = -1;
            ASSERT_EQ(Hb_Success, hb_get_number_of_configured_adapters_in_node(node, &count));
            ASSERT_EQ(expected, count) << table.kind() << ", node " << node;
        }
    }
}

} // namespace
