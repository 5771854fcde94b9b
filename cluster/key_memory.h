// Memory for the keys: pages of their own, which are in no core file and are overwritten before they are given back.
#pragma once

#include "lib/wire/hb_wire.h"

namespace wispd {

class Key_Memory {
  public:
    // Zero at first. Throws std::bad_alloc.
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
