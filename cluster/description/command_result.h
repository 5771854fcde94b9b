// How the execution of a command ends, which can be later than the call that began it.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace wispd {

// Why a command failed: in full, and without anything of what a file holds.
struct Failure {
    std::string reason;
    std::string outline;
};

// Empty when the command succeeded.
using Finished = std::function<void(const std::optional<Failure> &)>;

} // namespace wispd
