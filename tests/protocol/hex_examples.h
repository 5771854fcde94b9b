// SPDX-License-Identifier: Apache-2.0
// Reads the byte examples of a document so that they can be checked.
//
//     ```hex name
//     ----  0C 00 00 00        length: 12 bytes follow
//     0000  01 00*7            bytes, 00*7 for seven of them; two blanks; what they mean
//     0008  2A 00 00 00        every line begins with the offset of its first byte, in hexadecimal
//     ```
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace hb_test {

struct Hex_Example {
    Bytes bytes;            // without the preceding length
    bool is_framed = false; // whether the example has a length
};

struct Hex_Examples {
    std::map<std::string, Hex_Example> examples;
    // The faults: an unreadable line, a wrong offset or length, a name that is used twice.
    std::vector<std::string> faults;
};

Hex_Examples read_hex_examples(const std::string &markdown);

} // namespace hb_test
