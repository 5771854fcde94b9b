// SPDX-License-Identifier: Apache-2.0
// Shared by the platform libraries' tests: a child process with its own environment, and a directory that is
// removed with its test. Each of these libraries keeps its settings as long as it is loaded, so each test needs
// a new process.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

class Temporary_Directory {
  public:
    Temporary_Directory();
    ~Temporary_Directory();
    Temporary_Directory(const Temporary_Directory &) = delete;
    Temporary_Directory &operator=(const Temporary_Directory &) = delete;

    std::string file(const std::string &name) const { return path + "/" + name; }

  private:
    std::string path;
};

std::string contents(const std::string &path);
void write_file(const std::string &path, const std::string &text);
std::vector<std::string> lines_of(const std::string &text);

// The result of a child: its wait status, its text, and its stderr.
struct Child_Result {
    int status = -1;
    std::string said;
    std::string errors;

    bool ended_well() const { return status == 0; }
};

using Environment = std::map<std::string, std::string>;

// Runs `body` in a forked child. Of the QZ_TR_ variables, only the given ones are set. The child ends like a
// program, with exit(0). It is killed if it outlives its deadline or this process.
Child_Result in_child(const Environment &environment, const std::function<void()> &body);

// For a child: sets the text of Child_Result::said.
void say(const std::string &text);
