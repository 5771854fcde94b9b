// SPDX-License-Identifier: Apache-2.0
// Creates the handlers, and undoes the creation if one of them fails.
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/hb_global_data/cluster_name.h"
#include "lib/mox/handlers/handler_creation.h"
#include "lib/mox/handlers/process_handlers.h"
#include "tests/support/faults.h"
#include "tests/support/isolated.h"
#include "tests/support/process_counters.h"
#include "tests/unit/cluster_events/cluster.h"
#include "tests/unit/mox_handlers/plain_service.h"

namespace {

int pipes_that_work = -1; // this many can be made, then none; -1: all

} // namespace

extern "C" {

int __real_pipe2(int *ends, int flags);
__attribute__((visibility("default"))) int __wrap_pipe2(int *ends, int flags);

int __wrap_pipe2(int *ends, int flags) {
    if (pipes_that_work == 0) {
        errno = EMFILE;
        return -1;
    }
    pipes_that_work -= pipes_that_work > 0 ? 1 : 0;
    return __real_pipe2(ends, flags);
}

} // extern "C"

namespace hb_test {
namespace {

using mox_sim::Operation;
using testing::ElementsAreArray;

void expect_nothing_there() {
    EXPECT_EQ(nullptr, adapter_event_handler_p);
    EXPECT_EQ(nullptr, event_pipe_handler_p);
    EXPECT_EQ(nullptr, node_liveness_handler_p);
    EXPECT_EQ(nullptr, node_list_handler_p);
    EXPECT_EQ(nullptr, peer_GS_liveness_handler_p);
    EXPECT_EQ(nullptr, new_group_event_handler_p);
    EXPECT_EQ(nullptr, ip_change_handler_p);
    EXPECT_EQ(nullptr, cluster_reconfig_handler_p);
    EXPECT_EQ(nullptr, site_config_handler_p);
    EXPECT_EQ(nullptr, orbfs_cluster_name);
    EXPECT_EQ(0, ORBFSHandler::getNumbersOfFileDescriptors());
}

std::vector<int> registered() {
    const std::unique_ptr<int[]> list(ORBFSHandler::getFileDescriptors());
    std::vector<int> all;
    for (int i = 0; list[static_cast<std::size_t>(i)] != -1; ++i) {
        all.push_back(list[static_cast<std::size_t>(i)]);
    }
    return all;
}

ISOLATED_TEST(Creation, RegistersTheNineInTheirOrder) {
    mox_sim::Simulated_Service service;
    fill_small_cluster(service);
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    const int expected[] = {
        adapter_event_handler_p->getFileDescriptor(),    event_pipe_handler_p->getFileDescriptor(),
        node_liveness_handler_p->getFileDescriptor(),    node_list_handler_p->getFileDescriptor(),
        peer_GS_liveness_handler_p->getFileDescriptor(), new_group_event_handler_p->getFileDescriptor(),
        ip_change_handler_p->getFileDescriptor(),        cluster_reconfig_handler_p->getFileDescriptor(),
        site_config_handler_p->getFileDescriptor()};
    EXPECT_THAT(registered(), ElementsAreArray(expected));
    MOX_delete_global_event_handlers();
    expect_nothing_there();
}

ISOLATED_TEST(Creation, ThePipesAreNotInheritedAndDoNotBlock) {
    mox_sim::Simulated_Service service;
    fill_small_cluster(service);
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    for (const ORBFSPipeHandler *handler : {event_pipe_handler_p, new_group_event_handler_p}) {
        for (const int fd : {handler->getFileDescriptor(), handler->getWriteFd()}) {
            EXPECT_NE(0, fcntl(fd, F_GETFD) & FD_CLOEXEC);
            EXPECT_NE(0, fcntl(fd, F_GETFL) & O_NONBLOCK);
        }
        const char byte = 'x';
        ASSERT_EQ(1, write(handler->getWriteFd(), &byte, 1));
        pollfd end = {handler->getFileDescriptor(), POLLIN, 0};
        EXPECT_EQ(1, poll(&end, 1, 0)) << "the two ends belong together";
    }
}

ISOLATED_TEST(Creation, AgainKeepsTheHandlersThatThereAre) {
    mox_sim::Simulated_Service service;
    fill_small_cluster(service);
    ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
    const std::vector<int> before = registered();
    const ORBFSHandler *adapter_handler = adapter_event_handler_p;
    EXPECT_EQ(Hb_Success, MOX_create_global_event_handlers());
    EXPECT_EQ(before, registered());
    EXPECT_EQ(adapter_handler, adapter_event_handler_p);
    EXPECT_EQ(7, service.monitors_opened());
}

ISOLATED_TEST(Creation, AMonitorWithoutADescriptorIsAFailure) {
    for (int works = 0; works < 7; ++works) {
        mox_sim::Simulated_Service service;
        fill_small_cluster(service);
        service.fail(Operation::open_monitor, 0, ENXIO, works); // success without a descriptor
        EXPECT_EQ(Hb_Failure, MOX_create_global_event_handlers());
        expect_nothing_there();
    }
}

ISOLATED_TEST(Creation, TheInternalHalfLeavesWhatItMade) {
    mox_sim::Simulated_Service service;
    fill_small_cluster(service);
    service.fail(Operation::open_monitor, -1, ENXIO, 2);
    EXPECT_EQ(Hb_Failure, MOX_create_global_event_handlers_internal());
    EXPECT_NE(nullptr, adapter_event_handler_p);
    EXPECT_NE(nullptr, event_pipe_handler_p);
    EXPECT_EQ(nullptr, site_config_handler_p);
    MOX_delete_global_event_handlers();
    expect_nothing_there();
}

ISOLATED_TEST(Creation, IsUndoneWhenEitherPipeCannotBeMade) {
    for (const int works : {0, 1}) {
        const int before = open_descriptors();
        const Plain_Service service("plain");
        pipes_that_work = works;
        errno = 0;
        EXPECT_EQ(Hb_Failure, MOX_create_global_event_handlers());
        EXPECT_EQ(EMFILE, errno);
        expect_nothing_there();
        EXPECT_EQ(before, open_descriptors());
    }
}

ISOLATED_TEST(Creation, IsUndoneAtEveryAllocationThatFails) {
    const int before = open_descriptors();
    int failures = 0;
    bool hit = true;
    for (int works = 0; hit && works < 200; ++works) {
        const Plain_Service service("plain");
        Hb_Rc result = Hb_Failure;
        {
            const Fault_Guard guard = failing(Call::allocation, ENOMEM, works);
            result = MOX_create_global_event_handlers();
            hit = guard.hits() > 0;
        }
        if (result == Hb_Success) {
            EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
            MOX_delete_global_event_handlers();
        } else {
            ++failures;
        }
        expect_nothing_there();
        EXPECT_EQ(before, open_descriptors());
    }
    EXPECT_FALSE(hit);
    // Nine handlers, the registry of the first, and the cluster's name.
    EXPECT_GE(failures, 10);
}

ISOLATED_TEST(Creation, AClusterWithoutANameStaysTheDefaultOne) {
    for (const char *name : {static_cast<const char *>(nullptr), ""}) {
        const Plain_Service service(name);
        EXPECT_EQ(Hb_Success, MOX_create_global_event_handlers());
        EXPECT_EQ(nullptr, orbfs_cluster_name);
        EXPECT_EQ(9, ORBFSHandler::getNumbersOfFileDescriptors());
        MOX_delete_global_event_handlers();
    }
}

ISOLATED_TEST(Creation, AThousandTimesLeavesNothingBehind) {
    const Plain_Service service("plain");
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
        MOX_delete_global_event_handlers();
    }
    const int descriptors = open_descriptors();
    const int slots = ORBFSHandler::currentSlots;
    const std::size_t bytes = allocated_bytes();
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(Hb_Success, MOX_create_global_event_handlers());
        MOX_delete_global_event_handlers();
    }
    EXPECT_EQ(descriptors, open_descriptors());
    // The registry keeps a slot for each handler that ever existed.
    EXPECT_EQ(slots + 9000, ORBFSHandler::currentSlots);
    EXPECT_LT(allocated_bytes(), bytes + 9000 * sizeof(FDHandlerArray) + 4000);
}

} // namespace
} // namespace hb_test
