// SPDX-License-Identifier: Apache-2.0
#include "trace_spy.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <ostream>

#include "lib/base/MOX_HBC_trace.h"

namespace {

std::vector<Trace_Record> kept;
std::array<char, 3> token_places;
std::array<tr_file_token_t, 3> spy_tokens;
tr_file_token_t *tokens_before;

unsigned category_of(tr_file_token_t token) {
    return static_cast<unsigned>(std::find(spy_tokens.begin(), spy_tokens.end(), token) - spy_tokens.begin());
}

Trace_Record &keep(const char *component, uint32_t id, tr_file_token_t token) {
    errno = EIO;
    return kept.emplace_back(Trace_Record{component, id, category_of(token), {}, {}});
}

} // namespace

extern "C" {

void tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token) {
    keep(component, id, token);
}

void tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Trace_Record &record = keep(component, id, token);
    va_list values;
    va_start(values, count);
    for (uint32_t i = 0; i < count; ++i) {
        record.values.push_back(va_arg(values, uint32_t));
    }
    va_end(values);
}

void tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Trace_Record &record = keep(component, id, token);
    va_list blocks;
    va_start(blocks, count);
    for (uint32_t i = 0; i < count; ++i) {
        const char *block = va_arg(blocks, const char *);
        const int length = va_arg(blocks, int);
        record.data.emplace_back(block, static_cast<std::size_t>(length));
    }
    va_end(blocks);
}

void tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...) {
    Trace_Record &record = keep(component, id, token);
    va_list texts;
    va_start(texts, count);
    for (uint32_t i = 0; i < count; ++i) {
        record.data.emplace_back(va_arg(texts, const char *));
    }
    va_end(texts);
}

} // extern "C"

void PrintTo(const Trace_Record &record, std::ostream *out) {
    *out << record.component << " " << record.id << " category " << record.category << " values";
    for (const uint32_t value : record.values) {
        *out << " " << value;
    }
    *out << " blocks of";
    for (const std::string &block : record.data) {
        *out << " " << block.size();
    }
}

Trace_Spy::Trace_Spy(unsigned char errors, unsigned char info, unsigned char debug) {
    kept.clear();
    for (std::size_t i = 0; i < spy_tokens.size(); ++i) {
        spy_tokens[i] = reinterpret_cast<tr_file_token_t>(&token_places[i]);
    }
    tokens_before = pTokens;
    pTokens = spy_tokens.data();
    hbc_trace_detail_levels[HB_TRACE_ERRORS] = errors;
    hbc_trace_detail_levels[HB_TRACE_INFO] = info;
    hbc_trace_detail_levels[HB_TRACE_DEBUG] = debug;
}

Trace_Spy::~Trace_Spy() {
    std::fill(hbc_trace_detail_levels, hbc_trace_detail_levels + num_categories, static_cast<unsigned char>(0));
    pTokens = tokens_before;
}

const std::vector<Trace_Record> &Trace_Spy::records() const {
    return kept;
}
