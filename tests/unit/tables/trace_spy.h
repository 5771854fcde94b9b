// SPDX-License-Identifier: Apache-2.0
// Replaces the trace library's recording calls and keeps the records.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Trace_Record {
    std::string component;
    uint32_t id = 0;
    unsigned category = 0;
    std::vector<uint32_t> values;
    std::vector<std::string> data;

    bool operator==(const Trace_Record &) const = default;
};

void PrintTo(const Trace_Record &record, std::ostream *out);

// While an object exists, records of the categories in `levels` (Errors, Info, Debug) are kept. Every recording
// call changes errno, as a real one may.
class Trace_Spy {
  public:
    Trace_Spy(unsigned char errors, unsigned char info, unsigned char debug);
    ~Trace_Spy();
    Trace_Spy(const Trace_Spy &) = delete;
    Trace_Spy &operator=(const Trace_Spy &) = delete;

    const std::vector<Trace_Record> &records() const;
};
