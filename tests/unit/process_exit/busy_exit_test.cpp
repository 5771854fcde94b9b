// SPDX-License-Identifier: Apache-2.0
// While one thread is inside the library, exit() in another ends the process as if the first did not exist.
// HB_EXITS sets the number of exits in each mode.
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/fake_daemon.h"
#include "tests/support/isolated.h"
#include "tests/support/temp_dir.h"

namespace hb_test {
namespace {

constexpr std::chrono::seconds PATIENCE{500};

int exits() {
    const char *wanted = std::getenv("HB_EXITS");
    return wanted != nullptr ? std::atoi(wanted) : HB_EXITS_BY_DEFAULT;
}

// 2049 nodes on 48 networks.
Cluster_Facts full_size_cluster() {
    Cluster_Facts cluster;
    cluster.local_node = 0;
    cluster.max_nodes = 2049;
    cluster.adapters_per_node = 48;
    for (int network = 0; network < 48; ++network) {
        cluster.networks.push_back({"net" + std::to_string(network)});
    }
    for (unsigned node = 0; node < 2049; ++node) {
        for (unsigned network = 0; network < 48; ++network) {
            Adapter_Facts adapter;
            adapter.number = node * 48 + network;
            adapter.network = static_cast<int>(network);
            adapter.address = ipv4(10, network, node / 256, node % 256);
            cluster.adapters.push_back(adapter);
        }
    }
    return cluster;
}

Fake_Daemon_Plan of_full_size() {
    Fake_Daemon_Plan plan;
    plan.connections = {serve_configuration(snapshot(full_size_cluster()))};
    plan.segments = segments_for(2049, 98352);
    return plan;
}

void expect_clean_exits(const std::string &mode, const std::string &path = HB_BUSY_EXIT) {
    Child_Process program({path, mode, std::to_string(exits())});
    const auto end = program.wait(Deadline(PATIENCE));
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status) << "signal " << end->signal;
    EXPECT_EQ("0\n", program.output())
        << "of " << exits() << " ends these were bad; " << program.error_output();
}

ISOLATED_TEST(BusyExit, WhileAThreadQueriesAFullSizeClusterIsClean) {
    const Fake_Daemon daemon(of_full_size());
    expect_clean_exits("query");
}

ISOLATED_TEST(BusyExit, WhileAThreadWaitsForAnEventIsClean) {
    const Fake_Daemon daemon;
    expect_clean_exits("wait");
}

ISOLATED_TEST(BusyExit, WhileAThreadTakesClusterEventsIsClean) {
    const Fake_Daemon daemon; // the client leaves it for the service
    expect_clean_exits("dispatch");
}

ISOLATED_TEST(BusyExit, OfAProgramThatLoadedTheLibraryIsCleanInEveryMode) {
    for (const char *mode : {"query", "wait", "dispatch"}) {
        SCOPED_TRACE(mode);
        const Fake_Daemon daemon(mode == std::string("query") ? of_full_size() : Fake_Daemon_Plan());
        expect_clean_exits(mode, HB_BUSY_EXIT_LOADING);
    }
}

ISOLATED_TEST(BusyExit, OfAProgramThatALibraryOpenedBeforeMainIsClean) {
    {
        const Fake_Daemon daemon(of_full_size());
        expect_clean_exits("query", HB_BUSY_EXIT_OPENED);
    }
    const Fake_Daemon daemon;
    expect_clean_exits("wait", HB_BUSY_EXIT_OPENED);
}

#ifdef HB_SIMULATED_SERVICE
bool exists(const std::string &path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0;
}

ISOLATED_TEST(BusyExit, WhileAThreadQueriesAPreloadedServiceIsCleanAndRemovesItsSocket) {
    const Temp_Dir directory;
    std::ofstream(directory.file("cluster.toml")) << "[cluster]\nlocal_node = 0\nmax_nodes = 8\n"
                                                     "adapters_per_node = 1\n[[network]]\nnumber = 0\n"
                                                     "name = \"net\"\n[[node]]\nnumber = 0\n[[node.adapter]]\n"
                                                     "network = 0\naddress = \"10.0.0.1\"\n";
    for (int i = 0; i < exits(); ++i) {
        Child_Process program({HB_BUSY_EXIT, "service", std::to_string(i * 37 % 2000)},
                              {{"LD_PRELOAD", HB_SIMULATED_SERVICE},
                               {"HB_SERVER_SOCKET", directory.file("no_daemon")},
                               {"HB_MOX_SIM_CONFIG", directory.file("cluster.toml")},
                               {"HB_MOX_SIM_CONTROL", directory.file("c")}});
        const auto end = program.wait();
        ASSERT_TRUE(end) << i;
        ASSERT_EQ(0, end->exit_status)
            << "exit " << i << ", signal " << end->signal << ": " << program.error_output();
        ASSERT_FALSE(exists(directory.file("c"))) << "the control socket is removed";
    }
}
#endif

} // namespace
} // namespace hb_test
