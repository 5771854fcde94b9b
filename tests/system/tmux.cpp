// SPDX-License-Identifier: Apache-2.0
#include "tests/system/tmux.h"

#include <fstream>
#include <stdexcept>

#include "tests/support/child_process.h"

namespace hb_test {
namespace {

struct Outcome {
    bool succeeded = false;
    std::string output;
    std::string errors;
};

Outcome run_program(const std::vector<std::string> &words) {
    Child_Process process(words);
    process.close_input();
    const std::optional<Child_End> end = process.wait();
    return {end && end->signal == 0 && end->exit_status == 0, process.output(), process.error_output()};
}

} // namespace

bool Tmux::is_installed() {
    try {
        return run_program({"tmux", "-V"}).succeeded;
    } catch (const std::exception &) {
        return false;
    }
}

Tmux::Tmux(const Terminal_Size &size, const std::vector<std::pair<std::string, std::string>> &environment) {
    std::vector<std::string> words{"new-session", "-d",
                                   "-x",          std::to_string(size.columns),
                                   "-y",          std::to_string(size.rows),
                                   "-c",          directory_.path(),
                                   "-e",          "PS1=shell> ",
                                   "-e",          "LC_ALL=C.UTF-8"};
    for (const auto &[name, value] : environment) {
        words.insert(words.end(), {"-e", name + "=" + value});
    }
    words.emplace_back("exec env 'PS1=shell> ' bash --noprofile --norc -i"); // tmux's own shell drops PS1
    run(words);
    try {
        run({"set-option", "-g", "status", "off"}); // every row is the program's
        run({"resize-window", "-x", std::to_string(size.columns), "-y", std::to_string(size.rows)});
        if (!wait_shown("shell>")) {
            throw std::runtime_error("the shell in tmux does not start: " + screen());
        }
    } catch (...) {
        end();
        throw;
    }
}

Tmux::~Tmux() {
    end();
}

void Tmux::end() const {
    run_program({"tmux", "-S", directory_.file("t"), "kill-server"});
}

std::string Tmux::run(std::vector<std::string> words) const {
    words.insert(words.begin(), {"tmux", "-u", "-f", "/dev/null", "-S", directory_.file("t")});
    const Outcome outcome = run_program(words);
    if (!outcome.succeeded) {
        throw std::runtime_error("tmux failed: " + outcome.errors);
    }
    return outcome.output;
}

void Tmux::type_line(const std::string &text) const {
    run({"send-keys", "-l", text});
    press({"Enter"});
}

void Tmux::press(const std::vector<std::string> &keys) const {
    std::vector<std::string> words{"send-keys"};
    words.insert(words.end(), keys.begin(), keys.end());
    run(words);
}

void Tmux::resize(const Terminal_Size &size) const {
    run({"resize-window", "-x", std::to_string(size.columns), "-y", std::to_string(size.rows)});
}

std::string Tmux::screen() const {
    return run({"capture-pane", "-p"});
}

std::string Tmux::coloured_screen() const {
    return run({"capture-pane", "-p", "-e"});
}

bool Tmux::shows(const std::string &text) const {
    return screen().find(text) != std::string::npos;
}

bool Tmux::wait_shown(const std::string &text, const Deadline &deadline) const {
    return wait_until([&] { return shows(text); }, deadline);
}

bool Tmux::wait_hidden(const std::string &text, const Deadline &deadline) const {
    return wait_until([&] { return !shows(text); }, deadline);
}

bool Tmux::has_other_screen() const {
    return run({"display-message", "-p", "#{alternate_on}"}) == "1\n";
}

pid_t Tmux::program() const {
    std::string shell = run({"display-message", "-p", "#{pane_pid}"});
    shell.erase(shell.find_last_not_of('\n') + 1);
    pid_t child = -1;
    std::ifstream("/proc/" + shell + "/task/" + shell + "/children") >> child;
    return child > 0 ? child : -1;
}

} // namespace hb_test
