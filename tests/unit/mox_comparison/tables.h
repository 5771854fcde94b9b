// SPDX-License-Identifier: Apache-2.0
// Configuration tables made by hand, and the contents of events.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

namespace hb_test {

struct Plain_Adapter {
    unsigned number = 0;
    std::string name;
    std::array<unsigned char, 16> address{};
    int network = 0;
    Hb_Entity_State state = Hb_Entity_Up;
};

struct Plain_Node {
    int number = 0;
    Hb_Entity_State state = Hb_Entity_Up;
};

// A table as plain lists.
struct Plain_Table {
    int local_node = 1;
    int adapters_per_node = 48;
    int networks = 48;
    std::vector<Plain_Node> nodes;
    std::vector<Plain_Adapter> adapters;
};

// ::ffff:10.0.0.N
std::array<unsigned char, 16> address(unsigned char last);

// The same in the library's form. The adapter count is that of the list, independent of the adapters of a node.
class Table {
  public:
    explicit Table(const Plain_Table &plain);
    Table(const Table &) = delete;
    Table &operator=(const Table &) = delete;
    ~Table();

    Hb_Configuration_Internal *get() { return &table_; }

  private:
    Hb_Configuration_Internal table_{};
};

// Makes it the live table until the destructor runs.
class Live_Table {
  public:
    explicit Live_Table(const Plain_Table &plain);
    Live_Table(const Live_Table &) = delete;
    Live_Table &operator=(const Live_Table &) = delete;
    ~Live_Table();
};

// A handler without a descriptor, for calls of the functions that all handlers have.
class Any_Handler : public ORBFSHandler {
  public:
    Any_Handler() : ORBFSHandler(nullptr, nullptr) {}
    Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Failure; }
};

// An output slot, with an event or without.
class Slot {
  public:
    Slot() = default;
    Slot(const Slot &) = delete;
    Slot &operator=(const Slot &) = delete;
    ~Slot() { delete event_; }

    MOX_Event **out() { return &event_; }
    MOX_Event *operator->() const { return event_; }
    bool is_empty() const { return event_ == nullptr; }

    const Hb_Adapter_Membership_Grp &adapter_group() const;
    const Hb_Node_Membership_Grp &node_group() const;
    std::vector<unsigned> adapters() const; // those with a 0 in the list; every other entry must be -1
    std::vector<int> nodes() const;

  private:
    MOX_Event *event_ = nullptr;
};

} // namespace hb_test
