#include "tools/hbctl/output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/printable.h"

namespace hbctl {
namespace {

[[noreturn]] void give_up() {
    const int reason = errno;
    if (reason == EPIPE || reason == ECONNRESET) {
        throw Output_Closed{};
    }
    throw Output_Failed(std::string("cannot write to standard output: ") + std::strerror(reason));
}

void put_bytes(const std::string &line) {
    if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size() || std::fputc('\n', stdout) == EOF) {
        give_up();
    }
}

} // namespace

void put_line(const std::string &text) {
    put_bytes(terminal::printable(text));
}

void put_prepared(const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        put_bytes(line);
    }
}

void put_lines(const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        put_line(line);
    }
}

void flush_output() {
    if (std::fflush(stdout) != 0) {
        give_up();
    }
}

void say_line(const std::string &line) {
    put_line(line);
    flush_output();
}

void complain(const std::string &line) {
    std::fprintf(stderr, "hbctl: %s\n", terminal::printable(line).c_str());
}

} // namespace hbctl
