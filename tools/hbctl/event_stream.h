// SPDX-License-Identifier: Apache-2.0
// Events from the library, one at a time, read against an up-to-date picture of the cluster.
#pragma once

#include <memory>
#include <vector>

#include "hb_client.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"
#include "tools/hbctl/waiting.h"

namespace hbctl {

enum class Arrival {
    event,         // the record is filled and the picture is up to date
    answered,      // the daemon answered probe()
    dropped,       // a malformed record was dropped; its sequence number is in the record
    time_over,     // the deadline passed
    stopped,       // the user wants to stop
    output_closed, // standard output has lost its reader
    lost,          // the daemon disconnected
    failed         // in cluster-event mode: an event was ready but could not be processed
};

class Event_Stream {
  public:
    Event_Stream();

    // Gets the descriptors of the open library. Throws Request_Failed.
    void attach();
    // The same after the library has left the daemon for the cluster service.
    void attach_to_service();

    // Asks the daemon for an answer, which next() returns as `answered`: a connection is silent while nothing changes, and
    // also while the daemon is stopped. Throws Request_Failed.
    void probe(const Picture &picture);

    // Throws Request_Failed for a failure that is neither `dropped` nor `lost`.
    Arrival next(int stop_descriptor, const Deadline &deadline, Picture &picture, Event_Record &event);

  private:
    std::vector<int> descriptors_;
    std::vector<int> ready_;
    bool from_service_ = false;
    bool has_probed_ = false;
    std::unique_ptr<Hb_Group> group_; // far too large for a stack
};

} // namespace hbctl
