// SPDX-License-Identifier: Apache-2.0
// Whether the daemon acts for the user who runs hbctl.
#pragma once

namespace hbctl {

enum class Permission { given, refused, unknown };

// A request without an answer does not show whether the daemon refused it. So this asks on the same connection, and the
// daemon has read every earlier request when it answers. Root and the daemon's own user may always act and ask nothing.
// Another user sends a request that changes nothing: a grace whose time is invalid.
Permission permission_to_act();

} // namespace hbctl
