// Leaving the terminal: the program goes on in the background, and the one that was started ends with the
// outcome of the start.
#pragma once

namespace wispd {

class Detachment {
  public:
    // Returns in the background process. The process that was started waits for the outcome and exits with
    // it: 0 once ready() was called, else what failed() gave, or 1 when the background process died.
    static Detachment begin();

    // Clients can connect. Standard input, output and error are let go.
    void ready();
    void failed(int exit_code);

  private:
    explicit Detachment(int outcome) : outcome_(outcome) {}

    int outcome_; // pipe to the process that was started
};

} // namespace wispd
