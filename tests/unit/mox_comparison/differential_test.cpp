// SPDX-License-Identifier: Apache-2.0
// For any two tables, the comparison finds what the plain scan finds.
#include <algorithm>
#include <cerrno>
#include <random>

#include <gtest/gtest.h>

#include "lib/hb_global_data/operating_mode.h"
#include "lib/mox/adapter_index.h"
#include "lib/mox/node_adapters.h"
#include "tests/support/faults.h"
#include "tests/unit/mox_comparison/nested_scan.h"
#include "tests/unit/mox_comparison/tables.h"

namespace hb_test {
namespace {

class Generator {
  public:
    explicit Generator(unsigned seed) : random_(seed) {}

    // Few different nodes, names and addresses, so that duplicates and near misses are frequent.
    Plain_Table table(unsigned largest) {
        static constexpr int per_node[] = {48, 48, 48, 2, 3, 1, 0};
        Plain_Table made;
        made.adapters_per_node = per_node[pick(7)];
        made.networks = pick(4) == 0 ? 2 : 48;
        made.local_node = static_cast<int>(pick(3));
        for (unsigned i = pick(6); i > 0; --i) {
            made.nodes.push_back({static_cast<int>(pick(8)), state()});
        }
        for (unsigned i = pick(largest + 1); i > 0; --i) {
            made.adapters.push_back(adapter(largest));
        }
        return made;
    }

    // The same table after some time.
    Plain_Table changed(Plain_Table table, unsigned largest) {
        for (unsigned changes = pick(4); changes > 0; --changes) {
            change(table, largest);
        }
        return table;
    }

    // As a real cluster: each node has several interfaces, and few addresses occur twice.
    Plain_Table cluster(unsigned nodes) {
        Plain_Table made;
        for (unsigned number = 0; number < nodes * 48; ++number) {
            Plain_Adapter made_adapter = {number, "interface" + std::to_string(number % 48), address(0), 0,
                                          state()};
            made_adapter.address[13] = static_cast<unsigned char>(number / 256);
            made_adapter.address[14] = static_cast<unsigned char>(number);
            made.adapters.push_back(made_adapter);
        }
        return made;
    }

    // Every number stays, but adapters of the same node share names and addresses.
    Plain_Table alike(Plain_Table table) {
        for (Plain_Adapter &adapter : table.adapters) {
            adapter.name = "eth" + std::to_string(pick(3));
            adapter.address = address(static_cast<unsigned char>(pick(4)));
            adapter.state = state();
        }
        std::shuffle(table.adapters.begin(), table.adapters.end(), random_);
        return table;
    }

    Plain_Table shuffled(Plain_Table table) {
        for (unsigned twice = pick(20); twice > 0; --twice) {
            Plain_Adapter again = table.adapters[pick(table.adapters.size())];
            again.state = state();
            table.adapters.push_back(again);
        }
        std::shuffle(table.adapters.begin(), table.adapters.end(), random_);
        return table;
    }

    unsigned pick(std::size_t choices) { return static_cast<unsigned>(random_() % choices); }

  private:
    Hb_Entity_State state() {
        static constexpr Hb_Entity_State states[] = {Hb_Entity_Up, Hb_Entity_Up, Hb_Entity_Down,
                                                     Hb_Entity_Undef};
        return states[pick(4)];
    }

    Plain_Adapter adapter(unsigned largest) {
        const unsigned nodes = 1 + largest / 8;
        return {pick(2) * pick(48) + 48 * pick(nodes), "eth" + std::to_string(pick(3)),
                address(static_cast<unsigned char>(pick(4))), static_cast<int>(pick(3)), state()};
    }

    void change(Plain_Table &table, unsigned largest) {
        if (table.adapters.empty() || table.nodes.empty()) {
            return;
        }
        Plain_Adapter &some = table.adapters[pick(table.adapters.size())];
        switch (pick(8)) {
        case 0:
            some.address = address(static_cast<unsigned char>(pick(4)));
            break;
        case 1:
            some.state = state();
            break;
        case 2:
            some.network = static_cast<int>(pick(3));
            break;
        case 3:
            table.adapters.push_back(some); // twice
            break;
        case 4:
            table.adapters.erase(table.adapters.begin() +
                                 static_cast<std::ptrdiff_t>(pick(table.adapters.size())));
            break;
        case 5:
            std::swap(some, table.adapters[pick(table.adapters.size())]);
            break;
        case 6:
            table.nodes[pick(table.nodes.size())].state = state();
            break;
        default:
            table.adapters.push_back(adapter(largest));
            break;
        }
    }

