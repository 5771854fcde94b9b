// SPDX-License-Identifier: Apache-2.0
#include "tests/protocol/trace_double.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <iterator>

namespace hb_test {
namespace {

std::array<char, 3> places{};
std::array<tr_file_token_t, 3> tokens{};

void keep(Trace_Record record) {
    trace_double().records.push_back(std::move(record));
    errno = EXDEV; // the trace library may change errno
}

} // namespace

Trace_Double &trace_double() {
    static Trace_Double the_double;
    return the_double;
}

tr_file_token_t token_of(unsigned category) {
    return reinterpret_cast<tr_file_token_t>(&places.at(category));
}

std::vector<Trace_Record> Trace_Double::with_id(uint32_t id) const {
    std::vector<Trace_Record> wanted;
    std::copy_if(records.begin(), records.end(), std::back_inserter(wanted),
                 [id](const Trace_Record &record) { return record.id == id; });
    return wanted;
}

} // namespace hb_test

using hb_test::keep;
using hb_test::trace_double;
using hb_test::Trace_Record;

extern "C" {

int __wrap_tr_ms_register_component_1(const char *component, unsigned char *levels,
                                      const tr_category_description_t *categories, uint32_t count,
                                      tr_file_token_t **given);
int __wrap_tr_ms_register_component_1(const char *component, unsigned char *levels,
                                      const tr_category_description_t *categories, uint32_t count,
                                      tr_file_token_t **given) {
    hb_test::Trace_Double &trace = trace_double();
    ++trace.registrations;
    trace.component = component;
    trace.levels = levels;
    trace.categories = categories;
    trace.count = count;
    if (trace.refuse) {
        return -1;
    }
    for (unsigned i = 0; i < hb_test::tokens.size(); ++i) {
        hb_test::tokens.at(i) = hb_test::token_of(i);
    }
    *given = hb_test::tokens.data();
    return 0;
}

void __wrap_tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token);
void __wrap_tr_ms_record_id_1(const char *component, uint32_t id, tr_file_token_t token) {
    keep({Trace_Record::Form::id, component, id, token, {}, {}});
}

void __wrap_tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count,
                                     ...);
void __wrap_tr_ms_record_values_32_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count,
                                     ...) {
    Trace_Record record{Trace_Record::Form::values, component, id, token, {}, {}};
    va_list arguments;
    va_start(arguments, count);
    for (uint32_t i = 0; i < count; ++i) {
        record.values.push_back(va_arg(arguments, uint32_t));
    }
    va_end(arguments);
    keep(std::move(record));
}

void __wrap_tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count, ...);
void __wrap_tr_ms_record_data_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count,
                                ...) {
    Trace_Record record{Trace_Record::Form::data, component, id, token, {}, {}};
    va_list arguments;
    va_start(arguments, count);
    for (uint32_t i = 0; i < count; ++i) {
        const void *memory = va_arg(arguments, const void *);
        const int length = va_arg(arguments, int);
        record.data.push_back(hb_test::bytes_of(memory, static_cast<std::size_t>(length)));
    }
    va_end(arguments);
    keep(std::move(record));
}

void __wrap_tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count,
                                   ...);
void __wrap_tr_ms_record_strings_1(const char *component, uint32_t id, tr_file_token_t token, uint32_t count,
                                   ...) {
    Trace_Record record{Trace_Record::Form::strings, component, id, token, {}, {}};
    va_list arguments;
    va_start(arguments, count);
    for (uint32_t i = 0; i < count; ++i) {
        record.data.push_back(hb_test::Bytes().raw(va_arg(arguments, const char *)));
    }
    va_end(arguments);
    keep(std::move(record));
}
}
