// SPDX-License-Identifier: Apache-2.0
// hbctl report: what the archive contains, that no key is in it, and that neither a daemon nor a program holds it up.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/system/clusters.h"
#include "tests/system/daemon.h"

namespace hb_test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
namespace fs = std::filesystem;

std::string text_of(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

void write_text(const std::string &path, const std::string &text, mode_t mode = 0644) {
    std::ofstream(path, std::ios::binary) << text;
    ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

// The numbers of processes that a script of the test has written, one to a file.
bool runs(const std::string &pid_file) {
    const std::string pid = text_of(pid_file);
    return fs::exists("/proc/" + pid.substr(0, pid.find('\n'))) &&
           text_of("/proc/" + pid.substr(0, pid.find('\n')) + "/stat").find(") Z ") == std::string::npos;
}

std::vector<std::string> entries_of(const std::string &directory) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(directory)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

class Report : public testing::Test {
  protected:
    void SetUp() override {
        for (const char *name : {"tmp", "out", "bin", "unpacked"}) {
            fs::create_directory(here.file(name));
        }
        write_text(here.file("corosync.conf"), "totem {\n    version: 2\n}\n");
    }
    void TearDown() override {
        // Nothing but the archive is left, whatever happened.
        EXPECT_THAT(entries_of(here.file("tmp")), IsEmpty());
    }

    // A program of the engine that the report finds before the installed one.
    void fake(const std::string &program, const std::string &script) {
        write_text(here.file("bin/" + program), "#!/bin/sh\n" + script + "\n", 0755);
    }

    std::unique_ptr<Child_Process> start(const std::string &socket,
                                         const std::vector<std::string> &words = {}) {
        std::vector<std::string> line{"/bin/sh",
                                      "-c",
                                      "cd " + here.file("out") + " && " + first_commands + "exec env " +
                                          (ignored_signal.empty() ? "" : "--ignore-signal=" + ignored_signal) +
                                          " \"$@\"",
                                      "sh",
                                      programs_of_this_build().path("hbctl"),
                                      "--socket",
                                      socket,
                                      "report"};
        line.insert(line.end(), words.begin(), words.end());
        auto process = std::make_unique<Child_Process>(
            line, Child_Process::Environment{{"TMPDIR", here.file("tmp")},
                                             {"PATH", here.file("bin") + ":" + std::getenv("PATH")},
                                             {"COROSYNC_MAIN_CONFIG_FILE", here.file("corosync.conf")}});
        process->close_input();
        return process;
    }

    // Runs it to its end, and returns the path of the archive.
    std::string run(const std::string &socket, const std::vector<std::string> &words = {}) {
        const auto process = start(socket, words);
        const std::optional<Child_End> end = process->wait();
        EXPECT_TRUE(end && end->exit_status == 0) << process->error_output();
        const std::string line = process->output();
        return here.file("out/" + line.substr(0, line.find(": ")));
    }

    // Unpacks the archive, and returns its files by their names below its one directory.
    std::map<std::string, std::string> unpack(const std::string &archive) {
        Child_Process tar({"tar", "--extract", "--file", archive, "--directory", here.file("unpacked")});
        const std::optional<Child_End> end = tar.wait();
        EXPECT_TRUE(end && end->exit_status == 0) << tar.error_output();
        const auto directories = entries_of(here.file("unpacked"));
        EXPECT_EQ(directories.size(), 1U);
        std::map<std::string, std::string> files;
        const std::string root = here.file("unpacked/" + (directories.empty() ? "" : directories.front()));
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            if (entry.is_regular_file()) {
                files[fs::relative(entry.path(), root)] = text_of(entry.path());
            }
        }
        return files;
    }

    Temp_Dir here;
    std::string ignored_signal; // by the caller: "HUP"
    std::string first_commands; // of the caller
    Daemon daemon{programs_of_this_build(), small_cluster_file() + "[security]\n"};
};

TEST_F(Report, HasStatesConfigurationVersionsAndSystem) {
    ASSERT_TRUE(daemon.start());
    auto files = unpack(run(daemon.socket()));
    EXPECT_THAT(files["hbctl/nodes.txt"], HasSubstr("10.1.0.1"));
    EXPECT_THAT(files["hbctl/nodes.json"], HasSubstr("\"node\":1"));
    EXPECT_THAT(files["hbctl/status.txt"], HasSubstr(daemon.socket()));
    EXPECT_THAT(files["hbctl/keys.txt"], HasSubstr("HMAC-SHA-256"));
    EXPECT_THAT(files["wispd/state.json"], HasSubstr("\"version\""));
    EXPECT_THAT(files["wispd/configuration.toml"], HasSubstr("local_node = 1"));
    EXPECT_THAT(files["wispd/process.txt"], HasSubstr("process " + std::to_string(daemon.pid()) + ": "));
    EXPECT_THAT(files["system/hbctl-version.txt"], StartsWith("hbctl "));
    EXPECT_THAT(files["system/wispd-version.txt"], StartsWith("wispd "));
    EXPECT_THAT(files["system/library.txt"], HasSubstr("libhb_client.so"));
    EXPECT_THAT(files["system/permissions.txt"], HasSubstr(" " + daemon.control() + "\n"));
    EXPECT_THAT(files["system/ipcs.txt"], HasSubstr("Shared Memory"));
    EXPECT_THAT(files["system/environment.txt"], HasSubstr("HB_SERVER_SOCKET=" + daemon.socket() + "\n"));
    EXPECT_THAT(files["system/environment.txt"], Not(HasSubstr("PATH")));
    EXPECT_THAT(files["engine/corosync.conf"], HasSubstr("version: 2"));
    EXPECT_THAT(files["summary.txt"], HasSubstr("hbctl/nodes.json: "));
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, IsForItsOwnerAndSafeToUnpack) {
    ASSERT_TRUE(daemon.start());
    const std::string archive = run(daemon.socket());
    EXPECT_THAT(fs::path(archive).filename().string(),
                testing::MatchesRegex("hb-report-.+-[0-9]+T[0-9]+Z.tar.gz"));
    struct stat state {};
    ASSERT_EQ(stat(archive.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 07777U, 0600U);
    Child_Process list({"tar", "--list", "--file", archive});
    list.wait();
    std::istringstream names(list.output());
    int count = 0;
    for (std::string name; std::getline(names, name); ++count) {
        EXPECT_THAT(name, StartsWith("hb-report-"));
        EXPECT_THAT(name, Not(HasSubstr("..")));
    }
    EXPECT_GT(count, 20);
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, IsWrittenWhereTheUserWantsAndReplacesNoFile) {
    ASSERT_TRUE(daemon.start());
    const std::string file = here.file("out/mine.tar.gz");
    EXPECT_EQ(run(daemon.socket(), {"--output", "mine.tar.gz"}), file);
    const std::string before = text_of(file);
    const auto again = start(daemon.socket(), {"--output", "mine.tar.gz"});
    const std::optional<Child_End> end = again->wait();
    EXPECT_TRUE(end && end->exit_status == 1);
    EXPECT_EQ(again->error_output(), "hbctl: mine.tar.gz exists already; name another file with --output\n");
    EXPECT_EQ(text_of(file), before);
    EXPECT_EQ(entries_of(here.file("out")).size(), 1U);
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, SaysInJsonHowManyPartsFailed) {
    const auto process = start(here.file("nowhere"), {"--json", "--timeout", "5"});
    process->wait();
    EXPECT_THAT(process->output(),
                testing::ContainsRegex("\"file\":\"hb-report-.*\",\"parts\":[0-9]+,\"failed\":[1-9]"));
}

// ---- Keys ----

// The keys in the segments of the daemon, each in its marshalled form.
std::vector<std::string> published_keys(const Daemon &daemon) {
    constexpr std::size_t length_offset = 12;
    constexpr std::size_t key_offset = 16;
    std::vector<std::string> keys;
    const Ipc_Ids ids = daemon.ipc_ids();
    for (std::size_t i = 0; i < 3; ++i) {
        shmid_ds segment{};
        void *address = shmat(ids.at(i), nullptr, SHM_RDONLY);
        if (shmctl(ids.at(i), IPC_STAT, &segment) != 0 || address == reinterpret_cast<void *>(-1)) {
            ADD_FAILURE() << "cannot read segment " << ids.at(i);
            continue;
        }
        const std::string bytes(static_cast<const char *>(address), segment.shm_segsz);
        shmdt(address);
        for (std::size_t at = bytes.find("QZTK"); at != std::string::npos; at = bytes.find("QZTK", at + 1)) {
            const auto length = static_cast<unsigned char>(bytes[at + length_offset]);
            keys.push_back(bytes.substr(at + key_offset, length));
        }
    }
    return keys;
}

std::string hexadecimal(const std::string &bytes, const char *digits) {
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 0xF];
    }
    return text;
}

