// SPDX-License-Identifier: Apache-2.0
#include "registry.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>

namespace qz_tr {

namespace {

constexpr uint32_t MAX_REGISTRATIONS = 64;
constexpr uint32_t MAX_TOKENS = 256;

struct Entry {
    uint32_t first;
    uint32_t count;
};

tr_file_token tokens[MAX_TOKENS];
tr_file_token_t token_pointers[MAX_TOKENS];
std::atomic<uint32_t> token_count{0}; // atomic: is_known() reads it while another thread registers

Entry entries[MAX_REGISTRATIONS];
uint32_t entry_count = 0;

// Returns 0, or the error number for an invalid name.
int fault_of_name(const char *name) {
    if (name == nullptr || *name == '\0') {
        return EINVAL;
    }
    return strnlen(name, TR_NAME_SIZE) == TR_NAME_SIZE ? ENAMETOOLONG : 0;
}

// Copies a name that was already checked to fit.
void copy_name(char (&to)[TR_NAME_SIZE], const char *from) {
    std::memcpy(to, from, std::strlen(from) + 1);
}

int fault_of(const char *component, std::span<const tr_category_description_t> categories) {
    if (const int fault = fault_of_name(component)) {
        return fault;
    }
    if (categories.data() == nullptr || categories.empty() || categories.size() > TR_MAX_CATEGORIES) {
        return EINVAL;
    }
    for (const tr_category_description_t &category : categories) {
        if (const int fault = fault_of_name(category.category_name)) {
            return fault;
        }
    }
    return 0;
}

bool is_same(const Entry &entry, const char *component, std::span<const tr_category_description_t> categories) {
    if (entry.count != categories.size()) {
        return false;
    }
    for (uint32_t i = 0; i < entry.count; ++i) {
        const tr_file_token &token = tokens[entry.first + i];
        if (std::strcmp(token.component, component) != 0 || token.category_id != categories[i].category_id ||
            std::strcmp(token.category, categories[i].category_name) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

Registration register_categories(const char *component, std::span<const tr_category_description_t> categories) {
    if (const int fault = fault_of(component, categories)) {
        errno = fault;
        return {};
    }
    for (uint32_t i = 0; i < entry_count; ++i) {
        if (is_same(entries[i], component, categories)) {
            return {token_pointers + entries[i].first, false};
        }
    }
    const uint32_t first = token_count.load(std::memory_order_relaxed);
    const auto count = static_cast<uint32_t>(categories.size());
    if (entry_count == MAX_REGISTRATIONS || count > MAX_TOKENS - first) {
        errno = ENOSPC;
        return {};
    }
    for (uint32_t i = 0; i < count; ++i) {
        tr_file_token &token = tokens[first + i];
        copy_name(token.component, component);
        copy_name(token.category, categories[i].category_name);
        token.category_id = categories[i].category_id;
        token_pointers[first + i] = &token;
    }
    entries[entry_count++] = {first, count};
    token_count.store(first + count, std::memory_order_release);
    return {token_pointers + first, true};
}

bool is_known(tr_file_token_t token) {
    const uint32_t count = token_count.load(std::memory_order_acquire);
    const std::less<const tr_file_token *> before;
    if (before(token, tokens) || !before(token, tokens + count)) {
        return false;
    }
    const auto distance = reinterpret_cast<std::uintptr_t>(token) - reinterpret_cast<std::uintptr_t>(tokens);
    return distance % sizeof(tr_file_token) == 0;
}

} // namespace qz_tr
