// SPDX-License-Identifier: Apache-2.0
// The order of fields and virtual operations in the classes that another transport would derive from.
#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "lib/vexo/Hb_Csock.h"
#include "lib/vexo/Hb_Select.h"

namespace hb_test {
namespace {

template <typename Object, typename Field> std::size_t offset_in(const Object &object, const Field &field) {
    return static_cast<std::size_t>(reinterpret_cast<const char *>(&field) -
                                    reinterpret_cast<const char *>(&object));
}

void expect_ascending(const std::vector<std::size_t> &offsets) {
    for (std::size_t i = 1; i < offsets.size(); ++i) {
        EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
    }
}

// A pointer to a virtual member function holds the function's offset in the table, in bytes, plus one.
template <typename Method> std::size_t slot_of(Method method) {
    std::uintptr_t words[2];
    static_assert(sizeof method == sizeof words);
    std::memcpy(words, &method, sizeof words);
    EXPECT_EQ(1U, words[0] % sizeof(void *)) << "it is not virtual";
    return (words[0] - 1) / sizeof(void *);
}

class Bare_Waits : public Hb_Select_Base {
  public:
    Hb_Rc wait() override { return Hb_Failure; }
};

TEST(ClassLayout, ADescriptorSetHas1024Bits) {
    EXPECT_EQ(128U, sizeof(fd_set));
    EXPECT_EQ(1024, FD_SETSIZE);
    const Bare_Waits waits;
    EXPECT_EQ(128U, sizeof waits.rd_fds);
    EXPECT_EQ(128U, sizeof waits.wr_fds);
    EXPECT_EQ(128U, sizeof waits.ex_fds);
}

TEST(ClassLayout, TheWaitSetsFieldsAreInOrder) {
    const Bare_Waits object;
    const Hb_Select_Base &waits = object;
    EXPECT_EQ(sizeof(void *), offset_in(waits, waits.myError));
    expect_ascending({
        offset_in(waits, waits.myError),
        offset_in(waits, waits.rd_fds),
        offset_in(waits, waits.wr_fds),
        offset_in(waits, waits.ex_fds),
        offset_in(waits, waits.rd_fds_ptr),
        offset_in(waits, waits.wr_fds_ptr),
        offset_in(waits, waits.ex_fds_ptr),
        offset_in(waits, waits.rd_count),
        offset_in(waits, waits.wr_count),
        offset_in(waits, waits.ex_count),
        offset_in(waits, waits.wait_time),
        offset_in(waits, waits.wait_time_ptr),
    });
}

TEST(ClassLayout, TheSystemsWaitSetAddsItsStatusBehind) {
    const Hb_Select waits;
    EXPECT_LT(offset_in(waits, waits.wait_time_ptr), offset_in(waits, waits.myError));
}

TEST(ClassLayout, TheConnectionsFieldsAreInOrder) {
    const Hb_Csock connection; // not connected: no path is set
    EXPECT_EQ(sizeof(void *), offset_in(connection, connection.Hb_Csock_Base::myError));
    expect_ascending({
        offset_in(connection, connection.Hb_Csock_Base::myError),
        offset_in(connection, connection.sock),
        offset_in(connection, connection.socket_eof),
        offset_in(connection, connection.socket_un),
        offset_in(connection, connection.myError),
    });
}

// The destructor occupies the first two entries.
TEST(ClassLayout, TheConnectionsVirtualOperationsAreInOrder) {
    EXPECT_EQ(2U, slot_of(&Hb_Csock_Base::Error));
    EXPECT_EQ(3U, slot_of(&Hb_Csock_Base::send));
    EXPECT_EQ(4U, slot_of(&Hb_Csock_Base::receive));
    EXPECT_EQ(5U, slot_of(&Hb_Csock_Base::socket));
}

TEST(ClassLayout, TheWaitSetsVirtualOperationsAreInOrder) {
    EXPECT_EQ(2U, slot_of(&Hb_Select_Base::Error));
    EXPECT_EQ(3U, slot_of(&Hb_Select_Base::rd_zero));
    EXPECT_EQ(4U, slot_of(&Hb_Select_Base::rd_clr));
    EXPECT_EQ(5U, slot_of(&Hb_Select_Base::rd_set));
    EXPECT_EQ(6U, slot_of(&Hb_Select_Base::rd_isset));
    EXPECT_EQ(7U, slot_of(&Hb_Select_Base::wr_zero));
    EXPECT_EQ(8U, slot_of(&Hb_Select_Base::wr_clr));
    EXPECT_EQ(9U, slot_of(&Hb_Select_Base::wr_set));
    EXPECT_EQ(10U, slot_of(&Hb_Select_Base::wr_isset));
    EXPECT_EQ(11U, slot_of(&Hb_Select_Base::ex_zero));
    EXPECT_EQ(12U, slot_of(&Hb_Select_Base::ex_clr));
    EXPECT_EQ(13U, slot_of(&Hb_Select_Base::ex_set));
    EXPECT_EQ(14U, slot_of(&Hb_Select_Base::ex_isset));
    EXPECT_EQ(15U, slot_of(&Hb_Select_Base::wait));
}

} // namespace
} // namespace hb_test
