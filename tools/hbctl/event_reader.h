// SPDX-License-Identifier: Apache-2.0
// Converts the library's event record to plain data.
#pragma once

#include <string>

#include "hb_client.h"
#include "tools/hbctl/cluster_picture.h"
#include "tools/hbctl/event_record.h"

namespace hbctl {

// Reads the record with the library's accessors. The picture supplies the members' addresses and names.
Event_Record read_event(int kind, const std::string &subscription, unsigned long sequence, Hb_Group &group,
                        const Picture &picture);

} // namespace hbctl
