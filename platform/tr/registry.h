// The registered components and their categories. All of it is static and of fixed size: a token stays valid as
// long as the library is loaded, and unloading leaves nothing behind.
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
    tr_file_token_t *tokens = nullptr; // null: refused, errno tells why
    bool first = false;                // not seen before with this table
};

// Not for two threads at once. The same component with the same categories gets the same tokens again.
Registration register_categories(const char *component, std::span<const tr_category_description_t> categories);

// Whether a token came from here.
bool is_known(tr_file_token_t token);

} // namespace qz_tr
