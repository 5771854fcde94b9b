// SPDX-License-Identifier: Apache-2.0
// The example client of cluster-event mode, run as a child process with the simulated service loaded.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// The setting that makes a program of that build load this service, by default the simulated one.
Child_Process::Environment service_preloaded(const Programs &programs, const std::string &service = "sim");

class Service_Client {
  public:
    // Starts it with this cluster file. Additional files are written beside it first.
    Service_Client(const Programs &programs, const std::string &configuration,
                   const std::vector<std::pair<std::string, std::string>> &files = {});

    // Returns the next lines that it prints; if fewer arrive, the last one is a text in brackets.
    std::vector<std::string> lines(std::size_t count);
    // Sends one line to the service's control socket and returns the line of the answer.
    std::string tell(const std::string &json) const;
    testing::AssertionResult tells(const std::string &json) const;
    void write_configuration(const std::string &text) const;

    std::string control() const { return directory_.file("c"); }
    Child_Process &process() { return process_; }

  private:
    Temp_Dir directory_;
    Child_Process process_;
};

} // namespace hb_test
