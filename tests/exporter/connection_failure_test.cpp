// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exporter/connection_failure.h"
#include "hb_error.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace exporter {
namespace {

using hb_test::Temp_Dir;
using hb_test::Unique_Fd;
using testing::HasSubstr;
using testing::Not;

std::string failure(const std::string &path) {
    return connection_failure(path, HB_ERROR_CONNECT_FAILED);
}

// Permissions do not restrict root, so a child asks as the user nobody.
std::string failure_of_nobody(const std::string &path) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t nobody = 65534;
        if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) {
            _exit(1);
        }
        const std::string line = failure(path);
        _exit(write(ends[1], line.data(), line.size()) == static_cast<ssize_t>(line.size()) ? 0 : 1);
    }
    close(ends[1]);
    const Unique_Fd reader(ends[0]);
    std::string text(4096, '\0');
    const ssize_t size = read(reader.get(), text.data(), text.size());
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return text;
}

int listen_at(const std::string &path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(listen(descriptor, 1), 0);
    return descriptor;
}

TEST(ConnectionFailure, NamesTheGroupThatGivesAccess) {
    const Temp_Dir directory;
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    const std::string path = directory.file("s");
    const Unique_Fd listener(listen_at(path));
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_EQ(failure_of_nobody(path), "permission denied for the daemon's socket " + path +
                                           ": set [daemon] group = \"wisp\" in wispd's configuration, and run "
                                           "hb_exporter in that group");
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    EXPECT_THAT(failure_of_nobody(path), Not(HasSubstr("permission denied")));
}

TEST(ConnectionFailure, NamesThePathAtWhichNoDaemonListens) {
    const Temp_Dir directory;
    const std::string path = directory.file("s");
    const std::string absent =
        "no heartbeat daemon listens at " + path + " (HB_SERVER_SOCKET or --socket changes the path)";
    EXPECT_EQ(failure(path), absent);
    close(listen_at(path)); // as after a crash
    EXPECT_EQ(failure(path), absent);
}

TEST(ConnectionFailure, HasTheTextAndTheNumberOfAnyOtherError) {
    EXPECT_EQ(connection_failure("/run/s", HB_ERROR_DISCONNECTED),
              std::string("cannot use the heartbeat daemon at /run/s: ") +
                  hb_error_text(HB_ERROR_DISCONNECTED) + " (error " + std::to_string(HB_ERROR_DISCONNECTED) +
                  ")");
    const std::string too_long(200, 'x');
    EXPECT_THAT(failure(too_long), HasSubstr("cannot use the heartbeat daemon at " + too_long));
}

} // namespace
} // namespace exporter