std::string base64_by_program(const Temp_Dir &here, const std::string &bytes) {
    write_text(here.file("key"), bytes);
    Child_Process program({"base64", "--wrap=0", here.file("key")});
    program.wait();
    std::string text = program.output();
    return text.substr(0, text.find('='));
}

TEST_F(Report, HasNoByteOfAnyKey) {
    ASSERT_TRUE(daemon.start());
    ASSERT_TRUE(daemon.tells(R"({"do":"rotate-key"})"));
    std::vector<std::string> keys = published_keys(daemon);
    ASSERT_EQ(keys.size(), 2U);
    ASSERT_EQ(keys.front().size(), 32U);
    // An administrator wrote these into the configuration files, and the engine repeats its own.
    const std::string in_configuration = "\x10\x21\x32\x43\x54\x65\x76\x87\x98\xa9\xba\xcb\xdc\xed\xfe\x0f";
    const std::string in_comment = "\x9a\x8b\x7c\x6d\x5e\x4f\x30\x21\x12\x03\xf4\xe5\xd6\xc7\xb8\xa9\x01\x02";
    const std::string of_engine = "open-sesame-of-the-engine";
    const std::string hex = "0123456789abcdef";
    const std::string hex_upper = "0123456789ABCDEF";
    daemon.write_configuration(small_cluster_file() + "[security]\nkey = \"" +
                               hexadecimal(in_configuration, hex.c_str()) + "\"\nkeys = [\n  \"" +
                               hexadecimal(in_configuration, hex_upper.c_str()) +
                               "\",\n]\n# old: " + base64_by_program(here, in_comment) + "==\n");
    write_text(here.file("corosync.conf"), "totem {\n    key: " + of_engine + "\n    token: 1234\n}\n");
    write_text(here.file("raw"), in_configuration + "\n" + in_comment + "\n" + of_engine + "\n");
    fake("corosync-cmapctl", "echo 'totem.key (str) = " + of_engine +
                                 "'; echo 'totem.token (u32) = 1234'; echo \"# " +
                                 hexadecimal(in_comment, hex_upper.c_str()) + "\"");
    fake("corosync-quorumtool",
         "cat " + here.file("raw") + "; echo " + base64_by_program(here, in_configuration));
    fake("corosync-cfgtool", "cat " + here.file("raw") + " >&2; exit 1");
    keys.insert(keys.end(), {in_configuration, in_comment, of_engine});

    const auto files = unpack(run(daemon.socket()));
    EXPECT_THAT(files.at("engine/cmap.txt"), HasSubstr("totem.token (u32) = 1234"));
    EXPECT_THAT(files.at("engine/corosync.conf"), HasSubstr("token: 1234"));
    EXPECT_THAT(files.at("wispd/configuration.toml"), HasSubstr("key = (removed)"));
    for (const std::string &key : keys) {
        for (const std::string &form : {key, hexadecimal(key, hex.c_str()), hexadecimal(key, hex_upper.c_str()),
                                        base64_by_program(here, key)}) {
            for (const auto &[name, text] : files) {
                EXPECT_EQ(text.find(form), std::string::npos) << name << " contains a key";
            }
        }
    }
    daemon.write_configuration(small_cluster_file());
    EXPECT_TRUE(daemon.stop());
}

