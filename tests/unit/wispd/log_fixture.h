// SPDX-License-Identifier: Apache-2.0
// The daemon's log in a file of the test.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/log.h"
#include "tests/support/temp_dir.h"

namespace wispd_test {

class Captured_Log {
  public:
    Captured_Log() {
        wispd::log_to_file(path_);
        wispd::set_log_level("info");
    }
    Captured_Log(const Captured_Log &) = delete;
    Captured_Log &operator=(const Captured_Log &) = delete;
    ~Captured_Log() {
        wispd::set_log_level("info");
        wispd::log_to_stderr();
    }

    std::vector<std::string> lines() const {
        std::vector<std::string> read;
        std::ifstream file(path_);
        for (std::string line; std::getline(file, line);) {
            read.push_back(line);
        }
        return read;
    }

  private:
    hb_test::Temp_Dir directory_;
    std::string path_ = directory_.file("log");
};

class WispdLogged : public testing::Test {
  protected:
    std::vector<std::string> lines() const { return log_.lines(); }

    Captured_Log log_;
};

} // namespace wispd_test
