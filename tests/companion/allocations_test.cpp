// SPDX-License-Identifier: Apache-2.0
// An event source allocates nothing for an event. The library itself allocates for each record that it receives, so the
// same events are read through the C interface for comparison.
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <type_traits>

#include "tests/companion/cluster.h"

namespace {

std::atomic<std::size_t> allocations = 0;

void *allocate(std::size_t size) noexcept {
    ++allocations;
    return std::malloc(size != 0 ? size : 1);
}

void *allocate_or_throw(std::size_t size) {
    void *const memory = allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

// All forms: a sanitizer brings its own for those that are not replaced, and they do not fit these.
void *operator new(std::size_t size) {
    return allocate_or_throw(size);
}
void *operator new[](std::size_t size) {
    return allocate_or_throw(size);
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    return allocate(size);
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete[](void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void *memory, const std::nothrow_t &) noexcept {
    std::free(memory);
}
void operator delete[](void *memory, const std::nothrow_t &) noexcept {
    std::free(memory);
}

namespace hb_test {
namespace {

template <class Action> std::size_t allocations_of(const Action &action) {
    const std::size_t before = allocations;
    action();
    return allocations - before;
}

// Returns how many nodes or adapters the event has, plus the length of the subscription's name.
template <class Event> std::size_t members_of(const Event &event) {
    if constexpr (std::is_base_of_v<hb::events::of_nodes, Event>) {
        return event.nodes().count() + event.subscription().size();
    } else if constexpr (std::is_base_of_v<hb::events::of_adapters, Event>) {
        return event.adapters().count() + event.subscription().size();
    } else {
        return 1000; // another event than the expected ones
    }
}

class CompanionAllocations : public SmallCluster {
  protected:
    void SetUp() override {
        SmallCluster::SetUp();
        opened = hb::session::open();
        ASSERT_TRUE(opened) << opened.error().text();
        ASSERT_TRUE(opened->subscribe("a", *hb::subscription::all_adapters(*opened),
                                      hb::event_mask::death | hb::event_mask::join));
        ASSERT_TRUE(opened->subscribe("n", *hb::subscription::all_nodes(*opened),
                                      hb::event_mask::death | hb::event_mask::join));
        ASSERT_TRUE(opened->state_of_adapter(2)) << "by now the daemon has read the subscriptions";
        source = hb::event_source::open(*opened);
        ASSERT_TRUE(source);
    }

    // Lets node 3 die and join: four events.
    void cause_events() {
        ASSERT_TRUE(daemon.tells(R"({"do":"node-down","node":3})"));
        ASSERT_TRUE(daemon.tells(R"({"do":"node-up","node":3})"));
    }

    // Read the four events, and return how many members they have.
    std::size_t read_with_companion() {
        std::size_t members = 0;
        for (int i = 0; i < 4; ++i) {
            const hb::result<hb::event> event = source->wait();
            members += event ? std::visit([](const auto &found) { return members_of(found); }, *event) : 1000;
        }
        return members;
    }
    std::size_t read_with_c_interface() {
        std::size_t members = 0;
        for (int i = 0; i < 4; ++i) {
            int kind = 0;
            Hb_Name name;
            unsigned long sequence = 0;
            int descriptors[2] = {source->descriptors()[0], -1};
            if (hb_get_event_message(descriptors, nullptr, &kind, name, record.get(), &sequence) !=
                Hb_Success) {
                return 0;
            }
            ++members; // the length of the name
            Hb_Node_Number node;
            Hb_Adapter_Identifier adapter;
            for (Hb_Rc rc = hb_get_first_node(record.get(), &node); rc == Hb_Success;
                 rc = hb_get_next_node(record.get(), &node)) {
                ++members;
            }
            for (Hb_Rc rc = hb_get_first_adapter(record.get(), &adapter); rc == Hb_Success;
                 rc = hb_get_next_adapter(record.get(), &adapter)) {
                ++members;
            }
        }
        return members;
    }

    hb::result<hb::session> opened = hb::error(HB_ERROR_NOT_OPEN);
    hb::result<hb::event_source> source = hb::error(HB_ERROR_NOT_OPEN);
    std::unique_ptr<Hb_Group> record = std::make_unique<Hb_Group>();
};

TEST_F(CompanionAllocations, AreNoneForAnEvent) {
    std::size_t members = 0;
    cause_events();
    const std::size_t by_library = allocations_of([&] { members = read_with_c_interface(); });
    EXPECT_EQ(10U, members);
    for (int round = 0; round < 5; ++round) {
        cause_events();
        EXPECT_EQ(by_library, allocations_of([&] { members = read_with_companion(); })) << "round " << round;
        EXPECT_EQ(10U, members);
    }
}

TEST_F(CompanionAllocations, AreNoneForQueriesAndRanges) {
    std::size_t found = 0;
    EXPECT_EQ(0U, allocations_of([&] {
                  for (const hb::node_number node : opened->nodes()) {
                      for (const hb::adapter_number adapter : opened->adapters_of_node(node)) {
                          found += opened->type_of_adapter(adapter)->view().size() +
                                   opened->address_of_adapter(adapter)->is_v4();
                      }
                  }
                  found += opened->name_of_network(0)->view().size();
                  found += hb::subscription::all_nodes(*opened)->node_members().count();
              }));
    EXPECT_EQ(7U * 4 + 6 + 5 + 4, found);
}

TEST_F(CompanionAllocations, AreNoneForAReport) {
    hb::watcher watcher = hb::watcher::open().value();
    int deaths_and_joins = 0;
    bool is_current = false;
    while (!is_current) {
        const auto report = watcher.wait(GENEROUS);
        ASSERT_TRUE(report && report->has_value());
        is_current = std::holds_alternative<hb::reports::current>(**report);
    }
    cause_events();
    EXPECT_EQ(0U, allocations_of([&] {
                  while (deaths_and_joins < 6) { // of two adapters and a node
                      const auto report = watcher.wait(GENEROUS);
                      if (!report || !report->has_value()) {
                          return;
                      }
                      ++deaths_and_joins;
                  }
              }));
    EXPECT_EQ(6, deaths_and_joins);
}

TEST_F(CompanionAllocations, AreCountedHere) {
    EXPECT_GE(allocations_of([&] { ASSERT_TRUE(hb::event_source::open(*opened)); }), 3U);
}

} // namespace
} // namespace hb_test
