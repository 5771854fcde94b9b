// The example client of cluster-event mode with the simulated service loaded, run as a child process.
#ifndef HB_TEST_SYSTEM_SERVICE_CLIENT_H
#define HB_TEST_SYSTEM_SERVICE_CLIENT_H

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"
#include "tests/system/setup.h"

namespace hb_test {

// What makes a program of that build load the simulated service.
ChildProcess::Environment service_preloaded(const Programs &programs);

class Service_Client {
  public:
    // With the cluster file's text. Files are written beside it before.
    Service_Client(const Programs &programs, const std::string &configuration,
                   const std::vector<std::pair<std::string, std::string>> &files = {});

    // The next lines it prints; a text in brackets at the end when fewer came.
    std::vector<std::string> lines(std::size_t count);
    // One line for the service's control socket; the answer is the line that came back.
    std::string tell(const std::string &json) const;
    testing::AssertionResult tells(const std::string &json) const;
    void write_configuration(const std::string &text) const;

    std::string control() const { return directory_.file("c"); }
    ChildProcess &process() { return process_; }

  private:
    TempDir directory_;
    ChildProcess process_;
};

} // namespace hb_test

#endif