// Another user's process could name any file of root's as its configuration or log.
TEST_F(Report, OpensNoFileThatAProcessOfAnotherUserNames) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can run wispd as another user";
    }
    constexpr uid_t other_user = 65534;
    const Temp_Dir theirs;
    write_text(theirs.file("cluster.toml"), small_cluster_file());
    ASSERT_EQ(chown(theirs.path().c_str(), other_user, other_user), 0);
    Child_Process wispd({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                         programs_of_this_build().path("wispd"), "--config", theirs.file("cluster.toml"),
                         "--socket", theirs.file("s"), "--foreground"});
    ASSERT_TRUE(wait_until([&] { return fs::exists(theirs.file("s.control")) || !wispd.running(); }));
    ASSERT_TRUE(wispd.running()) << wispd.error_output();
    auto files = unpack(run(theirs.file("s")));
    EXPECT_THAT(files["wispd/process.txt"], HasSubstr("--config " + theirs.file("cluster.toml")));
    EXPECT_THAT(files["hbctl/nodes.txt"], HasSubstr("10.1.0.1"));
    EXPECT_THAT(files["wispd/configuration.toml"], Not(HasSubstr("local_node = 1")));
    EXPECT_THAT(files["system/permissions.txt"], Not(HasSubstr(theirs.file("cluster.toml"))));
    wispd.send_signal(SIGTERM);
    EXPECT_TRUE(wispd.wait());
}

