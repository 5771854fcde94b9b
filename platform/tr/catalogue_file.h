// Finding and reading the catalogue's file.
#pragma once

#include "catalogue.h"

namespace qz_tr {

// The catalogue in the file `named`, or, where that is null or empty, in the share directory beside the
// library's own or else at the installed place. What is wrong with the file or its lines is reported on stderr;
// the rest is used. An installed catalogue that is not there is no fault: records are then written bare.
Catalogue load_catalogue(const char *named);

} // namespace qz_tr
