#include "lib/hb_global_data/operating_mode.h"

bool IsMOX = false;
