// SPDX-License-Identifier: Apache-2.0
// The result of a command, which can arrive later than the call that started it.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace wispd {

// Why a command failed: the full reason, and an outline without any content of a file.
struct Failure {
    std::string reason;
    std::string outline;
};

// The argument is empty when the command succeeded.
using Finished = std::function<void(const std::optional<Failure> &)>;

} // namespace wispd
