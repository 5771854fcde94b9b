// The live view behind `hbctl watch` and `hbctl subscribe`.
#pragma once

#include <string>
#include <vector>

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_stream.h"
#include "tools/hbctl/migration.h"
#include "tools/hbctl/stop_signal.h"
#include "tools/hbctl/subscription.h"

namespace hbctl {

class Watcher {
  public:
    Watcher(bool json, const Watch_Limits &limits);

    // An empty list subscribes to everything. Returns the exit status. Throws Request_Failed, Output_Closed.
    int run(std::vector<Subscription_Request> requests);

  private:
    enum class Next { go_on, end };

    void connect(std::vector<Subscription_Request> requests);
    void subscribe();
    Next read_one();
    void show(const Event_Record &event);
    void refresh_subscriptions();
    bool is_time_to_migrate() const;
    void migrate();
    void handle_failure();
    Next handle_loss();
    Next reconnect();
    bool try_to_reconnect();
    void announce_start() const;
    void announce_loss() const;
    void announce_return() const;
    void announce_migration(const std::string &step, const Preparation &preparation,
                            const std::string &detail) const;

    const bool json_;
    const Watch_Limits limits_;
    const std::string socket_;
    const Deadline deadline_;
    Stop_Signal stop_;
    Event_Stream stream_;
    Picture picture_;
    std::vector<Subscription> subscriptions_;
    std::uint64_t shown_ = 0;
    bool migration_tried_ = false;
    int failures_in_a_row_ = 0;
    int exit_status_ = STATUS_SUCCESS;
};

} // namespace hbctl
