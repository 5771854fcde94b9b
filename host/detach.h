// SPDX-License-Identifier: Apache-2.0
// Moves a program into the background. The process that was started waits until the start has
// succeeded or failed, and exits with that outcome.
#pragma once

namespace wispd {

class Detachment {
  public:
    // Returns in the background process. The original process waits and exits with the outcome: 0 after
    // ready(), the code passed to failed(), or 1 when the background process died.
    static Detachment begin();

    // Reports that clients can connect, and redirects standard input, output and error to /dev/null.
    void ready();
    void failed(int exit_code);

  private:
    explicit Detachment(int outcome) : outcome_(outcome) {}

    int outcome_; // pipe to the process that was started
};

} // namespace wispd
