// SPDX-License-Identifier: Apache-2.0
#include "tools/hbctl/top/top_board.h"

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

#include "common/printable.h"

namespace hbctl {

Top_Board::Top_Board(const std::string &socket)
    : model_(terminal::printable(socket)), descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot create a descriptor for changes");
    }
}

Top_Board::~Top_Board() {
    close(descriptor_);
}

void Top_Board::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(descriptor_, &one, sizeof one);
}

void Top_Board::calm() const {
    std::uint64_t changes = 0;
    [[maybe_unused]] const auto count = read(descriptor_, &changes, sizeof changes);
}

} // namespace hbctl