    std::mt19937 random_;
};

template <typename Number> std::vector<unsigned> unsigned_of(const std::vector<Number> &numbers) {
    return {numbers.begin(), numbers.end()};
}

Missing adapters_in(const Slot &slot) {
    return {!slot.is_empty(), slot.is_empty() ? 0 : slot.adapter_group().Hb_num_adapters, slot.adapters()};
}

Missing nodes_in(const Slot &slot) {
    return {!slot.is_empty(), slot.is_empty() ? 0 : slot.node_group().Hb_num_nodes, unsigned_of(slot.nodes())};
}

void compare_both_ways(const Plain_Table &before, const Plain_Table &after) {
    Any_Handler handler;
    const Live_Table live(before);
    Table next(after);
    Slot adapters_gone, nodes_gone, config_changed, adapters_new, nodes_new;
    migrate_to_mox_prep = true;
    handler.compare_global_config_tables(next.get(), adapters_gone.out(), nodes_gone.out(),
                                         config_changed.out(), adapters_new.out(), nodes_new.out());
    migrate_to_mox_prep = false;
    EXPECT_EQ(adapters_missing_by_scan(before, after), adapters_in(adapters_gone));
    EXPECT_EQ(nodes_missing_by_scan(before, after), nodes_in(nodes_gone));
    EXPECT_EQ(adapters_missing_by_scan(after, before), adapters_in(adapters_new));
    EXPECT_EQ(nodes_missing_by_scan(after, before), nodes_in(nodes_new));
    EXPECT_EQ(config_changed_by_scan(before, after) || config_changed_by_scan(after, before),
              !config_changed.is_empty());
}

void compare_random_tables(unsigned seed, int pairs, unsigned largest) {
    Generator generator(seed);
    for (int pair = 0; pair < pairs && !testing::Test::HasFailure(); ++pair) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", pair " + std::to_string(pair) + " of up to " +
                     std::to_string(largest) + " adapters");
        const Plain_Table before = generator.table(largest);
        const bool related = generator.pick(3) != 0;
        compare_both_ways(before, related ? generator.changed(before, largest) : generator.table(largest));
    }
}

#if defined(HB_ADDRESS_SANITIZER)
constexpr int DIVISOR = 5; // checking a 393 KB event takes long
#else
constexpr int DIVISOR = 1;
#endif

class RandomTables : public testing::TestWithParam<unsigned> {};

TEST_P(RandomTables, OfAFewAdapters) {
    compare_random_tables(GetParam(), 1000 / DIVISOR, 6);
}

TEST_P(RandomTables, OfManyAdapters) {
    compare_random_tables(GetParam() + 1, 100 / DIVISOR, 400);
}

TEST_P(RandomTables, OfAClusterInAnyOrderWithAdaptersThatOccurTwice) {
    Generator generator(GetParam() + 2);
    for (int pair = 0; pair < 5 && !testing::Test::HasFailure(); ++pair) {
        SCOPED_TRACE(pair);
        const Plain_Table before = generator.cluster(1 + generator.pick(30));
        compare_both_ways(before, before);
        compare_both_ways(before, generator.shuffled(before));
        compare_both_ways(generator.shuffled(before), generator.shuffled(before));
    }
}

bool is_of_node(const Plain_Table &table, const Plain_Adapter &adapter, int node) {
    return table.adapters_per_node > 0 &&
           adapter.number / static_cast<unsigned>(table.adapters_per_node) == static_cast<unsigned>(node);
}

