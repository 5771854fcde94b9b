// The live view behind `hbctl watch` and `hbctl subscribe`.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/command_queue.h"
#include "tools/hbctl/day_change.h"
#include "tools/hbctl/event_stream.h"
#include "tools/hbctl/migration.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/stop_signal.h"
#include "tools/hbctl/subscription.h"

namespace hbctl {

class Watcher {
  public:
    Watcher(bool json, const Watch_Limits &limits);

    // An empty list subscribes to everything. Returns the exit status. Throws Request_Failed, Output_Closed.
    int run(const std::vector<Subscription_Request> &requests);

  private:
    enum class Next { go_on, end };

    void follow();
    Next connect(const std::vector<Subscription_Request> &requests);
    void open(const std::vector<Subscription_Request> &requests);
    void subscribe();
    Next read_one();
    void show(const Event_Record &event);
    void refresh_subscriptions();
    bool is_time_to_migrate() const;
    void migrate();
    void handle_failure();
    Next handle_loss();
    Next reconnect();
    Wake pause(std::chrono::milliseconds length) const;
    std::chrono::milliseconds patience() const;
    bool try_to_reconnect();
    void hand_over(const std::string &json, std::vector<std::string> environment);
    void finish_commands();
    void announce_start();
    void say(Wall_Time time, const std::string &line);
    void announce_loss();
    void announce_return();
    void announce_migration(const std::string &step, const Preparation &preparation, const std::string &detail);
    void announce(const std::string &kind, const std::string &json, const std::string &detail);

    const bool json_;
    const Watch_Limits limits_;
    const std::string socket_;
    const Event_Style style_;
    const Deadline deadline_;
    Stop_Signal stop_;
    std::optional<Command_Queue> commands_;
    Event_Stream stream_;
    Picture picture_;
    std::vector<Subscription> subscriptions_;
    Day_Change day_;
    std::uint64_t shown_ = 0;
    bool migration_tried_ = false;
    int failures_in_a_row_ = 0;
    int exit_status_ = STATUS_SUCCESS;
};

} // namespace hbctl
