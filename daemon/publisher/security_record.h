// SPDX-License-Identifier: Apache-2.0
// Writes the security information into the segment that readers of keys attach.
#pragma once

#include "lib/wire/hb_wire.h"

namespace wispd {

// Writes `content`. Readers do not lock: a slot has length 0 while its bytes change, and the generation changes
// with every write.
void write_security(Hb_security_information &shared, const Hb_security_information &content);

// Removes all keys from the record.
void clear_security(Hb_security_information &shared);

} // namespace wispd
