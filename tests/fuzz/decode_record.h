// One record, as a daemon might send it, through every decoder and then into the tables.
#ifndef TESTS_FUZZ_DECODE_RECORD_H
#define TESTS_FUZZ_DECODE_RECORD_H

#include <cstddef>
#include <cstdint>

// The entry that libFuzzer calls, and the seed test as well. Always 0; a fault shows as a sanitizer's report
// or an abort.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size);

#endif
