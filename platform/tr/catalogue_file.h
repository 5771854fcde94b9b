// SPDX-License-Identifier: Apache-2.0
// Finds and reads the catalogue's file.
#pragma once

#include "catalogue.h"

namespace qz_tr {

// Loads the catalogue from the file `named`. If `named` is null or empty, searches the share directory beside
// the library's own, then the installed path. Faults in the file or its lines are reported on stderr, and valid
// lines are used. A missing installed catalogue is not a fault: records are then written without texts.
Catalogue load_catalogue(const char *named);

} // namespace qz_tr
