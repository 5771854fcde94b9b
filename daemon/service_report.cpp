// SPDX-License-Identifier: Apache-2.0
#include "daemon/service_report.h"

#include <utility>

#include <asio/io_context.hpp>

namespace wispd {

namespace {

// Counts change with each client and each event; the manager needs no more than a glance.
constexpr std::chrono::seconds COUNTS_INTERVAL{1};

} // namespace

Service_Report::Service_Report(asio::io_context &context, Service_Notify notify,
                               std::function<std::string()> counts)
    : notify_(std::move(notify)), counts_(std::move(counts)), watchdog_timer_(context), counts_timer_(context) {
}

void Service_Report::ready() {
    if (!notify_.is_wanted()) {
        return;
    }
    is_ready_ = true;
    report_ready();
    feed_watchdog();
}

void Service_Report::report_ready() {
    reported_ = counts_();
    notify_.ready(reported_);
}

void Service_Report::counts_may_have_changed() {
    if (!is_ready_ || counts_are_due_) {
        return;
    }
    counts_are_due_ = true;
    counts_timer_.expires_after(COUNTS_INTERVAL);
    counts_timer_.async_wait([this](const asio::error_code &aborted) {
        counts_are_due_ = false;
        if (aborted || reloads_ > 0) { // the end of the reload reports the counts
            return;
        }
        std::string counts = counts_();
        if (counts != reported_) {
            reported_ = std::move(counts);
            notify_.status(reported_);
        }
    });
}

void Service_Report::reload_began() {
    if (is_ready_ && ++reloads_ == 1) {
        notify_.reloading();
    }
}

void Service_Report::reload_ended() {
    if (is_ready_ && --reloads_ == 0) {
        report_ready();
    }
}

void Service_Report::stopping(const std::string &why) {
    is_ready_ = false;
    counts_timer_.cancel();
    notify_.stopping(why);
}

void Service_Report::feed_watchdog() {
    if (!notify_.watchdog()) {
        return;
    }
    notify_.feed_watchdog();
    watchdog_timer_.expires_after(*notify_.watchdog() / 2);
    watchdog_timer_.async_wait([this](const asio::error_code &aborted) {
        if (!aborted) {
            feed_watchdog();
        }
    });
}

} // namespace wispd
