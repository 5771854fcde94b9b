// A client leaves the daemon for the cluster service in the middle of a storm, and a model knows every event that has
// to arrive: each death is of one that was up, each repair of one that was down, and in the end the client's picture,
// made of nothing but what it was told, is the cluster.
#include <csignal>
#include <fstream>
#include <memory>
#include <random>
#include <set>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"
#include "tests/system/service_client.h"
#include "tests/system/stream.h"

namespace hb_test {
namespace {

using nlohmann::json;

constexpr int COMMANDS = 200;

// Nodes 1 to 6, with two adapters each, numbered alike by the daemon and by the service.
std::string cluster_file() {
    std::string file = R"([cluster]
local_node = 1
max_nodes = 8
adapters_per_node = 48
[daemon]
shutdown_delay_seconds = 0.2
[[network]]
number = 0
name = "a"
[[network]]
number = 1
name = "b"
)";
    for (const char *node : {"1", "2", "3", "4", "5", "6"}) {
        file += std::string("[[node]]\nnumber = ") + node;
        for (const char *network : {"0", "1"}) {
            file += std::string("\n[[node.adapter]]\nnetwork = ") + network + "\naddress = \"10." + network +
                    ".0." + node + "\"\ntype = \"eth" + network + "\"\n";
        }
    }
    return file;
}

int node_of(unsigned adapter) {
    return static_cast<int>(adapter / 48);
}

struct Cluster {
    std::set<int> nodes;
    std::set<unsigned> adapters;

    bool operator==(const Cluster &) const = default;
};

void PrintTo(const Cluster &cluster, std::ostream *out) {
    *out << "nodes";
    for (const int node : cluster.nodes) {
        *out << " " << node;
    }
    *out << " adapters";
    for (const unsigned adapter : cluster.adapters) {
        *out << " " << adapter;
    }
}

// What the client knows from the lines of its live view.
class Model {
  public:
    void take(const std::string &line) {
        SCOPED_TRACE(line);
        const json event = json::parse(line);
        const std::string kind = event["event"];
        if (kind == "migration") {
            EXPECT_NE("refused", event["step"]);
            moved_ = moved_ || event["step"] == "committed";
        } else if (kind == "new-group") {
            take_account(event);
        } else if (kind == "death") {
            take_deaths(event);
        } else if (kind == "join") {
            take_joins(event);
        } else if (kind == "configuration" && moved_ && !settled_) {
            // The two differed by what the client had not read of the daemon yet. The comparison tells that of the
            // adapters; that a node is up or down only follows from them.
            settled_ = true;
            follow_adapters();
            unsure_ = {2, 3, 4};
            may_follow_ = true;
            return;
        }
        may_follow_ = false;
    }

    bool has_moved() const { return settled_; }
    const Cluster &view() const { return view_; }

  private:
    static std::set<unsigned> adapters_of(const json &event) {
        std::set<unsigned> adapters;
        for (const json &adapter : event["adapters"]) {
            EXPECT_TRUE(adapters.insert(adapter["adapter"].get<unsigned>()).second);
        }
        return adapters;
    }

    // The first two tell who is up; those after the move are already what the service has by then.
    void take_account(const json &event) {
        if (moved_) {
            return;
        }
        for (const json &node : event["nodes"]) {
            view_.nodes.insert(node.get<int>());
        }
        view_.adapters.merge(adapters_of(event));
    }

    void take_deaths(const json &event) {
        for (const json &node : event["nodes"]) {
            const bool was_up = view_.nodes.erase(node.get<int>()) == 1;
            EXPECT_TRUE(unsure_.erase(node.get<int>()) == 1 || was_up) << "dies twice";
        }
        for (const unsigned adapter : adapters_of(event)) {
            EXPECT_EQ(1U, view_.adapters.erase(adapter)) << "dies twice";
        }
    }

    void take_joins(const json &event) {
        for (const json &node : event["nodes"]) {
            const bool was_down = view_.nodes.insert(node.get<int>()).second;
            const bool was_unsure = unsure_.erase(node.get<int>()) == 1;
            EXPECT_TRUE(was_unsure || was_down) << "comes up twice";
            if (was_unsure) {
                returned_.insert(node.get<int>());
            }
        }
        for (const unsigned adapter : adapters_of(event)) {
            const bool was_down = view_.adapters.insert(adapter).second;
            EXPECT_TRUE(was_down || returned_.contains(node_of(adapter))) << "comes up twice";
        }
        for (const unsigned adapter : adapters_of(event)) {
            returned_.erase(node_of(adapter));
        }
        if (may_follow_) {
            follow_adapters();
        }
    }

    void follow_adapters() {
        for (int node = 2; node <= 6; ++node) {
            bool up = false;
            for (const unsigned adapter : view_.adapters) {
                up = up || node_of(adapter) == node;
            }
            up ? static_cast<void>(view_.nodes.insert(node)) : static_cast<void>(view_.nodes.erase(node));
        }
    }

