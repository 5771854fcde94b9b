// SPDX-License-Identifier: Apache-2.0
// The registry of handlers by descriptor, and the dispatch to a ready handler.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <sstream>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/base/error_number.h"
#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "tests/support/isolated.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/tables/trace_spy.h"

namespace hb_test {
namespace {

constexpr unsigned ERRORS = 0;

// A handler with any descriptor, which its destructor does not close.
class Fake : public ORBFSHandler {
  public:
    explicit Fake(int fd, const char *name = nullptr) : ORBFSHandler(nullptr, const_cast<char *>(name)) {
        orbfs_fd = fd;
        selfRegister();
    }
    ~Fake() override {
        selfUnregister();
        orbfs_fd = -1;
    }
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *length) override {
        ++calls;
        EXPECT_EQ(expected_events, events);
        EXPECT_EQ(expected_name, name);
        EXPECT_EQ(nullptr, group);
        EXPECT_EQ(expected_length, length);
        return result;
    }

    int calls = 0;
    Hb_Rc result = Hb_Success;
    static inline int *expected_events = nullptr;
    static inline char *expected_name = nullptr;
    static inline unsigned long *expected_length = nullptr;
};

std::vector<int> descriptors() {
    int *list = ORBFSHandler::getFileDescriptors();
    std::vector<int> all;
    for (int *fd = list;; ++fd) {
        all.push_back(*fd);
        if (*fd == -1) {
            break;
        }
    }
    delete[] list;
    return all;
}

ISOLATED_TEST(Registry, GivesMinusOneAloneBeforeAnybodyRegistered) {
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances);
    EXPECT_EQ(std::vector<int>{-1}, descriptors());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(Registry, AGapIsLeftWhereOneUnregistered) {
    const Fake five(5);
    auto six = std::make_unique<Fake>(6);
    const Fake seven(7);
    EXPECT_EQ((std::vector<int>{5, 6, 7, -1}), descriptors());
    six.reset();
    EXPECT_EQ((std::vector<int>{5, 7, -1}), descriptors());
    EXPECT_EQ(2, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(3, ORBFSHandler::currentSlots);
    EXPECT_EQ(10, ORBFSHandler::handlerListSlots);
    EXPECT_EQ(-1, ORBFSHandler::handlerInstances[1].fd);
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances[1].handler);
    // The gap is not reused.
    const Fake eight(8);
    EXPECT_EQ((std::vector<int>{5, 7, 8, -1}), descriptors());
    EXPECT_EQ(4, ORBFSHandler::currentSlots);
}

ISOLATED_TEST(Registry, GrowsByTenSlotsAtTheEleventhAndEveryFurtherTenth) {
    std::vector<std::unique_ptr<Fake>> all;
    std::vector<int> expected;
    for (int i = 0; i < 45; ++i) {
        all.push_back(std::make_unique<Fake>(100 + i));
        expected.push_back(100 + i);
        const int slots = i / 10 * 10 + 10;
        ASSERT_EQ(slots, ORBFSHandler::handlerListSlots);
        ASSERT_EQ(i + 1, ORBFSHandler::currentSlots);
        for (int slot = i + 1; slot < slots; ++slot) {
            ASSERT_EQ(nullptr, ORBFSHandler::handlerInstances[slot].handler) << slot;
        }
    }
    expected.push_back(-1);
    EXPECT_EQ(expected, descriptors());
    all.clear();
    EXPECT_EQ(std::vector<int>{-1}, descriptors());
    EXPECT_EQ(45, ORBFSHandler::currentSlots);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(Registry, EveryListIsItsOwn) {
    const Fake five(5);
    int *one = ORBFSHandler::getFileDescriptors();
    int *other = ORBFSHandler::getFileDescriptors();
    EXPECT_NE(one, other);
    one[0] = 99;
    EXPECT_EQ(5, other[0]);
    delete[] one;
    delete[] other;
}

ISOLATED_TEST(Registry, AHandlerWithoutADescriptorIsTracedAndNotRegistered) {
    const Trace_Spy spy(1, 0, 0);
    {
        const Fake nameless(-1);
        const Fake named(-1, "monitor");
        EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances);
    }
    ASSERT_EQ(2U, spy.records().size());
    EXPECT_EQ(std::vector<uint32_t>{0xFFFFFFFF}, spy.records()[0].values);
    ASSERT_EQ(2U, spy.records()[1].data.size());
    EXPECT_EQ(std::string("monitor", 8), spy.records()[1].data[0]);
    EXPECT_EQ(std::string("\xFF\xFF\xFF\xFF", 4), spy.records()[1].data[1]);
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

// Unregisters and closes in the base's destructor, as handlers of the library do.
class Closing : public ORBFSHandler {
  public:
    explicit Closing(int fd) : ORBFSHandler(nullptr, nullptr) {
        orbfs_fd = fd;
        selfRegister();
    }
    Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override {
        ++calls;
        return Hb_Success;
    }
    int calls = 0;
};

ISOLATED_TEST(Registry, OfTwoWithOneDescriptorTheOneThatStaysIsCalled) {
    for (const bool first_goes : {true, false}) {
        const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        ASSERT_LE(0, fd);
        auto first = std::make_unique<Closing>(fd);
        auto second = std::make_unique<Closing>(fd);
        (first_goes ? first : second).reset();
        const Closing &left = first_goes ? *second : *first;
        EXPECT_EQ((std::vector<int>{fd, -1}), descriptors());
        int ready[] = {fd, -1};
        Hb_Rc rc = -5;
        ORBFSHandler::dispatch(ready, nullptr, nullptr, nullptr, nullptr, &rc);
        EXPECT_EQ(Hb_Success, rc);
        EXPECT_EQ(1, left.calls);
        first.reset();
        second.reset();
        rc = -5;
        ORBFSHandler::dispatch(ready, nullptr, nullptr, nullptr, nullptr, &rc);
        EXPECT_EQ(Hb_Failure, rc);
        EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    }
}

ISOLATED_TEST(Registry, UnregisteringFreesTheFirstSlotOfTheDescriptorWhosesoeverItIs) {
    Fake first(5);
    Fake second(5);
    second.selfUnregister();
    EXPECT_EQ(-1, ORBFSHandler::handlerInstances[0].fd);
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances[0].handler);
    EXPECT_EQ(5, ORBFSHandler::handlerInstances[1].fd);
    EXPECT_EQ(&second, ORBFSHandler::handlerInstances[1].handler);
    EXPECT_EQ(1, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(Registry, AHandlerThatWasRegisteredTwiceLeavesNoSlotBehind) {
    {
        const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        ASSERT_LE(0, fd);
        Closing twice(fd);
        twice.selfRegister();
        EXPECT_EQ(2, ORBFSHandler::getNumbersOfFileDescriptors());
    }
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances[0].handler);
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances[1].handler);
    EXPECT_EQ(-1, ORBFSHandler::handlerInstances[1].fd);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(Registry, UnregisteringTwiceIsSilent) {
    Fake five(5);
    five.selfUnregister();
    set_hb_errno(0);
    five.selfUnregister();
    EXPECT_EQ(0, hb_get_errno());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

ISOLATED_TEST(Registry, AMatchWithoutACountIsError82AndTheSlotIsFree) {
    Fake five(5);
    ORBFSHandler::numbersOfFileDescriptors = 0;
    const Trace_Spy spy(1, 0, 0);
    five.selfUnregister();
    EXPECT_EQ(82, hb_get_errno());
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances[0].handler);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ((std::vector<uint32_t>{82, 0}), spy.records()[0].values);
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

// ---- Dispatch ----

ISOLATED_TEST(Dispatch, CallsTheHandlerOfTheFirstThatHasOneOnce) {
    Fake five(5);
    Fake six(6);
    five.result = 42;
    int events = 0;
    char name[HB_NAME_SIZE] = {};
    unsigned long length = 0;
    Fake::expected_events = &events;
    Fake::expected_name = name;
    Fake::expected_length = &length;
    int ready[] = {9, 5, 6, -1};
    Hb_Rc rc = -5;
    ORBFSHandler::dispatch(ready, &events, name, nullptr, &length, &rc);
    EXPECT_EQ(42, rc);
    EXPECT_EQ(1, five.calls);
    EXPECT_EQ(0, six.calls);
}

ISOLATED_TEST(Dispatch, OfDescriptorsThatNobodyHasIsError81) {
    Fake five(5);
    int ready[] = {9, 8, -1};
    Hb_Rc rc = -5;
    const Trace_Spy spy(1, 0, 0);
    ORBFSHandler::dispatch(ready, nullptr, nullptr, nullptr, nullptr, &rc);
    EXPECT_EQ(Hb_Failure, rc);
    EXPECT_EQ(81, hb_get_errno());
    EXPECT_EQ(0, five.calls);
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(std::vector<uint32_t>{9}, spy.records()[0].values);
    EXPECT_EQ(ERRORS, spy.records()[0].category);
}

ISOLATED_TEST(Dispatch, BeforeAnybodyRegisteredIsError81) {
    int ready[] = {9, -1};
    Hb_Rc rc = -5;
    ORBFSHandler::dispatch(ready, nullptr, nullptr, nullptr, nullptr, &rc);
    EXPECT_EQ(Hb_Failure, rc);
    EXPECT_EQ(81, hb_get_errno());
}

ISOLATED_TEST(Dispatch, WithoutAListLeavesTheResultAlone) {
    set_hb_errno(0);
    Hb_Rc rc = -5;
    ORBFSHandler::dispatch(nullptr, nullptr, nullptr, nullptr, nullptr, &rc);
    EXPECT_EQ(-5, rc);
    EXPECT_EQ(0, hb_get_errno());
}

// ---- Construction ----

struct Monitor : ORBFSHandler {
    explicit Monitor(char *name) : ORBFSHandler(name) {}
    Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Success; }
};

ISOLATED_TEST(Construction, OfAMonitorThatCannotBeOpenedTellsSoAndIsInNoList) {
    char name[] = "node_liveness";
    const Trace_Spy spy(1, 0, 0);
    errno = ENODEV;
    const Monitor monitor(name);
    EXPECT_EQ(ENODEV, errno);
    EXPECT_EQ(-1, monitor.getFileDescriptor());
    EXPECT_EQ(-1, monitor.getMOXORBSOpenRCInConstructor());
    EXPECT_EQ(ENODEV, monitor.getOpenFileError());
    EXPECT_EQ(nullptr, monitor.orbfs_fname);
    EXPECT_EQ(std::vector<int>{-1}, descriptors());
    ASSERT_EQ(1U, spy.records().size());
    EXPECT_EQ(ERRORS, spy.records()[0].category);
    ASSERT_EQ(3U, spy.records()[0].data.size());
    EXPECT_EQ(std::string("node_liveness", 14), spy.records()[0].data[0]);
    EXPECT_EQ(std::string("\xFF\xFF\xFF\xFF", 4), spy.records()[0].data[1]);
    const int error = ENODEV;
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(&error), 4), spy.records()[0].data[2]);
}

