// Rare cases of the daemon: removed networks, files of other kinds, incomplete settings, unreadable
// identifiers, newly made semaphores.
#include <cstring>
#include <fstream>
#include <functional>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "cluster/description/command.h"
#include "cluster/description/command_json.h"
#include "cluster/description/config_error.h"
#include "cluster/description/toml_reader.h"
#include "daemon/configuration_file.h"
#include "daemon/publisher/packets.h"
#include "daemon/publisher/shared_segments.h"
#include "host/socket_file.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/wispd/bytes_by_hand.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using wispd::Cluster;
using wispd::Configuration;
using wispd_test::adapter;
using wispd_test::field;
using wispd_test::join;
using wispd_test::three_nodes;
using wispd_test::zeros;

template <typename Error> std::string error_of(const std::function<void()> &action) {
    try {
        action();
    } catch (const Error &error) {
        return error.what();
    }
    return "it succeeded";
}

// ---- Networks in the snapshot ----

int32_t networks_in(const std::vector<char> &snapshot) {
    int32_t count = -1;
    std::memcpy(&count, snapshot.data() + 16, sizeof count);
    return count;
}

std::vector<char> last_bytes(const std::vector<char> &snapshot, std::size_t count) {
    return {snapshot.end() - static_cast<std::ptrdiff_t>(count), snapshot.end()};
}

const std::vector<char> NET_A = join(field("net_a", 70), field("ether", 16));
const std::vector<char> NET_B = join(field("net_b", 70), field("ether", 16));

// Without network 1 and the adapters on it.
Configuration one_network() {
    Configuration configuration = three_nodes();
    configuration.networks.pop_back();
    for (wispd::Configured_Node &node : configuration.nodes) {
        node.adapters.pop_back();
    }
    return configuration;
}

TEST(WispdNetworks, ThatGoLeaveAnEmptyEntryInTheNextSnapshot) {
    Cluster cluster(three_nodes());
    const auto before = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*before), 2);
    EXPECT_EQ(last_bytes(*before, 172), join(NET_A, NET_B));

    cluster.reconfigure(one_network());
    const auto after = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*after), 2) << "a client keeps what it held for a number that is not listed";
    EXPECT_EQ(last_bytes(*after, 172), join(NET_A, zeros(86)));
}

TEST(WispdNetworks, ThatGoFromTheFrontLeaveAnEmptyEntryToo) {
    Cluster cluster(three_nodes());
    Configuration configuration = three_nodes();
    configuration.networks.erase(configuration.networks.begin());
    for (wispd::Configured_Node &node : configuration.nodes) {
        node.adapters.erase(node.adapters.begin());
    }
    cluster.reconfigure(configuration);
    EXPECT_EQ(last_bytes(*wispd::encode_snapshot(cluster), 172), join(zeros(86), NET_B));
}

TEST(WispdNetworks, ThatComeBackTakeTheirEntryAgain) {
    Cluster cluster(three_nodes());
    cluster.reconfigure(one_network());
    cluster.reconfigure(one_network());
    EXPECT_EQ(last_bytes(*wispd::encode_snapshot(cluster), 172), join(NET_A, zeros(86)));
    cluster.reconfigure(three_nodes());
    const auto snapshot = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*snapshot), 2);
    EXPECT_EQ(last_bytes(*snapshot, 172), join(NET_A, NET_B));
}

TEST(WispdNetworks, BeyondTheSlotsOfANodeAreNotListed) {
    Cluster cluster(three_nodes());
    Configuration configuration = one_network();
    configuration.adapters_per_node = 1;
    cluster.reconfigure(configuration);
    const auto snapshot = wispd::encode_snapshot(cluster);
    EXPECT_EQ(networks_in(*snapshot), 1);
    EXPECT_EQ(last_bytes(*snapshot, 86), NET_A);
}

// ---- Files ----

TEST(WispdFiles, ADirectoryIsNamedAsOneThatCannotBeRead) {
    const hb_test::Temp_Dir directory;
    const std::string expected = directory.path() + ": cannot be read: Is a directory";
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_text_file(directory.path()); }), expected);
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_configuration_file(directory.path()); }),
              expected);
}

TEST(WispdFiles, AMissingOneIsNamedAsOneThatCannotBeOpened) {
    const hb_test::Temp_Dir directory;
    const std::string path = directory.file("none.toml");
    EXPECT_EQ(error_of<wispd::Config_Error>([&] { wispd::read_text_file(path); }),
              path + ": cannot be opened: No such file or directory");
}

TEST(WispdFiles, AreReadWholeWhateverIsInThem) {
    const hb_test::Temp_Dir directory;
    const std::string path = directory.file("text");
    for (const std::string &content :
         {std::string(), std::string("\n"), std::string("a\0b\r\n", 5), std::string(100000, 'x')}) {
        std::ofstream(path, std::ios::binary) << content;
        EXPECT_EQ(wispd::read_text_file(path), content);
    }
}

