// Standard input, output and error are open, so that nothing else can get their numbers.
#pragma once

namespace hbctl {

// A closed one becomes /dev/null.
void ensure_standard_descriptors();

} // namespace hbctl
