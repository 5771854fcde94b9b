// SPDX-License-Identifier: Apache-2.0
// Replaces the trace library: counts registrations and keeps every record that is written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qz_tr.h"
#include "tests/support/bytes.h"

namespace hb_test {

struct Trace_Record {
    enum class Form { id, values, data, strings };
    Form form;
    std::string component;
    uint32_t id;
    tr_file_token_t token;
    std::vector<uint32_t> values;
    std::vector<Bytes> data;
};

struct Trace_Double {
    int registrations = 0;
    std::string component;
    unsigned char *levels = nullptr;
    const tr_category_description_t *categories = nullptr;
    uint32_t count = 0;
    bool refuse = false; // registration fails
    std::vector<Trace_Record> records;

    std::vector<Trace_Record> with_id(uint32_t id) const;
};

Trace_Double &trace_double();

// The token that the double returns for a category.
tr_file_token_t token_of(unsigned category);

} // namespace hb_test
