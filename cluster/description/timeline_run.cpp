// SPDX-License-Identifier: Apache-2.0
#include "cluster/description/timeline_run.h"

#include <stdexcept>
#include <utility>

#include "host/log.h"
#include "host/text.h"

namespace wispd {

Timeline_Run::Timeline_Run(asio::io_context &context, std::vector<Timeline_Event> configured, Handlers handlers)
    : context_(context), configured_(std::move(configured)), handlers_(std::move(handlers)) {}

void Timeline_Run::check_none_is_played() const {
    if (played() < size() || waits_) {
        throw Refused(
            text("a timeline is already playing: ", played(), " of its ", size(), " events are done"));
    }
}

void Timeline_Run::play(const std::string &path, const Finished &finished) {
    check_none_is_played();
    if (path.empty()) {
        if (configured_.empty()) {
            throw Refused("no timeline is configured; name one");
        }
        begin(configured_);
        finished(std::nullopt);
        return;
    }
    const auto use = [this, path](std::vector<Timeline_Event> &&events) {
        check_none_is_played(); // another timeline can have begun while the file was read
        if (events.empty()) {
            throw Refused(text("the timeline ", path, " has no events"));
        }
        begin(std::move(events));
    };
    handlers_.read(path, use, finished);
}

void Timeline_Run::begin(std::vector<Timeline_Event> events) {
    handlers_.begun();
    player_.emplace(context_, std::move(events), [this](const Timeline_Event &event) {
        due_.push_back(event);
        go_on();
    });
}

void Timeline_Run::go_on() {
    while (!waits_ && !due_.empty()) {
        const Timeline_Event event = std::move(due_.front());
        due_.pop_front();
        perform(event);
    }
}

void Timeline_Run::perform(const Timeline_Event &event) {
    const std::shared_ptr<void> charge = handlers_.charge();
    log_info(text("timeline: ", verb_name(event.command.verb)));
    if (event.command.verb == Verb::reconfigure) {
        waits_ = true;
    }
    try {
        handlers_.execute(event.command, [this, place = event.place](const std::optional<Failure> &failure) {
            if (failure) {
                log_warning(text(place, ": ", failure->reason));
            }
            if (std::exchange(waits_, false)) {
                go_on();
            }
        });
    } catch (const std::runtime_error &error) {
        waits_ = false;
        log_warning(text(event.place, ": ", error.what()));
    }
}

} // namespace wispd
