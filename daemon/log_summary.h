// SPDX-License-Identifier: Apache-2.0
// Logs how many lines of clients were suppressed in a period. The summary appears even if no further line is
// logged.
#pragma once

#include <asio/steady_timer.hpp>

#include "daemon/publisher/client_log.h"

namespace wispd {

class Log_Summary {
  public:
    // `log` must outlive this object and suppress no line after its destruction.
    Log_Summary(asio::io_context &context, Client_Log &log);
    Log_Summary(const Log_Summary &) = delete;
    Log_Summary &operator=(const Log_Summary &) = delete;

  private:
    void await();

    Client_Log &log_;
    asio::steady_timer timer_;
    bool is_awaited_ = false;
};

} // namespace wispd