// The node's adapters that are up, unless the first of the node's first 48 adapters in `next` with the same
// interface and address is up too.
Missing stale_by_scan(const Plain_Table &live, const Plain_Table &next, int node) {
    std::vector<Plain_Adapter> there;
    for (const Plain_Adapter &b : next.adapters) {
        if (is_of_node(next, b, node) && there.size() < 48) {
            there.push_back(b);
        }
    }
    Missing stale;
    for (const Plain_Adapter &a : live.adapters) {
        const auto same = [&](const Plain_Adapter &b) { return a.name == b.name && a.address == b.address; };
        const auto b = std::find_if(there.begin(), there.end(), same);
        const bool is_up_there = b != there.end() && b->state == Hb_Entity_Up;
        if (is_of_node(live, a, node) && a.state == Hb_Entity_Up && !is_up_there) {
            stale.members.push_back(a.number);
            ++stale.count;
        }
    }
    std::sort(stale.members.begin(), stale.members.end());
    stale.members.erase(std::unique(stale.members.begin(), stale.members.end()), stale.members.end());
    return stale;
}

// Adapters of one node are found by number where each number occurs once, and by a walk elsewhere.
void compare_adapters_of_nodes(Plain_Table before, const Plain_Table &after) {
    const Live_Table live(before);
    Table next(after);
    for (int node = -1; node < 40; ++node) {
        SCOPED_TRACE(node);
        Slot stale;
        const int count = MOX_add_stale_adapters_of_node(*next.get(), node, stale.out());
        const Missing expected = node < 0 ? Missing() : stale_by_scan(before, after, node);
        EXPECT_EQ(expected.members, stale.adapters());
        EXPECT_EQ(expected.count, count);
        MOX_mark_adapters_of_node_down(node, Slot().out());
        for (std::size_t i = 0; i < before.adapters.size(); ++i) {
            Plain_Adapter &adapter = before.adapters[i];
            if (node >= 0 && is_of_node(before, adapter, node) && adapter.state == Hb_Entity_Up) {
                adapter.state = Hb_Entity_Down;
            }
            ASSERT_EQ(adapter.state, global_config_tbl.Hb_global_adapter_list[i].Hb_state) << i;
        }
    }
}

TEST_P(RandomTables, AdaptersOfANodeAreThoseOfAWalk) {
    Generator generator(GetParam() + 4);
    for (int pair = 0; pair < 10 && !testing::Test::HasFailure(); ++pair) {
        SCOPED_TRACE(pair);
        const Plain_Table some = generator.table(60);
        compare_adapters_of_nodes(some, generator.changed(some, 60));
        Plain_Table whole = generator.cluster(1 + generator.pick(3));
        whole.adapters_per_node = generator.pick(2) == 0 ? 48 : 4;
        Plain_Table distinct = whole;
        std::reverse(distinct.adapters.begin(), distinct.adapters.end());
        compare_adapters_of_nodes(distinct, generator.changed(distinct, 60));
        compare_adapters_of_nodes(whole, generator.shuffled(distinct));
        compare_adapters_of_nodes(generator.alike(whole), generator.alike(whole));
    }
}

std::vector<const Hb_Adapter_Entry *> partners(const MOX_Adapter_Index &index,
                                               const Hb_Configuration_Internal &from) {
    std::vector<const Hb_Adapter_Entry *> found;
    index.visit_pairs(from, [&found](const Hb_Adapter_Entry &, const Hb_Adapter_Entry *partner) {
        found.push_back(partner);
        return true;
    });
    return found;
}

TEST_P(RandomTables, WithoutMemoryForTheIndexTheSameAdaptersAreFound) {
    Generator generator(GetParam() + 3);
    for (int pair = 0; pair < 50; ++pair) {
        Table from(generator.table(400));
        Table in(generator.table(400));
        for (const MOX_Identity identity : {MOX_Identity::interface, MOX_Identity::interface_and_address}) {
            const auto expected = partners(MOX_Adapter_Index(*in.get(), identity), *from.get());
            for (int skip = 0; skip < 2; ++skip) {
                const Fault_Guard fault = failing(Call::allocation, ENOMEM, skip);
                const MOX_Adapter_Index index(*in.get(), identity);
                ASSERT_EQ(fault.hits(), 1);
                ASSERT_EQ(partners(index, *from.get()), expected) << pair;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomTables, testing::Values(7U, 70U, 700U, 7000U));

} // namespace
} // namespace hb_test
