// SPDX-License-Identifier: Apache-2.0
// The registered components and their categories.
//
// All storage is static and of fixed size. A token stays valid as long as the library is loaded, and unloading
// leaks nothing.
#pragma once

#include <cstdint>
#include <span>

#include "qz_tr.h"

struct tr_file_token {
    char component[TR_NAME_SIZE];
    char category[TR_NAME_SIZE];
    uint32_t category_id;
};

namespace qz_tr {

struct Registration {
    tr_file_token_t *tokens = nullptr; // null: rejected; errno has the reason
    bool first = false;                // not registered before with this table
};

// Registers the categories of a component. Two threads must not call it at once. The same component with the
// same categories receives the same tokens again.
Registration register_categories(const char *component, std::span<const tr_category_description_t> categories);

// Returns true if the token was returned by a registration.
bool is_known(tr_file_token_t token);

} // namespace qz_tr
