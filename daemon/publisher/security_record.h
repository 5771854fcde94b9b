// The security information in the segment that readers of keys attach.
#pragma once

#include "lib/wire/hb_wire.h"

namespace wispd {

// Readers of keys do not lock: a slot has the length 0 while its bytes change, and the generation is another one while
// anything does.
void write_security(Hb_security_information &shared, const Hb_security_information &content);

// The record then has no keys.
void clear_security(Hb_security_information &shared);

} // namespace wispd
