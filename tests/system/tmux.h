// SPDX-License-Identifier: Apache-2.0
// A terminal for full-screen programs: a shell in tmux, which types keys and reads the screen.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "tests/support/deadline.h"
#include "tests/support/temp_dir.h"

namespace hb_test {

struct Terminal_Size {
    int columns = 80;
    int rows = 24;
};

class Tmux {
  public:
    static bool is_installed();

    // Starts an interactive shell with a terminal of that size. Throws std::runtime_error.
    explicit Tmux(const Terminal_Size &size,
                  const std::vector<std::pair<std::string, std::string>> &environment = {});
    Tmux(const Tmux &) = delete;
    Tmux &operator=(const Tmux &) = delete;
    // Ends the shell and what runs in it.
    ~Tmux();

    // Types the text and Enter.
    void type_line(const std::string &text) const;
    // Presses keys, named as tmux names them: "q", "Escape", "C-c", "PageDown".
    void press(const std::vector<std::string> &keys) const;
    void resize(const Terminal_Size &size) const;

    // The text on the screen, one line for each row, without trailing blanks.
    std::string screen() const;
    // The same with the escape sequences of colours.
    std::string coloured_screen() const;
    bool shows(const std::string &text) const;
    bool wait_shown(const std::string &text, const Deadline &deadline = Deadline()) const;
    bool wait_hidden(const std::string &text, const Deadline &deadline = Deadline()) const;

    // A full-screen program has its own screen, and the shell's lines return with its end.
    bool has_other_screen() const;
    // The process id of the program that the shell runs in the foreground; -1 if there is none.
    pid_t program() const;

  private:
    void end() const;
    std::string run(std::vector<std::string> words) const;

    Temp_Dir directory_;
};

} // namespace hb_test
