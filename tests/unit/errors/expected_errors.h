// SPDX-License-Identifier: Apache-2.0
// Every error number with the name and the text that programs see, typed here.
#pragma once

#include <vector>

struct Expected_Error {
    int number;
    const char *name;
    const char *text;
};

const std::vector<Expected_Error> &expected_errors();
