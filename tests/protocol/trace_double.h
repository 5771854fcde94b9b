// Replaces the trace library: counts registrations and keeps every record that is written.
#ifndef HB_TEST_TRACE_DOUBLE_H
#define HB_TEST_TRACE_DOUBLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "qz_tr.h"
#include "tests/support/bytes.h"

namespace hb_test {

struct TraceRecord {
    enum class Form { id, values, data, strings };
    Form form;
    std::string component;
    uint32_t id;
    tr_file_token_t token;
    std::vector<uint32_t> values;
    std::vector<Bytes> data;
};

struct TraceDouble {
    int registrations = 0;
    std::string component;
    unsigned char *levels = nullptr;
    const tr_category_description_t *categories = nullptr;
    uint32_t count = 0;
    bool refuse = false; // registration fails
    std::vector<TraceRecord> records;

    std::vector<TraceRecord> with_id(uint32_t id) const;
};

TraceDouble &trace_double();

// The token that the double returns for a category.
tr_file_token_t token_of(unsigned category);

} // namespace hb_test

#endif
