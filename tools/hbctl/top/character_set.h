// SPDX-License-Identifier: Apache-2.0
// What the user's locale can show.
#pragma once

namespace hbctl {

// Uses the locale of the environment for characters. Returns whether it can show every character.
bool use_character_set();

} // namespace hbctl
