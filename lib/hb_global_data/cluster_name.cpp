// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_global_data/cluster_name.h"

char *orbfs_cluster_name = nullptr;
