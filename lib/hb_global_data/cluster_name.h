// SPDX-License-Identifier: Apache-2.0
// The cluster's name in cluster-event mode.
#pragma once

extern char *orbfs_cluster_name; // from new[]; null until known
