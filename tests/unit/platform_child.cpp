// SPDX-License-Identifier: Apache-2.0
#include "platform_child.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr unsigned DEADLINE_SECONDS = 100;

static int said_descriptor = -1;

Temporary_Directory::Temporary_Directory() {
    std::string name = (std::filesystem::temp_directory_path() / "platform-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + name + ": " + std::strerror(errno));
    }
    path = name;
}

Temporary_Directory::~Temporary_Directory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void say(const std::string &text) {
    if (write(said_descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        _exit(97);
    }
}

static int open_or_end(const std::string &path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) {
        _exit(98);
    }
    return fd;
}

Child_Result in_child(const Environment &environment, const std::function<void()> &body) {
    const Temporary_Directory directory;
    const std::string said = directory.file("said");
    const std::string errors = directory.file("errors");
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(99);
        }
        alarm(DEADLINE_SECONDS);
        said_descriptor = open_or_end(said);
        dup2(open_or_end(errors), STDERR_FILENO);
        for (const char *name : {"QZ_TR_OUTPUT", "QZ_TR_LEVELS", "QZ_TR_CATALOGUE"}) {
            unsetenv(name);
        }
        for (const auto &[name, value] : environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        body();
        std::exit(0);
    }
    Child_Result result;
    while (waitpid(child, &result.status, 0) < 0) {
        if (errno != EINTR) {
            throw std::runtime_error(std::string("waitpid: ") + std::strerror(errno));
        }
    }
    result.said = contents(said);
    result.errors = contents(errors);
    return result;
}
