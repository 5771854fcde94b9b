// SPDX-License-Identifier: Apache-2.0
// The source of truth of this process: the daemon, or the cluster service (MOX mode).
#pragma once

extern bool IsMOX;
extern bool migrate_to_mox_prep; // true while a migration to the service is being prepared