    Cluster view_;
    // The service is asked for its nodes and then for their adapters, and may change between: what a node's adapters
    // were told as at the move need not be what was taken for the node's state, until its next event.
    std::set<int> unsure_;
    std::set<int> returned_; // by that event, and their adapters are told with it
    bool moved_ = false;
    bool settled_ = false;
    bool may_follow_ = false;
};

// Tells both who know the cluster what happens to it, the service first: it is never behind the daemon.
class Storm {
  public:
    Storm(unsigned seed, Daemon &daemon, std::string service)
        : random_(seed), daemon_(daemon), service_(std::move(service)) {
        for (int node = 1; node <= 6; ++node) {
            truth_.nodes.insert(node);
            truth_.adapters.insert({static_cast<unsigned>(node) * 48, static_cast<unsigned>(node) * 48 + 1});
        }
    }

    // Nodes 2 to 4 die and return; of nodes 5 and 6 one adapter fails and is repaired.
    void step() {
        const int node = 2 + static_cast<int>(random_() % 5);
        const auto first = static_cast<unsigned>(node) * 48;
        const bool was_up = truth_.adapters.contains(first);
        const std::string what = node <= 4 ? "node" : "adapter";
        tell(R"({"do":")" + what + (was_up ? "-down" : "-up") + R"(",")" + what + R"(":)" +
             std::to_string(node <= 4 ? node : static_cast<int>(first)) + "}");
        change(truth_.adapters, first, !was_up);
        if (node <= 4) {
            change(truth_.adapters, first + 1, !was_up);
            change(truth_.nodes, node, !was_up);
        }
        if (random_() % 3 == 0) {
            std::this_thread::yield();
        }
    }

    const Cluster &truth() const { return truth_; }

  private:
    template <typename Number> static void change(std::set<Number> &members, Number member, bool up) {
        up ? static_cast<void>(members.insert(member)) : static_cast<void>(members.erase(member));
    }

    void tell(const std::string &command) {
        const Stream stream(service_);
        stream.send(command + "\n");
        EXPECT_EQ(R"({"ok":true})", stream.read_line()) << command;
        if (!daemon_has_gone_) {
            try {
                daemon_.tell(command);
            } catch (const std::exception &) {
                daemon_has_gone_ = true; // as the client asked it to
            }
        }
    }

    std::mt19937 random_;
    Daemon &daemon_;
    std::string service_;
    bool daemon_has_gone_ = false;
    Cluster truth_;
};

class Migration_Under_Load : public testing::TestWithParam<Setup> {
  protected:
    void run(unsigned seed);
};

void Migration_Under_Load::run(unsigned seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const Programs &programs = GetParam().clients.back();
    Daemon daemon(GetParam().daemon, cluster_file());
    ASSERT_TRUE(daemon.start());
    const TempDir directory;
    std::ofstream(directory.file("cluster.toml")) << cluster_file();
    ChildProcess::Environment environment = service_preloaded(programs);
    environment.insert(environment.end(), {{"HB_MOX_SIM_CONFIG", directory.file("cluster.toml")},
                                           {"HB_MOX_SIM_CONTROL", directory.file("service")}});
    const std::string after = std::to_string(2 + seed * 7 % 60);
    ChildProcess hbctl(
        {programs.path("hbctl"), "--socket", daemon.socket(), "watch", "--json", "--migrate-after", after},
        environment);
    Model model;
    for (int account = 0; account < 2; ++account) {
        const std::optional<std::string> line = hbctl.read_line();
        ASSERT_TRUE(line) << hbctl.error_output();
        model.take(*line);
    }

    Storm storm(seed, daemon, directory.file("service"));
    for (int command = 0; command < COMMANDS; ++command) {
        storm.step();
    }
    const Deadline deadline;
    while ((!model.has_moved() || !(model.view() == storm.truth())) && !deadline.over() &&
           !testing::Test::HasFailure()) {
        const std::optional<std::string> line = hbctl.read_line(deadline);
        if (!line) {
            break;
        }
        model.take(*line);
    }
    EXPECT_TRUE(model.has_moved());
    EXPECT_EQ(storm.truth(), model.view());

    // Whatever is still to come is told before the last thing that happens.
    for (int more = 0; more < 20; ++more) {
        storm.step();
    }
    while (!(model.view() == storm.truth()) && !deadline.over() && !testing::Test::HasFailure()) {
        const std::optional<std::string> line = hbctl.read_line(deadline);
        if (!line) {
            break;
        }
        model.take(*line);
    }
    EXPECT_EQ(storm.truth(), model.view());
    hbctl.send_signal(SIGTERM);
    const std::optional<ChildEnd> end = hbctl.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(0, end->exit_status);
    EXPECT_EQ("", hbctl.error_output());
    EXPECT_TRUE(daemon.wait_stopped());
}

TEST_P(Migration_Under_Load, EveryEventArrivesOnce) {
    for (const unsigned seed : {1U, 2U, 3U, 4U, 5U, 6U}) {
        run(seed);
    }
}

SYSTEM_TESTS(Migration_Under_Load);

} // namespace
} // namespace hb_test
