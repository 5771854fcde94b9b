// SPDX-License-Identifier: Apache-2.0
#include "daemon/log_summary.h"

#include <asio/io_context.hpp>

namespace wispd {

Log_Summary::Log_Summary(asio::io_context &context, Client_Log &log) : log_(log), timer_(context) {
    log_.on_suppression([this] { await(); });
}

void Log_Summary::await() {
    if (is_awaited_) {
        return;
    }
    is_awaited_ = true;
    timer_.expires_after(Client_Log::PERIOD);
    timer_.async_wait([this](const asio::error_code &aborted) {
        is_awaited_ = false;
        if (!aborted && log_.report()) {
            await();
        }
    });
}

} // namespace wispd