// A daemon in the background works in "/".
TEST_F(Report, StatesThatTheConfigurationHasARelativePath) {
    write_text(here.file("relative.toml"), small_cluster_file());
    const std::string socket = here.file("s");
    Child_Process starter({"/bin/sh", "-c", "cd \"$1\" && exec \"$2\" --config relative.toml --socket \"$3\"",
                           "sh", here.path(), programs_of_this_build().path("wispd"), socket});
    // It ends when the daemon in the background listens.
    ASSERT_TRUE(wait_until([&] { return !starter.running(); }));
    ASSERT_TRUE(fs::exists(socket)) << starter.error_output();
    auto files = unpack(run(socket));
    EXPECT_THAT(files["summary.txt"],
                HasSubstr("wispd/configuration.toml: 0 bytes, failed: wispd was started with the "
                          "relative path relative.toml and now works in another directory"));
    const std::string prefix = "process ";
    ASSERT_THAT(files["wispd/process.txt"], StartsWith(prefix));
    const pid_t wispd = std::stoi(files["wispd/process.txt"].substr(prefix.size()));
    ASSERT_EQ(kill(wispd, SIGTERM), 0);
    write_text(here.file("pid"), std::to_string(wispd) + "\n");
    EXPECT_TRUE(wait_until([&] { return !runs(here.file("pid")); }));
}

// ---- What holds it up ----

TEST_F(Report, IsWrittenInItsTimeWhileTheDaemonAndTheEngineDoNotAnswer) {
    ASSERT_TRUE(daemon.start());
    daemon.send_signal(SIGSTOP);
    fake("corosync-cmapctl", "echo begun; exec sleep 1000");
    const auto begin = std::chrono::steady_clock::now();
    auto files = unpack(run(daemon.socket(), {"--timeout", "5"}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    daemon.send_signal(SIGCONT);
    EXPECT_THAT(
        files["summary.txt"],
        HasSubstr("hbctl/status.txt: 0 bytes, failed: hbctl: wispd does not answer at " + daemon.socket()));
    EXPECT_THAT(files["summary.txt"],
                HasSubstr("wispd/state.json: 0 bytes, failed: wispctl: wispd does not answer"));
    EXPECT_THAT(files["summary.txt"], HasSubstr("engine/cmap.txt: 6 bytes, failed: no end within 5.3 s"));
    EXPECT_EQ(files["engine/cmap.txt"], "begun\n");
    EXPECT_THAT(files["wispd/configuration.toml"], HasSubstr("local_node = 1"));
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, CutsWhatHasNoEnd) {
    fake("corosync-quorumtool", "exec yes");
    auto files = unpack(run(here.file("nowhere"), {"--timeout", "30"}));
    EXPECT_EQ(files["engine/quorum.txt"].size(), 1024U * 1024U);
    EXPECT_THAT(files["summary.txt"], HasSubstr("engine/quorum.txt: 1048576 bytes, cut"));
    EXPECT_THAT(files["summary.txt"], HasSubstr("wispd/process.txt: 0 bytes, failed: no process listens at "));
}

TEST_F(Report, NeedsLittleStackForLongLines) {
#if defined(HB_ADDRESS_SANITIZER) || defined(HB_THREAD_SANITIZER)
    GTEST_SKIP() << "a sanitizer needs several times the stack";
#endif
    ASSERT_TRUE(daemon.start());
    std::string lines;
    for (std::size_t size = 400; size < 2100; size += 10) {
        lines += "unknown = \"" + std::string(size, 'x') + "\"\n" + "a." + std::string(size, 'y') + "\n";
    }
    daemon.write_configuration(small_cluster_file() + lines);
    write_text(here.file("corosync.conf"), "totem {\n" + lines + "}\n");
    first_commands = "ulimit -s 512; ";
    run(daemon.socket());
    daemon.write_configuration(small_cluster_file());
    EXPECT_TRUE(daemon.stop());
}

// A key across the cut would not be found.
TEST_F(Report, ACutLogBeginsWithAWholeLine) {
    ASSERT_TRUE(daemon.start());
    const std::string log = here.file("log");
    daemon.write_configuration(small_cluster_file() + "[daemon]\nlog_file = \"" + log + "\"\n");
    const std::string whole = "a whole line " + std::string(4U * 1024 * 1024 - 100, '.') + "\n";
    write_text(log, "key " + std::string(200, 'k') + "\n" + whole);
    auto files = unpack(run(daemon.socket()));
    EXPECT_THAT(files["summary.txt"], testing::ContainsRegex("wispd/log-file.txt: [0-9]+ bytes, cut"));
    EXPECT_TRUE(files["wispd/log-file.txt"].starts_with("a whole line "));
    daemon.write_configuration(small_cluster_file());
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, CutOutputEndsWithAWholeLine) {
    // The first mebibyte ends within the second line.
    fake("corosync-quorumtool", "echo whole; head -c 2000000 /dev/zero | tr '\\0' k; echo");
    // It is killed within its second line.
    fake("corosync-cmapctl", "echo whole; printf kkkkkkkk; exec sleep 1000");
    auto files = unpack(run(here.file("nowhere"), {"--timeout", "5"}));
    EXPECT_EQ(files["engine/quorum.txt"], "whole\n");
    EXPECT_THAT(files["summary.txt"], HasSubstr("engine/quorum.txt: 6 bytes, cut"));
    for (const auto &[name, text] : files) {
        EXPECT_THAT(text, Not(HasSubstr("kkkkkkkk"))) << name;
    }
}

TEST_F(Report, OneSignalEndsItAndLeavesNeitherFileNorProcess) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const std::string pid_file = here.file("pid");
        fs::remove(pid_file);
        fake("corosync-cmapctl",
             "sleep 1000 & echo $! >" + pid_file + ".new; mv " + pid_file + ".new " + pid_file + "; wait");
        const auto process = start(here.file("nowhere"), {"--timeout", "1000"});
        ASSERT_TRUE(wait_until([&] { return fs::exists(pid_file); }));
        process->send_signal(signal);
        const std::optional<Child_End> end = process->wait();
        ASSERT_TRUE(end);
        EXPECT_EQ(end->signal, signal);
        EXPECT_TRUE(wait_until([&] { return !runs(pid_file); }));
        EXPECT_THAT(entries_of(here.file("out")), IsEmpty());
    }
}

