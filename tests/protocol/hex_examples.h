// The examples in a document of bytes, read out of it so that they can be checked.
//
//     ```hex name
//     ----  0C 00 00 00        length: 12 bytes follow
//     0000  01 00*7            bytes, 00*7 for seven of them; two blanks; what they mean
//     0008  2A 00 00 00        every line begins with the offset of its first byte, in hexadecimal
//     ```
#ifndef HB_TEST_HEX_EXAMPLES_H
#define HB_TEST_HEX_EXAMPLES_H

#include <map>
#include <string>
#include <vector>

#include "tests/support/bytes.h"

namespace hb_test {

struct HexExample {
    Bytes bytes;            // without the length that goes before them
    bool is_framed = false; // whether there is one
};

struct HexExamples {
    std::map<std::string, HexExample> examples;
    // What does not hold together: a line that cannot be read, an offset or a length that is wrong, a name that
    // is given twice.
    std::vector<std::string> faults;
};

HexExamples read_hex_examples(const std::string &markdown);

} // namespace hb_test

#endif
