// SPDX-License-Identifier: Apache-2.0
// Memory for keys: separate pages that are excluded from core files and overwritten before they are released.
#pragma once

#include "lib/wire/hb_wire.h"

namespace wispd {

class Key_Memory {
  public:
    // Starts with all bytes zero. Throws std::bad_alloc.
    Key_Memory();
    Key_Memory(const Key_Memory &) = delete;
    Key_Memory &operator=(const Key_Memory &) = delete;
    ~Key_Memory();

    Hb_security_information &get() { return *content_; }
    const Hb_security_information &get() const { return *content_; }

  private:
    Hb_security_information *content_;
};

} // namespace wispd
