// SPDX-License-Identifier: Apache-2.0
#include "tests/system/readers.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace hb_test {

std::unique_ptr<Child_Process> start_reader(const Programs &programs, const Daemon &daemon,
                                            const std::vector<std::string> &words) {
    std::vector<std::string> line{programs.path("segment_reader")};
    line.insert(line.end(), words.begin(), words.end());
    return std::make_unique<Child_Process>(
        line, Child_Process::Environment{
                  {"HB_SERVER_SOCKET", daemon.socket()}, {"HA_DOMAIN_NAME", ""}, {"HA_SYSPAR_NAME", ""}});
}

void Readers::start(const Setup &setup, const Daemon &daemon, const std::string &what) {
    for (const Programs &programs : setup.clients) {
        processes_.push_back(start_reader(programs, daemon, {what}));
        processes_.push_back(start_reader(programs, daemon, {what, "signals"}));
    }
    for (const auto &process : processes_) {
        EXPECT_TRUE(process->read_until("ready")) << process->error_output();
    }
}

void Readers::change_until_all_have_seen(int count, const std::function<void()> &change) {
    std::vector<int> seen(processes_.size());
    const Deadline deadline(std::chrono::seconds(300));
    while (std::any_of(seen.begin(), seen.end(), [&](int one) { return one < count; })) {
        ASSERT_FALSE(deadline.over()) << "seen by each: " << testing::PrintToString(seen);
        change();
        for (std::size_t i = 0; i < processes_.size(); ++i) {
            while (const auto line = processes_[i]->read_line(Deadline(std::chrono::milliseconds(0)))) {
                seen[i] += *line == "changed" ? 1 : 0;
            }
        }
    }
}

void Readers::end_well() {
    for (const auto &process : processes_) {
        process->close_input();
    }
    for (const auto &process : processes_) {
        std::string last;
        while (const std::optional<std::string> line = process->read_line()) {
            last = *line;
        }
        const std::optional<Child_End> end = process->wait();
        EXPECT_TRUE(end && end->signal == 0 && end->exit_status == 0);
        EXPECT_EQ(last, "torn 0 failed 0") << process->error_output();
    }
    processes_.clear();
}

} // namespace hb_test
