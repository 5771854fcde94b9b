// SPDX-License-Identifier: Apache-2.0
// Marks the spans in which the process may wait inside the library, where only a signal handler can end it.
#pragma once

namespace hbctl {

// A call of the library can wait for the daemon without limit, and nothing ends it from outside. So the handlers of
// Stop_Signal and Time_Limit end the process while an object lives. No line is half written in such a span.
class Library_Call {
  public:
    Library_Call();
    ~Library_Call();
    Library_Call(const Library_Call &) = delete;
    Library_Call &operator=(const Library_Call &) = delete;

    // Both are for signal handlers.
    static bool is_running();
    // Ends the process with success: at once inside a call, otherwise when the next call begins.
    static void end_process();
    // Undoes an end_process() that met no call.
    static void stay_alive();
};

} // namespace hbctl