TEST(Construction, WithoutAMonitorsNameAborts) {
    const Temp_Dir directory;
    const std::string errors = directory.file("errors");
    const Isolated_Result end = run_in_child([&errors] {
        ASSERT_NE(nullptr, std::freopen(errors.c_str(), "w", stderr));
        const Monitor monitor(nullptr);
    });
    EXPECT_EQ(SIGABRT, end.signal);
    std::stringstream said;
    said << std::ifstream(errors).rdbuf();
    EXPECT_THAT(said.str(), testing::ContainsRegex("lib/mox/handlers/MOX_ORBFSHandler:[0-9]+: "
                                                   "ORBFSHandler::ORBFSHandler\\(char\\*\\): "
                                                   "Assertion `__null != fname' failed"));
}

ISOLATED_TEST(Construction, OfOneThatGetsItsDescriptorItselfCopiesTheNameAndRegistersNothing) {
    struct Own : ORBFSHandler {
        explicit Own(char *name) : ORBFSHandler(nullptr, name) {}
        Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Success; }
    };
    char name[] = "pipe";
    const Own own(name);
    name[0] = 'P';
    EXPECT_STREQ("pipe", own.orbfs_fname);
    EXPECT_EQ(nullptr, ORBFSHandler::handlerInstances);
    const Own nameless(nullptr);
    EXPECT_EQ(nullptr, nameless.orbfs_fname);
}

ISOLATED_TEST(Destruction, ClosesTheDescriptor) {
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    struct Own : ORBFSHandler {
        explicit Own(int fd) : ORBFSHandler(nullptr, nullptr) {
            orbfs_fd = fd;
            selfRegister();
        }
        Hb_Rc handler(int *, char *, Hb_Group *, unsigned long *) override { return Hb_Success; }
    };
    {
        const Own own(fd);
        EXPECT_EQ((std::vector<int>{fd, -1}), descriptors());
    }
    EXPECT_EQ(std::vector<int>{-1}, descriptors());
    EXPECT_EQ(-1, fcntl(fd, F_GETFD));
    EXPECT_EQ(EBADF, errno);
}

} // namespace
} // namespace hb_test