// ---- Heartbeat settings ----

void heartbeat(Cluster &cluster, const wispd::Arguments &arguments) {
    wispd::apply(wispd::make_command("heartbeat", arguments), cluster);
}

TEST(WispdHeartbeat, MicrosecondsAloneKeepTheSeconds) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_microseconds", int64_t{250000}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{5, 250000, true}));
}

TEST(WispdHeartbeat, SecondsAloneKeepTheMicroseconds) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_seconds", int64_t{9}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{9, 7, true}));
}

TEST(WispdHeartbeat, ZeroIsAValueLikeAnother) {
    Cluster cluster(three_nodes());
    heartbeat(cluster, {{"threshold_seconds", int64_t{5}}, {"threshold_microseconds", int64_t{7}}});
    heartbeat(cluster, {{"threshold_seconds", int64_t{0}}});
    EXPECT_EQ(cluster.heartbeat(), (wispd::Heartbeat{0, 7, true}));
}

// ---- Failure identifiers ----

std::string refusal_of_identifier(const std::string &id) {
    return error_of<wispd::Command_Error>([&id] { wispd::make_command("ffdc", {{"id", id}}); });
}

TEST(WispdFailureIdentifier, WithANonAsciiCharacterIsRefusedAndNamed) {
    for (const char *id : {"f\xC3\xA9hler", "caf\xE9", "\x80", "a\x7F"}) {
        EXPECT_EQ(refusal_of_identifier(id), "\"" + std::string(id) +
                                                 "\" is not a failure identifier; expected 1 to 42 printable "
                                                 "ASCII characters");
    }
}

TEST(WispdFailureIdentifier, WithAControlCharacterIsRefusedAndNamed) {
    for (const std::string &id : {std::string("a\nb"), std::string("\x01"), std::string("a\0b", 3)}) {
        EXPECT_EQ(refusal_of_identifier(id), "'id' must be text of 1 to 42 printable bytes");
    }
}

TEST(WispdFailureIdentifier, OnTheControlSocketIsRefusedAsWell) {
    const auto error = [](const char *line) {
        return error_of<wispd::Command_Error>([line] { wispd::parse_command_line(line); });
    };
    EXPECT_THAT(error(R"({"do":"ffdc","id":"f\u00e9hler"})"),
                StartsWith("\"f\xC3\xA9hler\" is not a failure identifier"));
    EXPECT_THAT(error(R"({"do":"ffdc","id":"a\tb"})"), HasSubstr("'id'"));
}

TEST(WispdFailureIdentifier, OfEveryPrintableCharacterIsTaken) {
    for (char character = 0x20; character < 0x7F; ++character) {
        const std::string id = std::string("x") + character;
        EXPECT_EQ(wispd::make_command("ffdc", {{"id", id}}).id, id);
    }
    const std::string longest(42, 'i');
    EXPECT_EQ(wispd::make_command("ffdc", {{"id", longest}}).id, longest);
    EXPECT_EQ(wispd::make_command("ffdc", {}).id, "") << "one is made then";
}

// ---- Semaphores ----

// A socket file whose keys are not in use.
class Fresh_Socket {
  public:
    Fresh_Socket() : path_(directory_.file("s")), file_(path_, {}) {
        while (in_use()) {
            held_.push_back(std::move(file_));
            held_.back().set_aside(path_ + std::to_string(held_.size()));
            file_ = wispd::Socket_File(path_, {});
        }
    }
    const std::string &path() const { return path_; }

  private:
    bool in_use() const {
        for (int project : {'g', 'h', 'p'}) {
            if (shmget(ftok(path_.c_str(), project), 0, 0) >= 0) {
                return true;
            }
        }
        return semget(ftok(path_.c_str(), 'i'), 0, 0) >= 0;
    }

    hb_test::Temp_Dir directory_;
    std::string path_;
    std::vector<wispd::Socket_File> held_;
    wispd::Socket_File file_;
};

TEST(WispdSemaphores, AreTwoAndZeroWhenTheyAreMade) {
    const Fresh_Socket socket;
    auto segments = wispd::Shared_Segments::create(wispd::keys_of(socket.path()), {});
    ASSERT_TRUE(segments.has_value());
    const int id = semget(ftok(socket.path().c_str(), 'i'), 2, 0);
    ASSERT_GE(id, 0);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0);
    EXPECT_EQ(semctl(id, 1, GETVAL), 0);
    EXPECT_EQ(semctl(id, 2, GETVAL), -1) << "there is no third";
    segments->publish(6);
    EXPECT_EQ(semctl(id, 0, GETVAL), 0);
    EXPECT_EQ(semctl(id, 1, GETVAL), 0) << "a reader may enter";
}

} // namespace