TEST_F(Report, ContinuesUnderNohup) {
    const std::string go_on = here.file("go-on");
    const std::string begun = here.file("begun");
    fake("corosync-cmapctl", "touch " + begun + "; until [ -e " + go_on + " ]; do sleep 0.05; done");
    ignored_signal = "HUP";
    const auto process = start(here.file("nowhere"), {"--timeout", "30", "--output", "it.tar.gz"});
    ASSERT_TRUE(wait_until([&] { return fs::exists(begun); }));
    process->send_signal(SIGHUP);
    write_text(go_on, "");
    const std::optional<Child_End> end = process->wait();
    EXPECT_TRUE(end && end->exit_status == 0) << process->error_output();
    EXPECT_TRUE(fs::exists(here.file("out/it.tar.gz")));
}

// A caller that ignores SIGCHLD hides how tar ended.
TEST_F(Report, AFailedArchiveIsAnErrorAlsoIfTheCallerIgnoresTheEndOfPrograms) {
    fake("tar", "echo the beginning; echo 'tar: no space' >&2; exit 2");
    ignored_signal = "CHLD";
    const auto process = start(here.file("nowhere"), {"--output", "it.tar.gz", "--timeout", "1"});
    const std::optional<Child_End> end = process->wait();
    EXPECT_TRUE(end && end->exit_status == 1);
    EXPECT_EQ(process->error_output(), "hbctl: cannot make the archive: tar: no space\n");
    EXPECT_THAT(entries_of(here.file("out")), IsEmpty());
}

TEST_F(Report, OneSignalEndsItWhileTheDaemonDoesNotAnswer) {
    ASSERT_TRUE(daemon.start());
    daemon.send_signal(SIGSTOP);
    const auto process = start(daemon.socket());
    ASSERT_TRUE(wait_until([&] { return !entries_of(here.file("tmp")).empty(); }));
    process->send_signal(SIGTERM);
    const std::optional<Child_End> end = process->wait(Deadline(std::chrono::seconds(5)));
    EXPECT_TRUE(end && end->signal == SIGTERM);
    EXPECT_THAT(entries_of(here.file("out")), IsEmpty());
    daemon.send_signal(SIGCONT);
    EXPECT_TRUE(daemon.stop());
}

TEST_F(Report, AFileThatCannotBeWrittenIsAnErrorInOneLine) {
    const auto process = start(here.file("nowhere"), {"--output", "no/such/directory.tar.gz"});
    const std::optional<Child_End> end = process->wait();
    EXPECT_TRUE(end && end->exit_status == 1);
    EXPECT_EQ(process->error_output(),
              "hbctl: cannot create no/such/directory.tar.gz: No such file or directory\n");
}

} // namespace
} // namespace hb_test
