// What the platform libraries' tests share: a child process with an environment of its own, since each of these
// libraries keeps what it was told for as long as it is loaded, and a directory that goes with its test.
#ifndef PLATFORM_CHILD_H
#define PLATFORM_CHILD_H

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

// What became of a child: its wait status, what it said, and what stood on its stderr.
struct Child_Result {
    int status = -1;
    std::string said;
    std::string errors;

    bool ended_well() const { return status == 0; }
};

using Environment = std::map<std::string, std::string>;

// Runs `body` in a forked child in which of the QZ_TR_ variables only the given ones are set. The child ends
// like a program, with exit(0); it is killed when it outlives its deadline or this process.
Child_Result in_child(const Environment &environment, const std::function<void()> &body);

// In a child: a text for Child_Result::said.
void say(const std::string &text);

#endif
